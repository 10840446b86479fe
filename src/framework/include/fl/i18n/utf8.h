/// @file
/// Whether bytes are UTF-8.
#pragma once

#include <string_view>

#include "kr/zero/export.h"

namespace fl::i18n {

/// @return whether `text` is well-formed UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF, no
///   sequence cut short. The empty text is.
/// Time: linear. Allocates nothing. Threads: may be called from many at once.
[[nodiscard]] KR0_FRAMEWORK_API bool isWellFormedUtf8(std::string_view text) noexcept;

}  // namespace fl::i18n
