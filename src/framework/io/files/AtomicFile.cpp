// A reader of the target never sees half a file: the bytes go to a new file in the same folder, which
// takes the target's name once it is complete and on the disk.
#include "kr/zero/io/AtomicFile.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>

#include "io/files/Descriptor.h"
#include "io/files/IoFailure.h"
#include "io/files/UnfinishedFiles.h"
#include "kr/zero/io/ModelFile.h"

namespace kr::zero::io {

namespace {

using internal::Descriptor;
using internal::retryInterrupted;
using Status = struct stat;

constexpr mode_t kPermissionBits = 0777;
constexpr mode_t kOwnerOnly = 0600;
constexpr mode_t kAllButUmask = 0666;
constexpr int kNameAttempts = 100;
constexpr int kMaxLinks = 40;

[[noreturn]] void failToWrite(const std::string& path) {
  const int error = errno;
  internal::throwIoFailure("cannot write \"" + path + "\"", error);
}

[[noreturn]] void failToWrite(const std::string& path, int error) {
  errno = error;
  failToWrite(path);
}

int openFile(const std::string& path, int flags, mode_t mode = 0) {
  return retryInterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC, mode); });
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == path.npos ? "." : path.substr(0, slash + 1);
}

std::optional<Status> statusOf(const std::string& path) {
  Status status;
  if (::stat(path.c_str(), &status) == 0) return status;
  return std::nullopt;
}

bool isSameFile(const Status& a, const Status& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

// The descriptor that a path names. Opening such a path would give the file behind it a second time, from its
// start and without the modes that the descriptor was opened with; a socket or a file without a name has
// nothing to open.
std::optional<int> namedDescriptor(const std::string& path) {
  const std::string name = path.substr(path.rfind('/') + 1);
  int number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  if (error != std::errc() || end != name.data() + name.size() || number < 0) return std::nullopt;
  const auto descriptors = statusOf("/proc/self/fd");
  const auto folder = statusOf(folderOf(path));
  if (!descriptors || !folder || !isSameFile(*descriptors, *folder)) return std::nullopt;
  return number;
}

// Where a symbolic link points, or nothing for anything else.
std::optional<std::string> readLink(const std::string& path) {
  std::string target(PATH_MAX, '\0');
  const ssize_t size = ::readlink(path.c_str(), target.data(), target.size());
  if (size < 0) return std::nullopt;
  target.resize(static_cast<std::size_t>(size));
  return target.starts_with('/') ? target : folderOf(path) + "/" + target;
}

// What a path means once its links are followed. A link stays a link: what it points at is replaced, or made
// where it does not exist yet.
struct Target {
  std::string path;
  std::optional<int> descriptor;  // of this process, where that is meant
};

Target followLinks(std::string path) {
  for (int i = 0; i < kMaxLinks; ++i) {
    if (const auto descriptor = namedDescriptor(path)) return {path, descriptor};
    auto next = readLink(path);
    if (!next) return {path, std::nullopt};
    path = *std::move(next);
  }
  failToWrite(path, ELOOP);
}

// The new file until it takes the target's name; removed where it never does.
class TemporaryFile {
 public:
  TemporaryFile(const std::string& target, mode_t mode) : file_(create(target, mode)) {
    if (!file_.isOpen()) failToWrite(target);
  }
  ~TemporaryFile() {
    if (waiting_) ::unlink(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  bool takeAccessFrom(const Status& old);
  bool write(std::string_view bytes) { return file_.write(bytes); }
  bool moveTo(const std::string& target);

 private:
  int create(const std::string& target, mode_t mode);

  std::string path_;
  bool waiting_ = false;
  internal::UnfinishedFile unfinished_;
  Descriptor file_;
};

// Its own short name: the target's may be as long as names may be.
std::string temporaryName() {
  char digits[8];
  const auto end = std::to_chars(std::begin(digits), std::end(digits), std::random_device{}(), 16).ptr;
  return ".kr0-" + std::string(digits, end) + ".tmp";
}

int TemporaryFile::create(const std::string& target, mode_t mode) {
  int descriptor = -1;
  for (int i = 0; i < kNameAttempts; ++i) {
    path_ = folderOf(target) + "/" + temporaryName();
    unfinished_.remember(path_);  // before it is there, or a signal in between leaves it
    descriptor = openFile(path_, O_WRONLY | O_CREAT | O_EXCL, mode);
    if (descriptor >= 0 || errno != EEXIST) break;
  }
  waiting_ = descriptor >= 0;
  if (!waiting_) unfinished_.forget();
  return descriptor;
}

bool TemporaryFile::takeAccessFrom(const Status& old) {
  // Few may give a file away; the others keep at least its group where it is one of their own. Where
  // even that is refused the file is theirs, as any file that they write.
  if (::fchown(file_.get(), old.st_uid, old.st_gid) != 0) {
    (void)!::fchown(file_.get(), static_cast<uid_t>(-1), old.st_gid);
  }
  return ::fchmod(file_.get(), old.st_mode & kPermissionBits) == 0;
}

bool TemporaryFile::moveTo(const std::string& target) {
  if (!file_.synchronise() || !file_.close() || ::rename(path_.c_str(), target.c_str()) != 0) return false;
  waiting_ = false;
  return true;
}

// The new name is part of the folder. Folders that cannot be opened or that their file system does not
// synchronise are left to it.
void synchroniseFolder(const std::string& target) {
  Descriptor folder(openFile(folderOf(target), O_RDONLY | O_DIRECTORY));
  if (!folder.isOpen() || folder.synchronise() || errno == EINVAL || errno == ENOTSUP) return;
  internal::throwIoFailure("wrote \"" + target + "\" but cannot synchronise its folder", errno);
}

bool mayBeWritten(const std::string& path) {
  return ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

std::string nativeName(const std::filesystem::path& path) {
  const std::string name = path.string();
  if (name.find('\0') != name.npos) throw std::invalid_argument("path holds a NUL");
  return name;
}

}  // namespace

/// Where the bytes go: into an open file of this process, a device or pipe, or a new file beside the target.
struct AtomicFile::Impl {
  std::string named;
  int descriptor = -1;
  std::optional<Descriptor> inPlace;
  std::string target;
  std::optional<TemporaryFile> temporary;

  explicit Impl(const std::filesystem::path& path) : named(nativeName(path)) {
    const Target followed = followLinks(named);
    target = followed.path;
    if (followed.descriptor)
      descriptor = *followed.descriptor;
    else
      open();
  }

  void open() {
    const std::optional<Status> old = statusOf(named);
    if (old && S_ISDIR(old->st_mode)) failToWrite(named, EISDIR);
    // The system follows links that no text tells (to a file that was removed, for one), and what it finds
    // holds.
    const std::optional<Status> found = statusOf(target);
    if (old && (!S_ISREG(old->st_mode) || !found || !isSameFile(*old, *found))) return openInPlace();
    // Replacing a file asks for rights on its folder alone; one that is read-only stays as it is.
    if (old && !mayBeWritten(target)) failToWrite(target);
    // Nobody but the owner may open a file that gets the access rights of an old one before it has them.
    temporary.emplace(target, old ? kOwnerOnly : kAllButUmask);
    if (old && !temporary->takeAccessFrom(*old)) failToWrite(target);
  }

  // Devices and pipes hold nothing that could be kept, and must not be replaced by a file.
  void openInPlace() {
    inPlace.emplace(openFile(named, O_WRONLY | O_TRUNC));
    if (!inPlace->isOpen()) failToWrite(named);
  }

  void write(std::string_view bytes) {
    if (temporary) {
      if (!temporary->write(bytes)) failToWrite(target);
    } else if (!(inPlace ? inPlace->write(bytes) : internal::writeAll(descriptor, bytes))) {
      failToWrite(named);
    }
  }

  void commit() {
    if (inPlace && !inPlace->close()) failToWrite(named);
    if (!temporary) return;
    if (!temporary->moveTo(target)) failToWrite(target);
    synchroniseFolder(target);
  }
};

AtomicFile::AtomicFile(const std::filesystem::path& path) : impl_(std::make_unique<Impl>(path)) {}
AtomicFile::~AtomicFile() = default;
void AtomicFile::write(std::string_view bytes) { impl_->write(bytes); }
void AtomicFile::commit() { impl_->commit(); }

}  // namespace kr::zero::io
