/// @file
/// Internal: open files of the system.
#pragma once

#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

namespace kr::zero::io::internal {

/// Calls the system again where a signal came between.
template <class Call>
auto retryInterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

/// Writes all of `bytes`, and waits where a pipe or socket is full.
/// @return false where that failed; errno says why.
[[nodiscard]] bool writeAll(int descriptor, std::string_view bytes);

/// A descriptor that is closed on every way out.
class Descriptor {
 public:
  /// @param number negative for one that could not be opened.
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  /// What was open here is closed with `other`.
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  bool isOpen() const { return number_ >= 0; }
  int get() const { return number_; }
  bool write(std::string_view bytes) { return writeAll(number_, bytes); }
  bool synchronise();
  /// Closing may be the first to report that bytes were lost.
  bool close();

 private:
  int number_;
};

/// Opens a path, from an open folder where it is a relative one, with O_CLOEXEC.
/// @param folder AT_FDCWD: the current one.
Descriptor openAt(int folder, const std::string& path, int flags, unsigned mode = 0);

}  // namespace kr::zero::io::internal
