/// @file
/// From the framework's 16-bit paths to names that the operating system opens.
#pragma once

#include <string>
#include <string_view>

#include "kr/zero/export.h"

namespace fl::filesystem::detail {

/// The native form of a path: UTF-8 on the platforms this builds for.
/// @throws std::invalid_argument where the path holds a surrogate that stands alone or a NUL.
KR0_FRAMEWORK_API std::string make_native_access_form_with_cleanup_i18n(std::u16string_view path);

}  // namespace fl::filesystem::detail
