/// @file
/// Internal: the facts of the tagged format, used by its reader and its writer. The format itself is
/// described in docs/formats/tagged.md.
///
///     document  = startDocument, primitive version, primitive byte order, item*, endDocument
///     item      = primitive | startStruct | endStruct | startSequence | endSequence
///               | startMetadata | endMetadata | startNamedEntry, primitive name | endNamedEntry
///     primitive = tag, payload of the tag's width
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace kr::zero::io::tagged {

inline constexpr std::uint64_t kVersion = 1;

namespace tags {

inline constexpr std::uint8_t kStartDocument = 0x01;
inline constexpr std::uint8_t kEndDocument = 0x02;
inline constexpr std::uint8_t kStartStruct = 0x03;
inline constexpr std::uint8_t kEndStruct = 0x04;
inline constexpr std::uint8_t kStartSequence = 0x05;
inline constexpr std::uint8_t kEndSequence = 0x06;
inline constexpr std::uint8_t kStartMetadata = 0x07;
inline constexpr std::uint8_t kEndMetadata = 0x08;
inline constexpr std::uint8_t kStartNamedEntry = 0x09;
inline constexpr std::uint8_t kEndNamedEntry = 0x10;  // 0x0A to 0x0F are not used

inline constexpr std::uint8_t kFalse = 0x11;
inline constexpr std::uint8_t kTrue = 0x12;
inline constexpr std::uint8_t kZero = 0x13;      // integer 0 of either kind; reads as signed
inline constexpr std::uint8_t kReal = 0x14;      // 8 bytes of binary64
inline constexpr std::uint8_t kRealZero = 0x15;  // 0.0 and -0.0; reads as 0.0
inline constexpr std::uint8_t kNull = 0x16;

// The first of eight tags for 1 to 8 bytes of magnitude.
inline constexpr std::uint8_t kNonNegative = 0x20;
inline constexpr std::uint8_t kNegative = 0x28;

inline constexpr std::uint8_t kShortString = 0x30;  // 1 byte of length
inline constexpr std::uint8_t kLongString = 0x31;   // 8 bytes of length

}  // namespace tags

/// The longest string behind a length of one byte.
inline constexpr std::size_t kLongestShortString = 255;

inline constexpr std::size_t kWidestNumber = 8;  ///< bytes of a magnitude, a real or a long length

/// Bytes of the shortest magnitude that holds a number; none for 0.
constexpr unsigned getMagnitudeWidth(std::uint64_t magnitude) noexcept {
  return (static_cast<unsigned>(std::bit_width(magnitude)) + 7) / 8;
}

/// Bytes of magnitude behind one of the sixteen integer tags.
constexpr unsigned getMagnitudeWidthOfTag(std::uint8_t tag) noexcept { return (tag & 7u) + 1; }

constexpr bool isNonNegativeTag(std::uint8_t tag) noexcept { return (tag & 0xF8u) == tags::kNonNegative; }
constexpr bool isNegativeTag(std::uint8_t tag) noexcept { return (tag & 0xF8u) == tags::kNegative; }

}  // namespace kr::zero::io::tagged
