#include "modeling/sylvan/EventPrinter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <ostream>

#include "text/Utf.h"

namespace modeling::sylvan {

namespace {

constexpr std::size_t kDeepestIndentation = 40;

void appendHex(std::string& text, unsigned char byte) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  text += kDigits[byte >> 4];
  text += kDigits[byte & 15];
}

void appendControl(std::string& text, char c) {
  constexpr std::string_view kNamed = "\b\f\n\r\t";
  constexpr std::string_view kLetters = "bfnrt";
  const std::size_t which = kNamed.find(c);
  if (which != std::string_view::npos) {
    text += '\\';
    text += kLetters[which];
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
  std::array<char, 40> kDigits;
  const auto end = std::to_chars(kDigits.data(), kDigits.data() + kDigits.size(), number).ptr;
  return std::string{mark, ' '}.append(kDigits.data(), end);
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
  line_.assign(2 * std::min(depth_, kDeepestIndentation), ' ');
  if (depth_ > kDeepestIndentation) line_.append("(").append(std::to_string(depth_)).append(") ");
  line_.append(text);
  if (!detail.empty()) line_.append(" ").append(detail);
  line_ += '\n';
  out_.write(line_.data(), static_cast<std::streamsize>(line_.size()));
}

}  // namespace modeling::sylvan
