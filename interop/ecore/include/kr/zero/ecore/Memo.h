/// @file
/// What is worked out from something immutable once, and wanted again.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace kr::zero::ecore {

/// Keeps the last few results, by key. Threads: safe to share.
class Memo {
 public:
  /// The result that is kept under a key, else that of make(), which is kept from then on. Two threads that
  /// ask for the same at once may both make it.
  /// @tparam T the type of the result; the same for each use of a key.
  template <class T, class Make>
  std::shared_ptr<const T> get(const std::string& key, Make make) {
    if (const std::shared_ptr<const void> kept = find(key)) return std::static_pointer_cast<const T>(kept);
    auto made = std::make_shared<const T>(make());
    const std::lock_guard lock(mutex_);
    if (kept_.size() >= kMost) kept_.clear();
    kept_[key] = made;
    return made;
  }

 private:
  static constexpr std::size_t kMost = 16;

  std::shared_ptr<const void> find(const std::string& key) {
    const std::lock_guard lock(mutex_);
    const auto found = kept_.find(key);
    return found == kept_.end() ? nullptr : found->second;
  }

  std::mutex mutex_;
  std::map<std::string, std::shared_ptr<const void>> kept_;
};

}  // namespace kr::zero::ecore
