/// @file
/// The bits of a Zstandard frame that mean nothing.
#pragma once

#include <set>
#include <string_view>

#include "archive/GoldenArchives.h"

namespace kr::zero::test {

/// Bits that a decompressor does not use, by RFC 8878:
/// - Unused_bit of the descriptor of the frame (3.1.1.1.1.3),
/// - Reserved of the modes of sequences (3.1.1.3.2.1.1), which some releases want to be 0,
/// - those left over in the last byte of the description of an FSE table (4.1.1).
/// @param frame one data frame, sound, of blocks that libzstd makes of small content.
std::set<BitPlace> unusedBitsOf(std::string_view frame);

}  // namespace kr::zero::test
