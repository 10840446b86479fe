// Where the reader of the tagged format takes its bytes from.

#include <fstream>
#include <istream>
#include <sstream>

#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "fl/filesystem/path.h"
#include "kr/zero/io/BinaryAssembler.h"

namespace kr::zero::io {

namespace {

constexpr std::size_t kFileBufferBytes = std::size_t{1} << 16;

void requireGood(const std::istream& stream) {
  if (stream.fail()) errors::raise<kr0::io::CorruptInput>(errors::corruptInput());
}

}  // namespace

BinaryAssembler::Source::~Source() = default;

bool BinaryAssembler::Source::isEmpty() {
  return std::char_traits<char>::eq_int_type(stream().peek(), std::char_traits<char>::eof());
}

BinaryAssembler::FileSource::FileSource(const ustring& path)
    : buffer_(std::make_unique_for_overwrite<char[]>(kFileBufferBytes)),
      stream_(std::make_unique<std::ifstream>()) {
  // A buffer must be set before the file is opened, or it is not used.
  stream_->rdbuf()->pubsetbuf(buffer_.get(), kFileBufferBytes);
  stream_->open(fl::filesystem::detail::make_native_access_form_with_cleanup_i18n(path), std::ios::binary);
  requireGood(*stream_);
}

BinaryAssembler::FileSource::~FileSource() = default;
std::istream& BinaryAssembler::FileSource::stream() { return *stream_; }

BinaryAssembler::StreamSource::StreamSource(std::istream& stream) : stream_(stream) { requireGood(stream_); }
BinaryAssembler::StreamSource::~StreamSource() = default;
std::istream& BinaryAssembler::StreamSource::stream() { return stream_; }

BinaryAssembler::StringSource::StringSource(const std::string& bytes)
    : stream_(std::make_unique<std::istringstream>(bytes, std::ios::binary)) {}
BinaryAssembler::StringSource::~StringSource() = default;
std::istream& BinaryAssembler::StringSource::stream() { return *stream_; }

}  // namespace kr::zero::io
