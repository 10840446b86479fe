/// @file
/// Internal: the manifest as JSON: keys sorted, no blanks.
#pragma once

#include <string>
#include <string_view>

#include "kr/zero/archive/Archive.h"

namespace kr::zero::archive {

std::string toJson(const Manifest& manifest);

/// @throws std::runtime_error that says what of it is wrong.
Manifest fromJson(std::string_view text);

}  // namespace kr::zero::archive
