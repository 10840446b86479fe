/// @file
/// Internal: gzip files, piece by piece, in little memory.
#pragma once

#include <string_view>

#include "Zstandard.h"

namespace kr::zero::archive {

inline constexpr std::string_view kGzipMagic("\x1F\x8B", 2);

/// Compresses to a file of one member, without name and time.
/// @param level 1 to 9.
void compressGzip(std::string_view bytes, int level, const TakePiece& take);

/// Decompresses all members of a file.
/// @throws std::runtime_error that says what is wrong. What take throws passes through.
void decompressGzip(std::string_view bytes, const TakePiece& take);

}  // namespace kr::zero::archive
