// A reader of the target never sees half a file: the bytes go to a new file in the same folder, which
// takes the target's name once it is complete and on the disk.
#include "kr/zero/io/AtomicFile.h"

#include <fcntl.h>
#include <limits.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <charconv>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "io/files/Descriptor.h"
#include "io/files/IoFailure.h"
#include "io/files/TemporaryFile.h"

namespace kr::zero::io {

namespace {

using internal::Descriptor;
using internal::FilePlace;
using internal::isSameFile;
using internal::openAt;
using internal::Status;
using internal::TemporaryFile;

constexpr mode_t kOwnerOnly = 0600;
constexpr mode_t kAllButUmask = 0666;
constexpr int kMostLinks = 40;

[[noreturn]] void failToWrite(const std::string& path, int error) {
  internal::throwIoFailure("cannot write \"" + path + "\"", error);
}

[[noreturn]] void failToWrite(const std::string& path) {
  const int error = errno;  // before anything else can set it
  failToWrite(path, error);
}

std::optional<Status> statusOf(const std::string& path) {
  Status status;
  if (::stat(path.c_str(), &status) == 0) return status;
  return std::nullopt;
}

// --- Links

/// Opens the folder that a path leads to, which need not be one that may be listed.
/// @return a closed folder where there is none; errno says why.
FilePlace placeOf(int from, const std::string& path) {
  const std::size_t name = path.rfind('/') + 1;  // 0 where there is no folder
  return {openAt(from, name == 0 ? "." : path.substr(0, name), O_PATH | O_DIRECTORY), path.substr(name)};
}

bool isFolder(const FilePlace& place, const char* path) {
  Status folder;
  const std::optional<Status> named = statusOf(path);
  return named && ::fstat(place.folder.get(), &folder) == 0 && isSameFile(folder, *named);
}

// The descriptor that a place stands for. Opening it would give the file behind it a second time, from its
// start and without the modes that the descriptor was opened with; a socket or a file without a name has
// nothing to open.
std::optional<int> namedDescriptor(const FilePlace& place) {
  const std::string& name = place.name;
  int number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  if (error != std::errc() || number < 0 || std::to_string(number) != name) return std::nullopt;
  const bool isOurs = isFolder(place, "/proc/self/fd") || isFolder(place, "/proc/thread-self/fd");
  return isOurs ? std::optional(number) : std::nullopt;
}

// The links of this file system lead to open files whatever their text says.
bool isOfProcesses(const FilePlace& place) {
  struct statfs status;
  return ::fstatfs(place.folder.get(), &status) == 0 && status.f_type == PROC_SUPER_MAGIC;
}

// Where a symbolic link points, or nothing for anything else.
std::optional<std::string> readLink(const FilePlace& place) {
  std::string target(PATH_MAX, '\0');
  const ssize_t size = ::readlinkat(place.folder.get(), place.name.c_str(), target.data(), target.size());
  if (size < 0) return std::nullopt;
  target.resize(static_cast<std::size_t>(size));
  return target;
}

// What a path means once its links are followed. A link stays a link: what it points at is replaced, or made
// where it does not exist yet.
struct Target {
  FilePlace place;
  std::optional<int> descriptor;  // of this process, where that is meant
};

Target followLinks(const std::string& path) {
  FilePlace place = placeOf(AT_FDCWD, path);
  for (int i = 0; i < kMostLinks; ++i) {
    if (!place.folder.isOpen()) failToWrite(path);
    if (const auto descriptor = namedDescriptor(place)) return {std::move(place), descriptor};
    const auto next = isOfProcesses(place) ? std::nullopt : readLink(place);
    if (!next) return {std::move(place), std::nullopt};
    place = placeOf(place.folder.get(), *next);
  }
  failToWrite(path, ELOOP);
}

// --- The target

std::optional<Status> statusOf(const FilePlace& place) {
  Status status;
  if (::fstatat(place.folder.get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return status;
  return std::nullopt;
}

bool mayBeWritten(const FilePlace& place) {
  return ::faccessat(place.folder.get(), place.name.c_str(), W_OK, AT_EACCESS) == 0;
}

// The new name is part of the folder. Folders that cannot be opened or that their file system does not
// synchronise are left to it.
void synchroniseFolder(const FilePlace& target, const std::string& path) {
  Descriptor folder = openAt(target.folder.get(), ".", O_RDONLY | O_DIRECTORY);
  if (!folder.isOpen() || folder.synchronise() || errno == EINVAL || errno == ENOTSUP) return;
  const int error = errno;
  internal::throwIoFailure("wrote \"" + path + "\" but cannot synchronise its folder", error);
}

std::string nativeName(const std::filesystem::path& path) {
  std::string name = path.string();
  if (name.find('\0') != name.npos) throw std::invalid_argument("path holds a NUL");
  return name;
}

}  // namespace

/// Where the bytes go: into an open file of this process, a device or pipe, or a new file beside the target.
struct AtomicFile::Impl {
  std::string path;
  Target target;
  std::optional<Descriptor> inPlace;
  std::optional<TemporaryFile> temporary;

  explicit Impl(const std::filesystem::path& named) : path(nativeName(named)), target(followLinks(path)) {
    if (!target.descriptor) open();
  }

  void open() {
    const std::optional<Status> old = statusOf(path);
    if (!old && errno != ENOENT) failToWrite(path);
    if (old && S_ISDIR(old->st_mode)) failToWrite(path, EISDIR);
    // The system follows links that no text tells (to a file that was removed, for one), and what it finds
    // holds.
    const std::optional<Status> found = statusOf(target.place);
    if (old && (!S_ISREG(old->st_mode) || !found || !isSameFile(*old, *found))) return openInPlace();
    // Replacing a file asks for rights on its folder alone; one that is read-only stays as it is.
    if (old && !mayBeWritten(target.place)) failToWrite(path);
    temporary.emplace(target.place);
    // Nobody but the owner may open a file that gets the access rights of an old one before it has them. A
    // new one has its own from the start, which only the system knows (the umask, a default of the folder).
    if (!temporary->create(old ? kOwnerOnly : kAllButUmask)) failToWrite(path);
    if (old && !temporary->takeAccessFrom(*old)) failToWrite(path);
  }

  // Devices and pipes hold nothing that could be kept, and must not be replaced by a file.
  void openInPlace() {
    inPlace.emplace(openAt(AT_FDCWD, path, O_WRONLY | O_TRUNC | O_NOCTTY));
    if (!inPlace->isOpen()) failToWrite(path);
  }

  bool put(std::string_view bytes) {
    if (temporary) return temporary->write(bytes);
    return inPlace ? inPlace->write(bytes) : internal::writeAll(*target.descriptor, bytes);
  }

  void commit() {
    if (inPlace && !inPlace->close()) failToWrite(path);
    if (!temporary) return;
    if (!temporary->replaceTarget()) failToWrite(path);
    synchroniseFolder(target.place, path);
  }
};

AtomicFile::AtomicFile(const std::filesystem::path& path) : impl_(std::make_unique<Impl>(path)) {}
AtomicFile::~AtomicFile() = default;
void AtomicFile::write(std::string_view bytes) {
  if (!impl_->put(bytes)) failToWrite(impl_->path);
}
void AtomicFile::commit() { impl_->commit(); }

}  // namespace kr::zero::io
