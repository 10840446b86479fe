#include "kr/zero/tables/Field.h"

#include <array>
#include <charconv>
#include <cmath>

namespace kr::zero::tables {

namespace {

constexpr std::uint64_t kMostExact = std::uint64_t{1} << 53;  // from here on not every number is a double

template <class Number>
void appendNumber(std::string& out, Number value) {
  std::array<char, 32> digits;
  out.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
}

std::string_view nameOfInfinite(double value) {
  if (std::isnan(value)) return "NaN";
  return value < 0 ? "-Infinity" : "Infinity";
}

void appendQuoted(std::string& out, std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  out += '"';
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\')
      (out += '\\') += c;
    else if (c == '\n' || c == '\t')
      out += c == '\n' ? "\\n" : "\\t";
    else if (byte < 0x20)
      ((out += "\\u00") += kDigits[byte >> 4]) += kDigits[byte & 15];
    else
      out += c;
  }
  out += '"';
}

struct ToCsv {
  std::string& out;
  void operator()(std::monostate) const {}
  void operator()(bool value) const { out += value ? "true" : "false"; }
  void operator()(std::int64_t value) const { appendNumber(out, value); }
  void operator()(std::uint64_t value) const { appendNumber(out, value); }
  void operator()(double value) const {
    if (std::isfinite(value))
      appendNumber(out, value);
    else
      out += nameOfInfinite(value);
  }
  void operator()(std::string_view text) const {
    if (!text.empty() && text.find_first_of(",\"\r\n") == text.npos) {
      out += text;
      return;
    }
    out += '"';
    for (const char c : text) out.append(c == '"' ? 2 : 1, c);
    out += '"';
  }
};

struct ToJson {
  std::string& out;
  void operator()(std::monostate) const { out += "null"; }
  void operator()(bool value) const { out += value ? "true" : "false"; }
  void operator()(std::int64_t value) const {
    whole(value, value < 0 ? -static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value));
  }
  void operator()(std::uint64_t value) const { whole(value, value); }
  void operator()(double value) const {
    if (std::isfinite(value))
      appendNumber(out, value);
    else
      appendQuoted(out, nameOfInfinite(value));
  }
  void operator()(std::string_view text) const { appendQuoted(out, text); }

  template <class Number>
  void whole(Number value, std::uint64_t magnitude) const {
    const std::string_view quote = magnitude < kMostExact ? "" : "\"";
    out += quote;
    appendNumber(out, value);
    out += quote;
  }
};

}  // namespace

void appendCsv(std::string& out, const Field& field) { std::visit(ToCsv{out}, field); }
void appendJson(std::string& out, const Field& field) { std::visit(ToJson{out}, field); }

}  // namespace kr::zero::tables
