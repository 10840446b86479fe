/// @file
/// Internal. UTF-8 to UTF-16 and back.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace fl::i18n::internal {

/// Replaces `out` by the UTF-16 form of `in`.
/// @return false where `in` is not well-formed UTF-8; `out` is then empty.
[[nodiscard]] bool utf8ToUtf16(std::string_view in, std::u16string& out);

/// Replaces `out` by the UTF-8 form of `in`.
/// @return false where a surrogate stands alone; `out` is then empty.
[[nodiscard]] bool utf16ToUtf8(std::u16string_view in, std::string& out);

/// The same for texts that are only shown (messages, logs): U+FFFD stands for what is malformed, so
/// that showing an error never fails for the text in it.
std::u16string showAsUtf16(std::string_view in);
std::string showAsUtf8(std::u16string_view in);
std::string showAsUtf8(std::string_view in);

}  // namespace fl::i18n::internal
