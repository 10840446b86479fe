/// @file
/// Internal: a new file until it takes the name of the file that it replaces.
#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "io/files/Descriptor.h"
#include "io/files/UnfinishedFiles.h"

namespace kr::zero::io::internal {

using Status = struct stat;

inline bool isSameFile(const Status& a, const Status& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// A name in an open folder, which nobody can exchange from then on.
struct FilePlace {
  Descriptor folder;
  std::string name;
};

/// A file beside its target, removed where it never takes the target's name.
///
/// Its name says whose it is: ".kr0-", 16 digits of a hash of the target's name, "-" and a small number,
/// ".tmp". Whoever writes it holds a lock on it. A program that is killed loses the lock and leaves the file,
/// and the next one that makes a temporary file for the same target removes it.
class TemporaryFile {
 public:
  /// @param target lives longer than this.
  explicit TemporaryFile(const FilePlace& target) : target_(target) {}
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// All of these say whether that went well; errno tells why it did not.
  ///@{
  /// Makes it, and removes what killed programs left for this target.
  [[nodiscard]] bool create(mode_t mode);
  /// Gives it the owner, group and permissions of another file, as far as the system lets it. It never
  /// becomes open to more than that one.
  [[nodiscard]] bool takeAccessFrom(const Status& old);
  [[nodiscard]] bool write(std::string_view bytes) { return file_.write(bytes); }
  /// Puts it on the disk and in the target's place.
  [[nodiscard]] bool replaceTarget();
  ///@}

 private:
  int attempt(const std::string& name, mode_t mode);
  void removeStale(const std::string& name) const;
  bool isNameOf(const Descriptor& file, const std::string& name) const;

  const FilePlace& target_;
  std::string name_;
  bool isThere_ = false;
  Descriptor file_{-1};
  Descriptor lock_{-1};  // the same open file: its lock holds until the target is replaced
  UnfinishedFile unfinished_;
};

}  // namespace kr::zero::io::internal
