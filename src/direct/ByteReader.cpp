#include "direct/ByteReader.h"

#include "direct/Numbers.h"
#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "fl/i18n/converter.h"

namespace kr::zero::io {

namespace {

const fl::i18n::codecvt_string_to_ustring& utf8Converter() {
  static const fl::i18n::codecvt_string_to_ustring converter("UTF8", true);
  return converter;
}

}  // namespace

std::uint64_t ByteReader::readLongNumber() {
  std::uint64_t number = 0;
  const std::uint8_t* const behind = direct::decodeNumber(position, end, number);
  if (behind == nullptr) failCorrupt("Number cut short");
  position = behind;
  return number;
}

std::uint64_t ByteReader::readCount() {
  const std::uint8_t* const start = position;
  const std::uint64_t count = readNumber();
  if (count <= getRemaining()) return count;
  position = start;
  failCorrupt("Count larger than the bytes that remain");
}

std::string_view ByteReader::readText() {
  const std::uint8_t* const start = position;
  const std::uint64_t size = readNumber();
  if (size > getRemaining()) {
    position = start;
    failCorrupt("Text cut short");
  }
  const std::string_view text(reinterpret_cast<const char*>(position), static_cast<std::size_t>(size));
  position += size;
  return text;
}

void ByteReader::toUtf16(std::string_view utf8, ustring& text) const {
  if (!utf8Converter().convert(utf8, text)) failCorrupt("Text is not well-formed UTF-8");
}

void ByteReader::failCorrupt(const char* detail) const {
  errors::raiseWithSpan<kr0::io::CorruptInput>(errors::corruptInput(), span_, detail);
}

}  // namespace kr::zero::io
