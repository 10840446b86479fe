#include "kr/zero/io/BinaryParser.h"

#include <array>
#include <fstream>
#include <string>

#include "direct/ParseDriver.h"
#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "fl/filesystem/path.h"
#include "kr/zero/io/IOFormatProvider.h"

namespace kr::zero::io {

namespace {

/// Says on the span how far reading had come, unless the parse succeeds.
class OffsetNote {
 public:
  OffsetNote(const BinaryParseContext& context, const log::Span& span) : context_(context), span_(span) {}
  ~OffsetNote() {
    if (done_) return;
    try {
      span_->addContext(foundation::log::logging_event_types::error, "byte-offset",
                        std::to_string(context_.getOffset()));
    } catch (...) {
      // The failure that is on its way matters more than a note about it.
    }
  }
  OffsetNote(const OffsetNote&) = delete;
  OffsetNote& operator=(const OffsetNote&) = delete;
  void succeed() noexcept { done_ = true; }

 private:
  const BinaryParseContext& context_;
  const log::Span& span_;
  bool done_ = false;
};

// The size is only believed once a byte could be read: a directory opens like a file, has an absurd size
// and fails here.
std::vector<std::uint8_t> readAll(std::ifstream& file) {
  std::vector<std::uint8_t> bytes;
  const std::streamoff size = file.tellg();
  file.seekg(0);
  std::streambuf& buffer = *file.rdbuf();
  if (std::char_traits<char>::eq_int_type(buffer.sgetc(), std::char_traits<char>::eof())) return bytes;
  if (size > 0) bytes.reserve(static_cast<std::size_t>(size));
  std::array<char, 1 << 14> piece;
  while (const std::streamsize got = buffer.sgetn(piece.data(), piece.size()))
    bytes.insert(bytes.end(), piece.begin(), piece.begin() + got);
  return bytes;
}

}  // namespace

BinaryParser::BinaryParser(std::unique_ptr<ParseCustomizer> customizer,
                           std::unique_ptr<ParsingModelBuilder> builder)
    : Parser(std::move(customizer), std::move(builder)) {
  formatName_ = IOFormatProvider::FORMAT_BINARY;
}

BinaryParser::BinaryParser(std::unique_ptr<ParsingModelBuilder> builder)
    : BinaryParser(std::make_unique<ParseCustomizer>(), std::move(builder)) {}

BinaryParser::BinaryParser() : BinaryParser(std::make_unique<ParsingModelBuilder>(false)) {}
BinaryParser::~BinaryParser() = default;

const char* BinaryParser::getFullyQualifiedVornTypeName() const { return "kr.zero.io.BinaryParser"; }

bool BinaryParser::doParseByteSequence(const std::vector<std::uint8_t>& bytes) {
  ParseProcessor& processor = *getParseProcessor();
  const log::Span span = getSpan()->openChild("doParseByteSequence");
  BinaryParseContext context(processor, bytes, span);
  OffsetNote note(context, span);
  const bool accepted = context.parseBinary();
  processor.parseCompleted();
  if (accepted) note.succeed();
  return accepted;
}

bool BinaryParser::doParseFile(const ustring& path) {
  std::vector<std::uint8_t> bytes;
  {
    std::ifstream file(fl::filesystem::detail::make_native_access_form_with_cleanup_i18n(path),
                       std::ios::binary | std::ios::ate);
    if (file.fail()) {
      const log::Span span = getSpan()->openChild("doParseFile");
      span->addContext(foundation::log::logging_event_types::error, "file-name", path);
      errors::raiseWithSpan<kr0::io::FileNotFound>(errors::fileNotFound(path), span);
    }
    bytes = readAll(file);
  }
  return doParseByteSequence(bytes);
}

bool BinaryParser::doParseString(const std::string&) {
  const log::Span span = getSpan()->openChild("doParseString");
  errors::raiseWithSpan<kr0::io::StringNotSupportedByParser>(errors::stringNotSupportedByParser(), span,
                                                             "This parser does not support string");
}

bool BinaryParser::doParseString(const ustring&) {
  const log::Span span = getSpan()->openChild("doParseString");
  errors::raiseWithSpan<kr0::io::UstringNotSupportedByParser>(errors::ustringNotSupportedByParser(), span,
                                                              "This parser does not support ustring");
}

}  // namespace kr::zero::io
