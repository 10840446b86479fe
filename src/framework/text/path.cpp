#include "fl/filesystem/path.h"

#include <stdexcept>

#include "text/Utf.h"

namespace fl::filesystem::detail {

std::string make_native_access_form_with_cleanup_i18n(std::u16string_view path) {
  // The system would open what stands before a NUL: another file than the one that was named.
  if (path.find(u'\0') != path.npos) throw std::invalid_argument("path holds a NUL");
  std::string native;
  if (!i18n::internal::utf16ToUtf8(path, native)) {
    throw std::invalid_argument("path holds a surrogate that stands alone");
  }
  return native;
}

}  // namespace fl::filesystem::detail
