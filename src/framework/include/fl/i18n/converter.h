/// @file
/// Converters between 8-bit strings and UTF-16, chosen by encoding name.
///
/// "UTF8" is the one encoding there is. Both directions check: malformed bytes (overlong forms,
/// surrogates, values above U+10FFFF, cut sequences) and surrogates that stand alone are refused,
/// never replaced.
#pragma once

#include <string>
#include <string_view>

#include "kr/zero/export.h"

namespace fl::i18n {

/// 8-bit text to UTF-16.
class KR0_FRAMEWORK_API codecvt_string_to_ustring {
 public:
  /// @param encoding the encoding's name; only "UTF8" exists.
  /// @param strict must be true: malformed input is refused. A lenient converter does not exist.
  /// @throws std::invalid_argument for any other name, or for strict == false.
  codecvt_string_to_ustring(std::string_view encoding, bool strict);

  /// Replaces `out` by the UTF-16 form of `in`; keeps the capacity of `out`.
  /// @return false where `in` is malformed; `out` is then empty.
  /// Threads: may be called from many at once.
  [[nodiscard]] bool convert(std::string_view in, std::u16string& out) const;
};

/// UTF-16 to 8-bit text.
class KR0_FRAMEWORK_API codecvt_ustring_to_string {
 public:
  /// @see codecvt_string_to_ustring::codecvt_string_to_ustring
  codecvt_ustring_to_string(std::string_view encoding, bool strict);

  /// Replaces `out` by the 8-bit form of `in`; keeps the capacity of `out`.
  /// @return false where a surrogate stands alone; `out` is then empty.
  /// Threads: may be called from many at once.
  [[nodiscard]] bool convert(std::u16string_view in, std::string& out) const;
};

}  // namespace fl::i18n
