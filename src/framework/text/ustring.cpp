#include "kr/zero/ustring.h"

#include <stdexcept>

#include "text/Utf.h"

namespace kr::zero {

ustring toUstring(std::string_view utf8) {
  ustring out;
  if (!fl::i18n::internal::utf8ToUtf16(utf8, out))
    throw std::invalid_argument("text is not well-formed UTF-8");
  return out;
}

std::string toUtf8(std::u16string_view utf16) {
  std::string out;
  if (!fl::i18n::internal::utf16ToUtf8(utf16, out)) {
    throw std::invalid_argument("UTF-16 text holds a surrogate that stands alone");
  }
  return out;
}

}  // namespace kr::zero
