#include "Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <ios>
#include <system_error>

#include "Errors.h"
#include "Visible.h"
#include "kr/zero/io/ModelFile.h"
#include "kr/zero/io/ReadFailure.h"
#include "kr/zero/ustring.h"

namespace kr::zero::tool {

namespace {

constexpr std::size_t kPieceBytes = std::size_t{64} * 1024;

// Whoever read a pipe may have seen enough; every other failure is one.
template <class Write>
void writeForReader(Write write) {
  try {
    write();
  } catch (const std::ios_base::failure& failure) {
    if (failure.code() == std::errc::broken_pipe) throw ReaderGone();
    throw;
  }
}

// Opening a pipe waits for its writer.
int openInput(const std::string& path) {
  if (path == "-") return ::dup(STDIN_FILENO);
  for (;;) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor >= 0 || errno != EINTR) return descriptor;
  }
}

void writeStandardOutput(std::string_view bytes) {
  writeForReader([&] { io::writeToDescriptor(STDOUT_FILENO, bytes); });
}

}  // namespace

void holdStandardStreams() {
  // Opened the wrong way round: using one of them still fails as a closed descriptor does.
  const int modes[] = {O_WRONLY, O_RDONLY, O_RDONLY};
  for (int descriptor = 0; descriptor <= STDERR_FILENO; ++descriptor)
    if (::fcntl(descriptor, F_GETFD) == -1 && errno == EBADF)
      static_cast<void>(::open("/dev/null", modes[descriptor]));
}

std::string inputName(const std::string& path) { return path == "-" ? "standard input" : path; }

void failToRead(const std::string& name) {
  throw Error(ErrorCode::unreadable, {.file = name, .problem = io::unreadableFor(errno)});
}

InputFile::InputFile(const std::string& path) : name_(inputName(path)), descriptor_(openInput(path)) {
  if (descriptor_ < 0) failToRead(name_);
}

InputFile::~InputFile() { ::close(descriptor_); }

std::size_t InputFile::knownSize() const {
  struct stat status {};
  const bool isKnown =
      ::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode) && ::lseek(descriptor_, 0, SEEK_CUR) == 0;
  return isKnown ? static_cast<std::size_t>(status.st_size) : 0;
}

void InputFile::readPieces(const std::function<void(std::string_view)>& take) const {
  char piece[kPieceBytes];
  for (;;) {
    const ssize_t got = ::read(descriptor_, piece, sizeof piece);
    if (got == 0) return;
    if (got > 0)
      take({piece, static_cast<std::size_t>(got)});
    else if (errno != EINTR)
      failToRead(name_);
  }
}

std::vector<std::uint8_t> readInput(const std::string& path) {
  const InputFile file(path);
  std::vector<std::uint8_t> bytes;
  bytes.reserve(file.knownSize());
  file.readPieces([&](std::string_view piece) { bytes.insert(bytes.end(), piece.begin(), piece.end()); });
  return bytes;
}

void writeOutput(const std::string& path, std::string_view bytes) {
  if (path == "-") return writeStandardOutput(bytes);
  writeForReader([&] { io::writeFileAtomically(path, bytes); });
}

void makeFolder(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (!error && !std::filesystem::is_directory(path, error) && !error)
    error = std::make_error_code(std::errc::not_a_directory);
  if (error)
    throw Error(ErrorCode::unwritable,
                {.file = path, .problem = "cannot be made a folder, " + error.message()});
}

TextOut& TextOut::operator<<(std::string_view text) {
  appendVisible(pending_, text);
  if (pending_.size() >= kPieceBytes) flush();
  return *this;
}

TextOut& TextOut::operator<<(char character) { return *this << std::string_view(&character, 1); }

void TextOut::flush() {
  if (target_ != nullptr)
    *target_ += pending_;
  else
    writeStandardOutput(pending_);
  pending_.clear();
}

}  // namespace kr::zero::tool
