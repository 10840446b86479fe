// Tables in files and folders that appear whole or not at all.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <ios>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "ModelRows.h"
#include "SqliteTables.h"
#include "TextRows.h"
#include "kr/zero/io/AtomicFile.h"
#include "kr/zero/tables/Tables.h"

namespace kr::zero::tables {

namespace {

namespace fs = std::filesystem;

/// Temporary names that are tried before giving up.
constexpr int kMostTries = 1000;

[[noreturn]] void failToWrite(const fs::path& path, const std::error_code& error) {
  throw Error(ErrorCode::unwritable,
              ErrorDetails{.file = path.string(), .problem = "cannot be written, " + error.message()});
}

std::error_code lastError() { return {errno, std::generic_category()}; }

/// The files of a folder, one after the other. (What the standard library lists or removes folders with ends
/// the program where there is no memory.)
class Listing {
 public:
  Listing(const fs::path& folder, std::error_code& error) noexcept : folder_(::opendir(folder.c_str())) {
    if (folder_ == nullptr) error = lastError();
  }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;
  ~Listing() {
    if (folder_ != nullptr) ::closedir(folder_);
  }

  /// The next name, or null at the end.
  const char* next() noexcept {
    // Of one stream, by one thread. NOLINTNEXTLINE(concurrency-mt-unsafe)
    while (const dirent* const entry = folder_ == nullptr ? nullptr : ::readdir(folder_))
      if (std::string_view(entry->d_name) != "." && std::string_view(entry->d_name) != "..")
        return entry->d_name;
    return nullptr;
  }
  void remove(const char* name) const noexcept { ::unlinkat(::dirfd(folder_), name, 0); }

 private:
  DIR* folder_;
};

/// A folder of files beside the target, of a name that was free; gone at the end of its life.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const fs::path& target) {
    for (int i = 0; i < kMostTries; ++i) {
      path_ = target.parent_path() / ("." + target.filename().string() + "." + std::to_string(::getpid()) +
                                      "-" + std::to_string(i) + ".tmp");
      if (::mkdir(path_.c_str(), 0777) == 0) return;
      if (errno != EEXIST) break;
    }
    failToWrite(target, lastError());
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code nobodyAsks;
    Listing files(path_, nobodyAsks);
    while (const char* const name = files.next()) files.remove(name);
    ::rmdir(path_.c_str());
  }
  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

/// A file on the target's disk that loses its name as soon as a database has it open: whatever ends the
/// program, nothing of it stays behind.
class NamelessFile {
 public:
  explicit NamelessFile(const fs::path& target) {
    open(target.has_parent_path() ? target.parent_path() : fs::path("."));
    // That of open files (/dev/fd) takes no new ones.
    if (file_ < 0) open(fs::temp_directory_path());
    if (file_ < 0) failToWrite(target, lastError());
  }
  NamelessFile(const NamelessFile&) = delete;
  NamelessFile& operator=(const NamelessFile&) = delete;
  ~NamelessFile() {
    loseName();
    ::close(file_);
  }
  const std::string& path() const { return path_; }
  void loseName() {
    if (!path_.empty()) ::unlink(path_.c_str());
    path_.clear();
  }
  void copyTo(io::AtomicFile& target) const {
    std::vector<char> piece(kCopied);
    for (off_t at = 0;;) {
      const ssize_t count = ::pread(file_, piece.data(), piece.size(), at);
      if (count == 0) return;
      if (count < 0 && errno != EINTR)
        throw std::ios_base::failure("the database cannot be read back", lastError());
      if (count < 0) continue;
      target.write({piece.data(), static_cast<std::size_t>(count)});
      at += count;
    }
  }

 private:
  void open(const fs::path& folder) {
    path_ = (folder / ".kr0-XXXXXX").string();
    file_ = ::mkostemp(path_.data(), O_CLOEXEC);
  }

  static constexpr std::size_t kCopied = std::size_t{1} << 20;
  std::string path_;
  int file_ = -1;
};

void moveTo(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::rename(from, to, error);
  if (error) failToWrite(to, error);
}

/// What a link leads to: the link stays, and what it points at is replaced.
fs::path behindLinks(const fs::path& path) {
  std::error_code error;
  const fs::path real = fs::is_symlink(path, error) ? fs::canonical(path, error) : path;
  return error ? path : real;
}

/// @throws Error where a folder that is there holds anything but tables of this form.
void requireReplaceable(const fs::path& folder, TextTables form) {
  std::error_code error;
  const fs::file_status status = fs::status(folder, error);
  if (!fs::exists(status)) return;
  if (!fs::is_directory(status))
    throw Error(
        ErrorCode::unwritable,
        ErrorDetails{.file = folder.string(), .problem = "is no folder, and tables are written into one"});
  bool isEmpty = true;
  bool isOurs = false;
  Listing files(folder, error);
  while (const char* const name = files.next()) {
    const fs::path file = name;
    isEmpty = false;
    isOurs = isOurs || file == TextRows::fileOf("elements", form);
    if (file.extension() != TextRows::extensionOf(form) || !fs::is_regular_file(folder / file, error))
      throw Error(ErrorCode::unwritable,
                  ErrorDetails{.file = folder.string(),
                               .problem = "holds " + file.string() +
                                          ", which is no such table: the folder is not overwritten"});
  }
  if (error) failToWrite(folder, error);
  if (!isEmpty && !isOurs)
    throw Error(ErrorCode::unwritable,
                ErrorDetails{.file = folder.string(),
                             .problem = "holds other files, but no tables: it is not overwritten"});
}

}  // namespace

void writeSqlite(const Model& model, const fs::path& path, const io::Progress& progress) {
  try {
    io::AtomicFile target(path);
    NamelessFile file(path);
    {
      SqliteTables tables(file.path(), false);
      file.loseName();
      tables.add(model, {}, progress);
      tables.addIndices();
    }
    file.copyTo(target);
    target.commit();
  } catch (...) {
    io::rethrowWriteFailure(path.string());
  }
}

void writeTextTables(const Model& model, const fs::path& folder, TextTables form,
                     const io::Progress& progress) {
  try {
    const fs::path target = behindLinks(folder.has_filename() ? folder : folder.parent_path());
    requireReplaceable(target, form);
    const TemporaryFolder made(target);
    TextRows rows(made.path(), form);
    rows.add(model, progress);
    std::error_code error;
    if (!fs::exists(target, error)) return moveTo(made.path(), target);
    // Both change places at once where the file system can do that; what is temporary then holds the old one.
    if (::renameat2(AT_FDCWD, made.path().c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) == 0) return;
    const TemporaryFolder old(target);
    moveTo(target, old.path());  // an empty folder gives way
    try {
      moveTo(made.path(), target);
    } catch (...) {
      fs::rename(old.path(), target, error);  // as it was, where that can be
      throw;
    }
  } catch (...) {
    rethrowAsError({.file = folder.string()});
  }
}

}  // namespace kr::zero::tables
