/// @file
/// Internal: numbers of the identities that a document makes for itself, ("#", number).
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "kr/zero/ustring.h"

namespace kr::zero::internal {

inline constexpr auto kDigitPairs = [] {
  std::array<std::array<char16_t, 2>, 100> pairs{};
  for (std::size_t number = 0; number < pairs.size(); ++number)
    pairs[number] = {static_cast<char16_t>(u'0' + number / 10), static_cast<char16_t>(u'0' + number % 10)};
  return pairs;
}();

/// The value of a decimal text of at most nine digits as writers write it, or 0 for any other text.
inline std::uint32_t localNumber(const ustring& text) noexcept {
  if (text.empty() || text.size() > 9 || text[0] == u'0') return 0;
  std::uint32_t number = 0;
  for (const char16_t c : text) {
    if (c < u'0' || c > u'9') return 0;
    number = number * 10 + static_cast<std::uint32_t>(c - u'0');
  }
  return number;
}

/// The decimal digits of a number, which is not 0, in a string that mostly has held one of as many before:
/// two by two, because each step waits for the division before it.
inline void putDigits(std::uint32_t number, ustring& out) {
  static constexpr std::array<std::uint32_t, 10> kPowersOf10{
      1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000};
  // bits * log10(2), rounded down: the number of digits or one less.
  const std::size_t least = static_cast<std::size_t>(std::bit_width(number)) * 1233 >> 12;
  const std::size_t size = least + (number >= kPowersOf10[least] ? 1 : 0);
  if (out.size() != size) out.resize(size);
  char16_t* end = out.data() + size;
  for (; number >= 10; number /= 100) std::memcpy(end -= 2, kDigitPairs[number % 100].data(), 4);
  if (size % 2 != 0) out[0] = static_cast<char16_t>(u'0' + number);
}

}  // namespace kr::zero::internal
