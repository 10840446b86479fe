/// @file
/// The 16-bit string of the framework's interfaces and its short conversions.
#pragma once

#include <string>
#include <string_view>

#include "kr/zero/export.h"

namespace kr::zero {

/// UTF-16 code units. Every name, type name, identity text and package URI that crosses the
/// serializer and parser interfaces is one.
using ustring = std::u16string;

/// UTF-16 of well-formed UTF-8.
/// @throws std::invalid_argument where the bytes are not well-formed UTF-8.
KR0_FRAMEWORK_API ustring toUstring(std::string_view utf8);

/// UTF-8 of well-formed UTF-16.
/// @throws std::invalid_argument where a surrogate stands alone.
KR0_FRAMEWORK_API std::string toUtf8(std::u16string_view utf16);

}  // namespace kr::zero
