/// @file
/// Internal: byte order of the host and its marks in documents.
#pragma once

#include <bit>
#include <string>
#include <string_view>

namespace kr::zero::io {

/// Documents are little-endian. Where the host is not, bytes are reversed on their way.
inline constexpr bool hostIsLittleEndian = std::endian::native == std::endian::little;

/// The text that names a byte order: "kr" for little-endian, "KR" for big-endian.
inline std::string_view endiannessMarker(bool littleEndian) { return littleEndian ? "kr" : "KR"; }

/// Whether a text is the little-endian marker.
inline bool isLittleEndianMarker(std::string_view marker) { return marker == endiannessMarker(true); }

}  // namespace kr::zero::io
