/// @file
/// Internal. Byte order: of this machine, and by the two letters that name it in documents.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <string_view>

namespace kr::zero::io::values {

inline constexpr bool kHostIsLittleEndian = std::endian::native == std::endian::little;

/// "kr" for little-endian, "KR" for big-endian data.
constexpr std::string_view endiannessMarker(bool littleEndian) noexcept { return littleEndian ? "kr" : "KR"; }

/// True for "kr" and nothing else.
constexpr bool isLittleEndianMarker(std::string_view marker) noexcept {
  return marker == endiannessMarker(true);
}

/// The bytes of a number between its order in memory and the little-endian one, either way.
template <std::size_t width>
constexpr std::array<std::uint8_t, width> swapUnlessLittleEndian(
    std::array<std::uint8_t, width> bytes, bool littleEndianHost = kHostIsLittleEndian) noexcept {
  if (!littleEndianHost) std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

}  // namespace kr::zero::io::values
