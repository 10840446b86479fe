#include "fl/i18n/converter.h"

#include <stdexcept>

#include "text/Utf.h"

namespace fl::i18n {

namespace {

void requireStrictUtf8(std::string_view encoding, bool strict) {
  if (encoding != "UTF8") {
    throw std::invalid_argument("unknown text encoding \"" + std::string(encoding) +
                                "\"; there is only \"UTF8\"");
  }
  if (!strict) throw std::invalid_argument("there is no lenient text converter");
}

}  // namespace

codecvt_string_to_ustring::codecvt_string_to_ustring(std::string_view encoding, bool strict) {
  requireStrictUtf8(encoding, strict);
}

bool codecvt_string_to_ustring::convert(std::string_view in, std::u16string& out) const {
  return internal::utf8ToUtf16(in, out);
}

codecvt_ustring_to_string::codecvt_ustring_to_string(std::string_view encoding, bool strict) {
  requireStrictUtf8(encoding, strict);
}

bool codecvt_ustring_to_string::convert(std::u16string_view in, std::string& out) const {
  return internal::utf16ToUtf8(in, out);
}

}  // namespace fl::i18n
