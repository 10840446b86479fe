/// @file
/// Internal: the names of temporary files that exist right now, where a signal handler can read them.
#pragma once

#include <string>

namespace kr::zero::io::internal {

/// Keeps a path in the list while it lives. Of very many at once, and of longer paths than the system takes,
/// some are not in it; they are written all the same.
class UnfinishedFile {
 public:
  UnfinishedFile() = default;
  ~UnfinishedFile() { forget(); }
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;

  /// Instead of the path before.
  void remember(const std::string& path) noexcept;
  void forget() noexcept;

 private:
  int place_ = -1;
};

}  // namespace kr::zero::io::internal
