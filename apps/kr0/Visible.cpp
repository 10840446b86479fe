#include "Visible.h"

#include <nlohmann/json.hpp>

namespace kr::zero::tool {

namespace {

bool isAsciiControl(char character) {
  return static_cast<unsigned char>(character) < ' ' || character == '\x7f';
}

// The number of bytes of the control character that a text begins with; 0 where it begins with another.
std::size_t controlAt(std::string_view text) {
  if (isAsciiControl(text[0])) return 1;
  const bool isHigh = text[0] == '\xC2' && text.size() > 1 && static_cast<unsigned char>(text[1]) < 0xA0;
  return isHigh ? 2 : 0;
}

bool hasControl(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i)
    if (controlAt(text.substr(i)) != 0) return true;
  return false;
}

// In UTF-8 the last byte of these is the number of the character.
void appendEscaped(std::string& out, char last) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(last);
  out.append("\\u00").append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 15]);
}

}  // namespace

void appendVisible(std::string& out, std::string_view text) {
  std::size_t begin = 0;  // of what is not appended yet
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t size = text[i] == '\n' ? 0 : controlAt(text.substr(i));
    if (size == 0) continue;
    out.append(text, begin, i - begin);
    appendEscaped(out, text[i + size - 1]);
    i += size - 1;
    begin = i + 1;
  }
  out.append(text, begin);
}

std::string inQuotes(std::string_view text) { return nlohmann::json(text).dump(); }

std::string asName(std::string_view name) {
  return name.empty() || hasControl(name) ? inQuotes(name) : std::string(name);
}

std::string asOneLine(std::string_view text) {
  std::string line;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t size = controlAt(text.substr(i));
    line += size == 0 ? text[i] : ' ';
    if (size == 2) ++i;
  }
  return line;
}

}  // namespace kr::zero::tool
