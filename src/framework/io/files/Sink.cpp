#include "kr/zero/io/Sink.h"

#include <fstream>
#include <ostream>

#include "fl/filesystem/path.h"
#include "io/files/IoFailure.h"

namespace kr::zero::io {

namespace {

using Traits = std::char_traits<char>;

// A file that failed is closed at once: bytes are missing from it, so nothing that follows may succeed.
[[noreturn]] void fail(std::filebuf& file, const std::string& path) {
  const int error = errno;
  file.close();
  internal::throwIoFailure("cannot write \"" + path + "\"", error);
}

// Below this size a loop over bytes beats the preparations that sputn() makes.
constexpr std::size_t kFewBytes = 64;

bool put(std::filebuf& file, const std::string& bytes) {
  if (bytes.size() >= kFewBytes) {
    const auto size = static_cast<std::streamsize>(bytes.size());
    return file.sputn(bytes.data(), size) == size;
  }
  for (const char byte : bytes)
    if (Traits::eq_int_type(file.sputc(byte), Traits::eof())) return false;
  return true;
}

// A stream at its end (one that was read from, too) takes no bytes either, without counting as failed.
void requireGood(const std::ostream& stream) {
  if (!stream.good()) throw std::ios_base::failure("cannot write to the stream");
}

}  // namespace

Sink::~Sink() = default;

FileSink::FileSink(const ustring& path)
    : path_(fl::filesystem::detail::make_native_access_form_with_cleanup_i18n(path)),
      file_(std::make_unique<std::filebuf>()) {
  if (file_->open(path_, std::ios::out | std::ios::binary | std::ios::trunc) == nullptr) {
    internal::throwIoFailure("cannot create \"" + path_ + "\"", errno);
  }
}

FileSink::~FileSink() = default;

Sink& FileSink::write(const std::string& bytes) {
  errno = 0;
  if (!put(*file_, bytes)) fail(*file_, path_);
  return *this;
}

Sink& FileSink::writeByte(const unsigned char& byte) {
  errno = 0;
  if (Traits::eq_int_type(file_->sputc(static_cast<char>(byte)), Traits::eof())) fail(*file_, path_);
  return *this;
}

void FileSink::flush() {
  errno = 0;
  if (!file_->is_open() || file_->pubsync() != 0) fail(*file_, path_);
}

void FileSink::close() {
  if (!file_->is_open()) return;
  if (file_->close() == nullptr) fail(*file_, path_);
}

StreamSink::StreamSink(std::ostream& stream) : stream_(stream) {}
StreamSink::~StreamSink() = default;

Sink& StreamSink::write(const std::string& bytes) {
  stream_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  requireGood(stream_);
  return *this;
}

Sink& StreamSink::writeByte(const unsigned char& byte) {
  stream_.put(static_cast<char>(byte));
  requireGood(stream_);
  return *this;
}

void StreamSink::flush() {
  stream_.flush();
  requireGood(stream_);
}

StringSink::StringSink(std::string& string) : string_(string) {}
StringSink::~StringSink() = default;

Sink& StringSink::write(const std::string& bytes) {
  string_ += bytes;
  return *this;
}

Sink& StringSink::writeByte(const unsigned char& byte) {
  string_ += static_cast<char>(byte);
  return *this;
}

void StringSink::flush() {}

}  // namespace kr::zero::io
