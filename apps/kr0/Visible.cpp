#include "Visible.h"

#include <nlohmann/json.hpp>

namespace kr::zero::tool {

namespace {

// A character that a terminal obeys instead of showing it: what it is, and how many bytes it has.
struct Control {
  unsigned number = 0;
  std::size_t size = 0;  // 0: there is none
};

bool isBetween(unsigned number, unsigned low, unsigned high) { return low <= number && number <= high; }

// Marks that turn the direction of what follows, so that a line reads as something that it is not.
bool turnsDirection(unsigned number) {
  return number == 0x061C || isBetween(number, 0x200E, 0x200F) || isBetween(number, 0x202A, 0x202E) ||
         isBetween(number, 0x2066, 0x2069);
}

// That which a text begins with, where it begins with one.
Control controlAt(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  if (first < ' ' || first == 0x7F) return {first, 1};
  // UTF-8 of two and of three bytes; no more and no others have any.
  const std::size_t size = first == 0xC2 || first == 0xD8 ? 2 : first == 0xE2 ? 3 : 0;
  if (size == 0 || size > text.size()) return {};
  unsigned number = first & (size == 2 ? 0x1Fu : 0x0Fu);
  for (std::size_t i = 1; i < size; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) return {};
    number = number << 6 | (next & 0x3Fu);
  }
  return isBetween(number, 0x80, 0x9F) || turnsDirection(number) ? Control{number, size} : Control{};
}

bool hasControl(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i)
    if (controlAt(text.substr(i)).size != 0) return true;
  return false;
}

void appendEscaped(std::string& out, unsigned number) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  out += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) out += kDigits[number >> shift & 15];
}

}  // namespace

void appendVisible(std::string& out, std::string_view text) {
  std::size_t begin = 0;  // of what is not appended yet
  for (std::size_t i = 0; i < text.size(); ++i) {
    const Control control = text[i] == '\n' ? Control{} : controlAt(text.substr(i));
    if (control.size == 0) continue;
    out.append(text, begin, i - begin);
    appendEscaped(out, control.number);
    begin = i + control.size;
    i = begin - 1;
  }
  out.append(text, begin);
}

// Names of files need be no text.
std::string inQuotes(std::string_view text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string asName(std::string_view name) {
  return name.empty() || hasControl(name) ? inQuotes(name) : std::string(name);
}

std::string asOneLine(std::string_view text) {
  std::string line;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t size = controlAt(text.substr(i)).size;
    line += size == 0 ? text[i] : ' ';
    i += size == 0 ? 1 : size;
  }
  return line;
}

}  // namespace kr::zero::tool
