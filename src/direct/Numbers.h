/// @file
/// Internal: numbers of the direct format, in groups of 7 bits, lowest first, and texts, which have their
/// length in front; docs/formats/direct.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "direct/DirectFormat.h"
#include "values/ByteBuffer.h"

namespace kr::zero::io::direct {

/// What the longest number of 64 bits takes in its shortest form.
inline constexpr std::size_t kMostNumberBytes = 10;

/// Writes a number in its shortest form.
/// @param out has room for kMostNumberBytes.
/// @return where the number ends.
inline std::uint8_t* encodeNumber(std::uint64_t number, std::uint8_t* out) noexcept {
  if (number < kMoreGroups) {  // nearly all are
    *out = static_cast<std::uint8_t>(number);
    return out + 1;
  }
  for (; number >= kMoreGroups; number >>= kGroupBits)
    *out++ = static_cast<std::uint8_t>(number | kMoreGroups);
  *out++ = static_cast<std::uint8_t>(number);
  return out;
}

inline void appendNumber(values::ByteBuffer& out, std::uint64_t number) {
  out.setEnd(encodeNumber(number, out.makeRoom(kMostNumberBytes)));
}

inline void appendText(values::ByteBuffer& out, std::string_view utf8) {
  appendNumber(out, utf8.size());
  out.append(reinterpret_cast<const std::uint8_t*>(utf8.data()), utf8.size());
}

/// Reads a number of any length; the bits of groups beyond the 64th start over at the lowest.
/// @param[out] number unchanged where the result is null.
/// @return where the number ends; null where the bytes end first.
inline const std::uint8_t* decodeNumber(const std::uint8_t* in, const std::uint8_t* end,
                                        std::uint64_t& number) noexcept {
  std::uint64_t bits = 0;
  for (unsigned shift = 0; in != end; shift = (shift + kGroupBits) % 64) {
    const std::uint8_t group = *in++;
    bits |= std::uint64_t{group & (kMoreGroups - 1u)} << shift;
    if (group < kMoreGroups) {
      number = bits;
      return in;
    }
  }
  return nullptr;
}

}  // namespace kr::zero::io::direct
