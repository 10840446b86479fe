/// @file
/// Internal: XXH3, whose figures are the same on every machine.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kr::zero::archive {

/// XXH3-128 in 32 hexadecimal digits, the high ones first.
std::string hashOf(std::string_view bytes);

/// XXH3-64.
std::uint64_t checksumOf(std::string_view bytes);

}  // namespace kr::zero::archive
