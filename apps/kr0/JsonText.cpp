#include "JsonText.h"

#include <charconv>

#include "Visible.h"

namespace kr::zero::tool {

void JsonText::open(char bracket) {
  separate();
  text_ += bracket;
  isFirst_ = true;
}

void JsonText::close(char bracket) {
  text_ += bracket;
  isFirst_ = false;
}

JsonText& JsonText::name(std::string_view name) {
  separate();
  text_ += inQuotes(name);
  text_ += ':';
  isFirst_ = true;
  return *this;
}

void JsonText::add(std::string_view text) { addWord(inQuotes(text)); }

void JsonText::separate() {
  if (!isFirst_) text_ += ',';
  isFirst_ = false;
}

void JsonText::addWord(std::string_view word) {
  separate();
  text_ += word;
}

void JsonText::addNumber(std::int64_t number) {
  char digits[24];
  addWord(
      {digits, static_cast<std::size_t>(std::to_chars(digits, digits + sizeof digits, number).ptr - digits)});
}

}  // namespace kr::zero::tool
