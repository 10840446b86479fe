/// @file
/// Internal: the names of temporary files that exist right now, where a signal handler can read them.
#pragma once

#include <string>

namespace kr::zero::io::internal {

/// Keeps a file in the list while it lives. Of very many at once, and of longer names than temporary files
/// have, some are not in it; they are written all the same.
class UnfinishedFile {
 public:
  UnfinishedFile() = default;
  ~UnfinishedFile() { forget(); }
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;

  /// Instead of the file before.
#ifdef _WIN32
  void remember(const std::string& path) noexcept;
#else
  /// @param folder the folder of the file.
  /// @param file the file. Both must stay open until it is forgotten.
  void remember(int folder, int file, const std::string& name) noexcept;
#endif
  void forget() noexcept;

 private:
  int place_ = -1;
};

}  // namespace kr::zero::io::internal
