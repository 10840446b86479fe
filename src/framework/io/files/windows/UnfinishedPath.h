/// @file
/// Internal: the names of temporary files that exist right now, for whoever ends the program.
#pragma once

#include <filesystem>

namespace kr::zero::io::internal {

/// Keeps a file in the list while it lives. Of very many at once some are not in it; they are written all the
/// same.
class UnfinishedPath {
 public:
  UnfinishedPath() = default;
  ~UnfinishedPath() { forget(); }
  UnfinishedPath(const UnfinishedPath&) = delete;
  UnfinishedPath& operator=(const UnfinishedPath&) = delete;

  /// Instead of the file before.
  void remember(const std::filesystem::path& path) noexcept;
  void forget() noexcept;

 private:
  int place_ = -1;
};

}  // namespace kr::zero::io::internal
