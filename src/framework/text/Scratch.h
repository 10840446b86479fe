/// @file
/// Internal: UTF-16 forms of UTF-8 texts on their way through an interface.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "fl/i18n/ascii.h"

namespace fl::i18n::internal {

/// Strings that are used again and again. Short ones have one each for every length: to change the length
/// of a string costs more than to widen a text of that length.
class Utf16Scratch {
 public:
  /// @return the text, which stays until the next call; null where it is not well-formed UTF-8.
  const std::u16string* widen(std::string_view utf8) {
    if (utf8.size() < short_.size()) {
      std::u16string& text = short_[utf8.size()];
      if (text.size() != utf8.size()) text.resize(utf8.size());
      if (copyAscii(utf8.data(), utf8.size(), text.data())) return &text;
    }
    return widenOther(utf8);
  }

 private:
  const std::u16string* widenOther(std::string_view utf8);

  std::array<std::u16string, 48> short_;
  std::u16string other_;
};

}  // namespace fl::i18n::internal
