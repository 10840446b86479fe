#include "XmlEscape.h"

#include <array>
#include <cstddef>

namespace kr::zero::ecore {

namespace {

enum Escape : unsigned char { plain, inAttributes, always, inText, forbidden, lead };

constexpr std::array<Escape, 256> makeEscapes() {
  std::array<Escape, 256> escapes{};
  for (std::size_t c = 0; c < 0x20; ++c) escapes[c] = forbidden;
  escapes['<'] = escapes['&'] = escapes['\r'] = always;
  escapes['"'] = escapes['\t'] = escapes['\n'] = inAttributes;
  escapes['>'] = inText;  // "]]>" must not stand there
  escapes[0xEF] = lead;   // of U+FFFE and U+FFFF, among others
  return escapes;
}

constexpr std::array<Escape, 256> kEscapes = makeEscapes();

std::string_view referenceTo(char c) {
  switch (c) {
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '&':
      return "&amp;";
    case '"':
      return "&quot;";
    case '\t':
      return "&#x9;";
    case '\n':
      return "&#xA;";
    default:
      return "&#xD;";
  }
}

/// The only characters beyond ASCII that XML forbids and UTF-8 allows.
bool isNoCharacter(std::string_view text, std::size_t at) {
  const std::string_view three = text.substr(at, 3);
  return three == "\xEF\xBF\xBE" || three == "\xEF\xBF\xBF";
}

bool append(std::string& out, std::string_view text, Escape own) {
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const Escape escape = kEscapes[static_cast<unsigned char>(text[i])];
    if (escape == plain) continue;
    if (escape == forbidden || (escape == lead && isNoCharacter(text, i))) return false;
    if (escape != always && escape != own) continue;
    out.append(text, start, i - start);
    out.append(referenceTo(text[i]));
    start = i + 1;
  }
  out.append(text, start);
  return true;
}

}  // namespace

bool appendAttributeText(std::string& out, std::string_view text) { return append(out, text, inAttributes); }
bool appendCharacterData(std::string& out, std::string_view text) { return append(out, text, inText); }

bool isXmlName(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    const bool isStart = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c >= 0x80;
    const bool isInside = (c >= '0' && c <= '9') || c == '-' || c == '.';
    if (!isStart && (i == 0 || !isInside)) return false;
  }
  return !text.empty();
}

}  // namespace kr::zero::ecore
