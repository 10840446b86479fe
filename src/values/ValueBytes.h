/// @file
/// Internal. The single bytes with a meaning in front of values and as values; docs/formats/direct.md.
#pragma once

#include <cstdint>

namespace kr::zero::io::values {

/// In front of a value that may be absent: it follows.
inline constexpr std::uint8_t kPresentMark = 0xDD;
/// In front of a value that may be absent: there is none.
inline constexpr std::uint8_t kAbsentMark = 0xEE;

inline constexpr std::uint8_t kTrueByte = 0x01;
/// Not 0, so that a zeroed byte is no value that a writer writes.
inline constexpr std::uint8_t kFalseByte = 0x02;

}  // namespace kr::zero::io::values
