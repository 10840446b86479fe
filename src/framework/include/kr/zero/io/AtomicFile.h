/// @file
/// Files that appear whole or not at all.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "kr/zero/export.h"

namespace kr::zero::io {

/// A file that is written piece by piece. Its bytes go to a temporary file beside the target, which takes the
/// target's name when it is committed; see saveModel for links, permissions, devices and pipes, which get
/// their bytes as they come. One that is not committed leaves the old file as it was.
/// Every operation throws std::ios_base::failure with the path and the system's reason.
class KR0_FRAMEWORK_API AtomicFile {
 public:
  /// @throws std::invalid_argument for a path that holds a NUL.
  explicit AtomicFile(const std::filesystem::path& path);
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  /// Adds bytes at the end.
  void write(std::string_view bytes);
  /// Synchronises the file to the disk and puts it in its place. Call it once, as the last thing.
  void commit();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// Removes the temporary files of every AtomicFile that is neither committed nor gone; those they were to
/// replace stay as they are. For a handler of the signals that end a program: may be called there (it is
/// async-signal-safe), and nothing should be written afterwards. Of more than 64 files at once it knows the
/// first 64.
KR0_FRAMEWORK_API void removeUnfinishedFiles() noexcept;

/// Makes an Error of the exception that is being handled, as rethrowAsError does; a failure of the system
/// while a file was written is ErrorCode::unwritable. To be called in a catch block.
[[noreturn]] KR0_FRAMEWORK_API void rethrowWriteFailure(const std::string& name);

}  // namespace kr::zero::io
