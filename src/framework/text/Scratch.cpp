#include "text/Scratch.h"

#include "text/Utf.h"

namespace fl::i18n::internal {

const std::u16string* Utf16Scratch::widenOther(std::string_view utf8) {
  return utf8ToUtf16(utf8, other_) ? &other_ : nullptr;
}

}  // namespace fl::i18n::internal
