#include "model/Numbers.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#if defined(_LIBCPP_VERSION)
#include <locale.h>
#include <stdlib.h>

#include <cerrno>
#include <string>
#endif

namespace kr::zero::internal {

using meta::StandardType;

namespace {

// from_chars takes a minus and no plus. Of two signs the second is left, and refused.
std::string_view withoutPlus(std::string_view text) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  return text;
}

template <class T>
std::optional<T> parseWhole(std::string_view text) {
  T number{};
  text = withoutPlus(text);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return number;
}

#if defined(_LIBCPP_VERSION)
// libc++ has no std::from_chars for these: strtod of the classic locale, shown nothing else, reads the same
// forms. It says of numbers below the normal ones, too, that they are out of range.
template <>
std::optional<double> parseWhole(std::string_view text) {
  text = withoutPlus(text);
  if (text.empty() || text.front() == '+' || text.find_first_not_of("0123456789.eE+-") != text.npos)
    return std::nullopt;
  static const locale_t kClassic = newlocale(LC_ALL_MASK, "C", nullptr);
  const std::string form(text);
  char* end = nullptr;
  errno = 0;
  const double number = strtod_l(form.c_str(), &end, kClassic);
  if (end != form.c_str() + form.size() || (errno == ERANGE && (number == 0 || std::isinf(number))))
    return std::nullopt;
  return number;
}
#endif

std::optional<double> parseReal(std::string_view text) {
  if (text == "INF" || text == "Infinity") return std::numeric_limits<double>::infinity();
  if (text == "-INF" || text == "-Infinity") return -std::numeric_limits<double>::infinity();
  if (text == "NaN") return std::numeric_limits<double>::quiet_NaN();
  const auto number = parseWhole<double>(text);
  if (number && !std::isfinite(*number)) return std::nullopt;  // from_chars knows "inf" and "nan" too
  return number;
}

std::string formatReal(double number) {
  if (std::isnan(number)) return "NaN";
  if (std::isinf(number)) return number > 0 ? "INF" : "-INF";
  std::array<char, 32> buffer;
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number).ptr;
  std::string text(buffer.data(), end);
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

int hexDigit(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

constexpr bool isDashPosition(std::size_t i) { return i == 8 || i == 13 || i == 18 || i == 23; }

}  // namespace

IntegerRange rangeOf(StandardType type) noexcept {
  const meta::StandardTypeInfo& info = meta::infoOf(type);
  const bool isSigned = info.kind == meta::StandardKind::signedInteger;
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  const int bits = 8 * info.width - (isSigned ? 1 : 0);
  const std::int64_t high = bits >= 63 ? kMost : (std::int64_t{1} << bits) - 1;
  return {isSigned ? -high - 1 : 0, high};
}

std::optional<std::uint64_t> parseNumber(StandardType type, std::string_view text) {
  if (type == StandardType::boolean) {
    if (text == "true" || text == "1") return 1;
    if (text == "false" || text == "0") return 0;
    return std::nullopt;
  }
  if (type == StandardType::real) {
    const auto number = parseReal(text);
    return number ? std::optional(std::bit_cast<std::uint64_t>(*number)) : std::nullopt;
  }
  if (type == StandardType::uinteger64) return parseWhole<std::uint64_t>(text);
  const auto number = parseWhole<std::int64_t>(text);
  const IntegerRange range = rangeOf(type);
  if (!number || *number < range.low || *number > range.high) return std::nullopt;
  return static_cast<std::uint64_t>(*number);
}

std::string formatNumber(StandardType type, std::uint64_t payload) {
  if (type == StandardType::boolean) return payload != 0 ? "true" : "false";
  if (type == StandardType::real) return formatReal(std::bit_cast<double>(payload));
  if (type == StandardType::uinteger64) return std::to_string(payload);
  return std::to_string(static_cast<std::int64_t>(payload));
}

std::optional<Uuid> parseUuid(std::string_view text) {
  if (text.size() != 36) return std::nullopt;
  Uuid uuid{};
  std::size_t digits = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isDashPosition(i)) {
      if (text[i] != '-') return std::nullopt;
      continue;
    }
    const int digit = hexDigit(text[i]);
    if (digit < 0) return std::nullopt;
    auto& byte = uuid[digits++ / 2];
    byte = static_cast<std::uint8_t>(byte << 4 | digit);
  }
  return uuid;
}

std::string formatUuid(const Uuid& uuid) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(36);
  for (const std::uint8_t byte : uuid) {
    if (isDashPosition(text.size())) text += '-';
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

}  // namespace kr::zero::internal
