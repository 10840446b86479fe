/// @file
/// Internal: the manifest as JSON: keys sorted, no blanks.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kr/zero/archive/Archive.h"

namespace kr::zero::archive {

/// A package or a file takes about 150 bytes. Reading takes up to sixteen times the memory of the text.
inline constexpr std::uint64_t kLargestManifest = std::uint64_t{4} << 20;

std::string toJson(const Manifest& manifest);

/// @throws std::runtime_error that says what of it is wrong.
Manifest fromJson(std::string_view text);

}  // namespace kr::zero::archive
