#include "modeling/sylvan/EventPrinter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <ostream>

#include "text/Utf.h"

namespace modeling::sylvan {

namespace {

constexpr std::size_t deepestIndentation = 40;

void appendHex(std::string& text, unsigned char byte) {
  constexpr std::string_view digits = "0123456789abcdef";
  text += digits[byte >> 4];
  text += digits[byte & 15];
}

void appendControl(std::string& text, char c) {
  constexpr std::string_view named = "\b\f\n\r\t";
  constexpr std::string_view letters = "bfnrt";
  const std::size_t which = named.find(c);
  if (which != std::string_view::npos) {
    text += '\\';
    text += letters[which];
    return;
  }
  text += "\\u00";
  appendHex(text, static_cast<unsigned char>(c));
}

void appendCharacter(std::string& text, char c, bool isUtf8) {
  const auto byte = static_cast<unsigned char>(c);
  if (byte < 0x20 || byte == 0x7F) return appendControl(text, c);
  if (byte >= 0x80 && !isUtf8) {
    text += "\\x";
    return appendHex(text, byte);
  }
  if (c == '"' || c == '\\') text += '\\';
  text += c;
}

template <class Number>
std::string withMark(char mark, Number number) {
  std::array<char, 40> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  return std::string{mark, ' '}.append(digits.data(), end);
}

struct ToText {
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::nullptr_t) const { return "null"; }
  // The sign of a NaN says nothing.
  std::string operator()(double value) const { return std::isnan(value) ? "r nan" : withMark('r', value); }
  std::string operator()(std::uint64_t value) const { return withMark('u', value); }
  std::string operator()(std::int64_t value) const { return withMark('s', value); }
  std::string operator()(const std::string& value) const {
    std::u16string units;
    const bool isUtf8 = fl::i18n::internal::utf8ToUtf16(value, units);
    std::string text = "\"";
    for (const char c : value) appendCharacter(text, c, isUtf8);
    return text += '"';
  }
};

}  // namespace

std::string toText(const SylvanPrimitive& value) { return std::visit(ToText(), value); }

EventPrinter::EventPrinter(std::ostream& out) : out_(out) {}
EventPrinter::~EventPrinter() = default;

void EventPrinter::startDocument(const SylvanPrimitive& value) {
  const bool isNull = std::holds_alternative<std::nullptr_t>(value);
  start(SylvanEventCode::startDocument, isNull ? std::string() : toText(value));
}
void EventPrinter::endDocument() { end(SylvanEventCode::endDocument); }
void EventPrinter::startStruct() { start(SylvanEventCode::startStruct); }
void EventPrinter::endStruct() { end(SylvanEventCode::endStruct); }
void EventPrinter::startNamedEntry(const SylvanPrimitive& name) {
  start(SylvanEventCode::startNamedEntry, toText(name));
}
void EventPrinter::endNamedEntry() { end(SylvanEventCode::endNamedEntry); }
void EventPrinter::startSequence() { start(SylvanEventCode::startSequence); }
void EventPrinter::endSequence() { end(SylvanEventCode::endSequence); }
void EventPrinter::startMetadata() { start(SylvanEventCode::startMetadata); }
void EventPrinter::endMetadata() { end(SylvanEventCode::endMetadata); }
void EventPrinter::writePrimitive(const SylvanPrimitive& value) { print(toText(value)); }

void EventPrinter::start(SylvanEventCode code, std::string_view detail) {
  print(getName(code), detail);
  ++depth_;
}

void EventPrinter::end(SylvanEventCode code) {
  if (depth_ != 0) --depth_;
  print(getName(code));
}

void EventPrinter::print(std::string_view text, std::string_view detail) {
  line_.assign(2 * std::min(depth_, deepestIndentation), ' ');
  if (depth_ > deepestIndentation) line_.append("(").append(std::to_string(depth_)).append(") ");
  line_.append(text);
  if (!detail.empty()) line_.append(" ").append(detail);
  line_ += '\n';
  out_.write(line_.data(), static_cast<std::streamsize>(line_.size()));
}

}  // namespace modeling::sylvan
