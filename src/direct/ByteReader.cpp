#include "direct/ByteReader.h"

#include "direct/Numbers.h"
#include "errors/MessageIds.h"
#include "errors/Raise.h"

namespace kr::zero::io {

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

void ByteReader::failTextCutShort(const std::uint8_t* start) {
  position = start;
  failCorrupt("Text cut short");
}

void ByteReader::failIllFormed() const { failCorrupt("Text is not well-formed UTF-8"); }

void ByteReader::failCorrupt(const char* detail) const {
  errors::raiseWithSpan<kr0::io::CorruptInput>(errors::corruptInput(), span_, detail);
}

void ByteReader::noteDetail(const std::string& detail) const {
  span_->addContext(foundation::log::logging_event_types::error, "error-message", detail);
}

void ByteReader::noteProperty(const std::string& name, const std::string& type) const {
  span_->addContext(foundation::log::logging_event_types::error, "property", name);
  span_->addContext(foundation::log::logging_event_types::error, "property-type", type);
}

}  // namespace kr::zero::io
