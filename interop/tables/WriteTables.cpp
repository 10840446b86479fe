// Tables in files and folders that appear whole or not at all.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
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

/// A file or folder beside the target, of a name that was free; gone at the end of its life.
class Temporary {
 public:
  Temporary(const fs::path& target, bool isFolder) {
    fs::path name = target.filename();
    if (name.empty()) name = target.parent_path().filename();
    const fs::path around = target.has_filename() ? target.parent_path() : target.parent_path().parent_path();
    for (int i = 0; i < kMostTries; ++i) {
      path_ = around /
              ("." + name.string() + "." + std::to_string(::getpid()) + "-" + std::to_string(i) + ".tmp");
      if (isFolder ? makeFolder() : makeFile()) return;
      if (errno != EEXIST) break;
    }
    failToWrite(target, lastError());
  }
  Temporary(const Temporary&) = delete;
  Temporary& operator=(const Temporary&) = delete;
  ~Temporary() {
    std::error_code nobodyAsks;
    fs::remove_all(path_, nobodyAsks);
  }
  const fs::path& path() const { return path_; }

 private:
  bool makeFolder() const { return ::mkdir(path_.c_str(), 0777) == 0; }
  bool makeFile() const {
    const int file = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    return file >= 0 && ::close(file) == 0;
  }
  fs::path path_;
};

void moveTo(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::rename(from, to, error);
  if (error) failToWrite(to, error);
}

void synchronise(const fs::path& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) failToWrite(path, lastError());
  const bool isDone = ::fsync(file) == 0;
  const std::error_code error = lastError();
  ::close(file);
  if (!isDone) failToWrite(path, error);
}

/// What a link leads to: the link stays, and what it points at is replaced.
fs::path behindLinks(const fs::path& path) {
  std::error_code error;
  const fs::path real = fs::is_symlink(path, error) ? fs::canonical(path, error) : path;
  return error ? path : real;
}

/// An old file keeps its permissions, and one that may not be written is not replaced.
void takeOver(const fs::path& old, const fs::path& made) {
  std::error_code error;
  const fs::file_status status = fs::status(old, error);
  if (!fs::exists(status)) return;
  if (fs::is_directory(status)) failToWrite(old, std::make_error_code(std::errc::is_a_directory));
  if (!fs::is_regular_file(status)) failToWrite(old, std::make_error_code(std::errc::invalid_seek));
  if (::access(old.c_str(), W_OK) != 0) failToWrite(old, lastError());
  fs::permissions(made, status.permissions(), error);
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
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
    isEmpty = false;
    isOurs = isOurs || entry.path().filename() == TextRows::fileOf("elements", form);
    if (entry.path().extension() != TextRows::extensionOf(form) || !entry.is_regular_file(error))
      throw Error(ErrorCode::unwritable,
                  ErrorDetails{.file = folder.string(),
                               .problem = "holds " + entry.path().filename().string() +
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
    const fs::path target = behindLinks(path);
    const Temporary file(target, false);
    takeOver(target, file.path());
    {
      SqliteTables tables(file.path().string(), false);
      tables.add(model, {}, progress);
      tables.addIndices();
    }
    synchronise(file.path());
    moveTo(file.path(), target);
  } catch (...) {
    rethrowAsError({.file = path.string()});
  }
}

void writeTextTables(const Model& model, const fs::path& folder, TextTables form,
                     const io::Progress& progress) {
  try {
    const fs::path target = behindLinks(folder.has_filename() ? folder : folder.parent_path());
    requireReplaceable(target, form);
    const Temporary made(target, true);
    TextRows rows(made.path(), form);
    rows.add(model, progress);
    std::error_code error;
    if (!fs::exists(target, error)) return moveTo(made.path(), target);
    // Both change places at once where the file system can do that; what is temporary then holds the old one.
    if (::renameat2(AT_FDCWD, made.path().c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) == 0) return;
    const Temporary old(target, true);
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
