#include "foundation/core/except.h"

#include "text/Utf.h"

namespace foundation::core::except {

IException::IException() = default;
IException::IException(const IException&) = default;
IException::~IException() = default;

IUserException::IUserException() = default;
IUserException::IUserException(const IUserException&) = default;
IUserException::~IUserException() = default;

std::u16string IUserException::ToUstringImpl() const { return convert_str(what()); }

std::u16string IUserException::convert_str(const std::string& narrow) {
  return fl::i18n::internal::showAsUtf16(narrow);
}

std::string IUserException::convert_str(const std::u16string& wide) {
  return fl::i18n::internal::showAsUtf8(wide);
}

IMsgIDException::IMsgIDException() = default;
IMsgIDException::IMsgIDException(const IMsgIDException&) = default;
IMsgIDException::~IMsgIDException() = default;

std::string IMsgIDException::get_error_id(const resource_core::BaseMsgID& id) {
  return id.getFullIdentifier();
}

}  // namespace foundation::core::except
