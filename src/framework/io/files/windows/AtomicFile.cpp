// The way of Windows: as elsewhere, the bytes go to a new file beside the target, which takes the target's
// name once it is complete and on the disk. Names are wide, and files are opened by the system's own call so
// that others may remove or rename them meanwhile.
#include "kr/zero/io/AtomicFile.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <charconv>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>

#include "io/files/Descriptor.h"
#include "io/files/IoFailure.h"
#include "io/files/windows/UnfinishedPath.h"
#include "kr/zero/io/ModelFile.h"

namespace kr::zero::io {

namespace {

using internal::Descriptor;
namespace fs = std::filesystem;

constexpr int kNameAttempts = 100;
constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

[[noreturn]] void failToWrite(const fs::path& path, int error) {
  internal::throwIoFailure("cannot write \"" + path.string() + "\"", error);
}

// The errors of the system that a path can bring, as those that the rest of the library speaks of.
int errnoOf(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_BAD_NETPATH:
    case ERROR_INVALID_NAME:
      return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_WRITE_PROTECT:
      return EACCES;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return EEXIST;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return ENOSPC;
    case ERROR_TOO_MANY_OPEN_FILES:
      return EMFILE;
    case ERROR_FILENAME_EXCED_RANGE:
      return ENAMETOOLONG;
    default:
      return EIO;
  }
}

[[noreturn]] void failWithLastError(const fs::path& path) { failToWrite(path, errnoOf(::GetLastError())); }

// A handle of the system, closed on every way out.
class Handle {
 public:
  Handle(const fs::path& path, DWORD access, DWORD how)
      : handle_(::CreateFileW(path.c_str(), access, kShared, nullptr, how, FILE_ATTRIBUTE_NORMAL, nullptr)) {}
  ~Handle() {
    if (isOpen()) ::CloseHandle(handle_);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  bool isOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }

  // As a descriptor, which closes it from now on; negative where there is none to be had.
  int release() {
    if (!isOpen()) return -1;
    const int descriptor = ::_open_osfhandle(reinterpret_cast<std::intptr_t>(handle_), _O_WRONLY | _O_BINARY);
    if (descriptor >= 0) handle_ = INVALID_HANDLE_VALUE;
    return descriptor;
  }

 private:
  HANDLE handle_;
};

// Where a file really is, behind all links.
fs::path finalPath(const Handle& file, const fs::path& otherwise) {
  std::wstring path(MAX_PATH, L'\0');
  DWORD size = ::GetFinalPathNameByHandleW(file.get(), path.data(), static_cast<DWORD>(path.size()), 0);
  if (size > path.size()) {
    path.resize(size);
    size = ::GetFinalPathNameByHandleW(file.get(), path.data(), static_cast<DWORD>(path.size()), 0);
  }
  if (size == 0 || size >= path.size()) return otherwise;
  path.resize(size);
  return path;
}

// Its own short name: the target's may be as long as names may be.
std::string temporaryName() {
  char digits[8];
  const auto end = std::to_chars(std::begin(digits), std::end(digits), std::random_device{}(), 16).ptr;
  return ".kr0-" + std::string(digits, end) + ".tmp";
}

// The new file until it takes the target's name; removed where it never does.
class TemporaryFile {
 public:
  explicit TemporaryFile(const fs::path& target) : file_(create(target)) {
    if (!file_.isOpen()) failWithLastError(target);
  }
  ~TemporaryFile() {
    if (!waiting_) return;
    (void)file_.close();
    ::DeleteFileW(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  bool write(std::string_view bytes) { return file_.write(bytes); }
  void moveTo(const fs::path& target) {
    if (!file_.synchronise() || !file_.close()) failToWrite(target, errno);
    constexpr DWORD kHow = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
    if (!::MoveFileExW(path_.c_str(), target.c_str(), kHow)) failWithLastError(target);
    waiting_ = false;
  }

 private:
  int create(const fs::path& target) {
    for (int i = 0; i < kNameAttempts; ++i) {
      path_ = target.parent_path() / temporaryName();
      unfinished_.remember(path_);  // before it is there, or what ends the program in between leaves it
      Handle file(path_, GENERIC_WRITE, CREATE_NEW);
      const int descriptor = file.release();
      waiting_ = descriptor >= 0;
      if (waiting_) return descriptor;
      if (errnoOf(::GetLastError()) != EEXIST) break;
    }
    unfinished_.forget();
    return -1;
  }

  fs::path path_;
  bool waiting_ = false;
  internal::UnfinishedPath unfinished_;
  Descriptor file_;
};

}  // namespace

/// Where the bytes go: a device or pipe, or a new file beside the target.
struct AtomicFile::Impl {
  fs::path target;
  std::optional<Descriptor> inPlace;
  std::optional<TemporaryFile> temporary;

  explicit Impl(const fs::path& path) : target(path) {
    if (path.native().find(L'\0') != std::wstring::npos) throw std::invalid_argument("path holds a NUL");
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
      failToWrite(target, EISDIR);
    // Replacing a file asks for rights on its folder alone; one that is read-only stays as it is.
    Handle old(path, GENERIC_WRITE, OPEN_EXISTING);
    if (old.isOpen())
      replace(old);
    else if (const DWORD error = ::GetLastError(); error == ERROR_FILE_NOT_FOUND)
      temporary.emplace(target);
    else
      failToWrite(target, errnoOf(error));
  }

  // Devices and pipes hold nothing that could be kept, and must not be replaced by a file.
  void replace(Handle& old) {
    if (::GetFileType(old.get()) == FILE_TYPE_DISK) {
      target = finalPath(old, target);
      temporary.emplace(target);
    } else {
      inPlace.emplace(old.release());
      if (!inPlace->isOpen()) failToWrite(target, errno);
    }
  }

  void write(std::string_view bytes) {
    if (!(inPlace ? inPlace->write(bytes) : temporary->write(bytes))) failToWrite(target, errno);
  }

  void commit() {
    if (inPlace && !inPlace->close()) failToWrite(target, errno);
    if (temporary) temporary->moveTo(target);
  }
};

AtomicFile::AtomicFile(const std::filesystem::path& path) : impl_(std::make_unique<Impl>(path)) {}
AtomicFile::~AtomicFile() = default;
void AtomicFile::write(std::string_view bytes) { impl_->write(bytes); }
void AtomicFile::commit() { impl_->commit(); }

}  // namespace kr::zero::io
