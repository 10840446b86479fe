/// @file
/// Internal: the facts of the direct format, used by its reader and its writer. The format itself is
/// described in docs/formats/direct.md.
///
///     document  = number version, text byte order, number n, text{n} package URIs, item*
///     item      = token start, header | token end | property token, content
///     header    = number 0, text type name, byte identity flag [, text, text]
///     reference = number 0, text type name, byte qualifier flag [, text], text, text
#pragma once

#include <cstdint>
#include <string_view>

namespace kr::zero::io::direct {

inline constexpr std::uint64_t kVersion = 1;

// Tokens; every other number is a property's identifier.
inline constexpr std::uint64_t kStartToken = 0;
inline constexpr std::uint64_t kEndToken = 0x3FFF;

// After a type name in an element header.
inline constexpr std::uint8_t kWithIdentity = 1;
inline constexpr std::uint8_t kWithoutIdentity = 2;

// After a type name in a reference.
inline constexpr std::uint8_t kWithoutQualifier = 1;
inline constexpr std::uint8_t kWithQualifier = 2;

// Head of an element header and of a reference; readers skip it.
inline constexpr std::uint64_t kReserved = 0;

// Numbers: groups of 7 bits, lowest first; this bit says that another group follows.
inline constexpr std::uint8_t kMoreGroups = 0x80;
inline constexpr unsigned kGroupBits = 7;

}  // namespace kr::zero::io::direct
