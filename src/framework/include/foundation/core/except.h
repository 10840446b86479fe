/// @file
/// The exception classes of everything that a user may be told about.
///
///     try { parser.parse(input); }
///     catch (const foundation::core::except::IMsgIDException& e) {
///       show(e.GetUnicodeMessageTxt());
///     }
#pragma once

#include <boost/exception/exception.hpp>
#include <exception>
#include <string>
#include <utility>

#include "kr/zero/export.h"
#include "resource_core/BaseMsgID.h"

namespace foundation::core::except {

/// Root of all: has a narrow (UTF-8) text.
class KR0_FRAMEWORK_API IException {
 public:
  IException();
  IException(const IException&);
  IException& operator=(const IException&) = default;
  virtual ~IException();
  /// UTF-8 text; lives as long as the exception.
  virtual const char* what() const noexcept = 0;
};

/// An exception whose text is meant for a user.
class KR0_FRAMEWORK_API IUserException : public IException {
 public:
  IUserException();
  IUserException(const IUserException&);
  IUserException& operator=(const IUserException&) = default;
  ~IUserException() override;

 protected:
  /// The text as UTF-16, made from what().
  std::u16string ToUstringImpl() const;
  ///@{
  /// Text in the other encoding; what is malformed is shown, not refused.
  static std::u16string convert_str(const std::string& narrow);
  static std::string convert_str(const std::u16string& wide);
  ///@}
};

/// An exception that carries a message identifier.
class KR0_FRAMEWORK_API IMsgIDException : public IUserException {
 public:
  IMsgIDException();
  IMsgIDException(const IMsgIDException&);
  IMsgIDException& operator=(const IMsgIDException&) = default;
  ~IMsgIDException() override;

  /// Which message this is, with its arguments; lives as long as the exception.
  virtual const resource_core::BaseMsgID& GetMsgID() const noexcept = 0;
  /// The message's text as UTF-16.
  virtual std::u16string GetUnicodeMessageTxt() const = 0;
  /// The full textual identifier, such as "kr0:io:CorruptInput".
  static std::string get_error_id(const resource_core::BaseMsgID& id);
};

/// The thrown class: one instantiation per message, told apart by its empty tag class.
/// @tparam Tag names the message (kr0::io::CorruptInput).
/// @tparam Base a standard exception class to be catchable as.
/// @tparam Extra reserved for data of the host; void everywhere here.
template <class Tag, class Base, class Extra>
class KR0_FRAMEWORK_API Exception : public IMsgIDException,
                                    public boost::exception_detail::clone_base,
                                    public boost::exception,
                                    public Base {
 public:
  /// The text is looked up here, so that what() cannot fail.
  explicit Exception(resource_core::BaseMsgID id)
      : id_(std::move(id)), text_(convert_str(resource_core::getMessageText(id_))) {}
  Exception(const Exception&) = default;
  Exception& operator=(const Exception&) = default;
  ~Exception() noexcept override = default;

  const char* what() const noexcept override { return text_.c_str(); }
  const resource_core::BaseMsgID& GetMsgID() const noexcept override { return id_; }
  std::u16string GetUnicodeMessageTxt() const override { return ToUstringImpl(); }

  /// A copy on the heap, which belongs to the caller.
  const boost::exception_detail::clone_base* clone() const override { return new Exception(*this); }
  /// Throws a copy.
  [[noreturn]] void rethrow() const override { throw Exception(*this); }

 private:
  resource_core::BaseMsgID id_;
  std::string text_;
};

}  // namespace foundation::core::except
