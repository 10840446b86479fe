/// @file
/// Message identifiers: which message of which catalog, with which arguments. The text is looked up
/// when somebody asks for it.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "kr/zero/export.h"

namespace resource_core {

/// One argument of a message: 0 a number, 1 a narrow string, 2 a UTF-16 string.
using MsgArgument = std::variant<long long, std::string, std::u16string>;

/// A catalog name, an identifier within it and ordered arguments. A plain value.
class KR0_FRAMEWORK_API BaseMsgID {
 public:
  /// @param catalog the name of the catalog. @param identifier which of its messages. @param arguments in the
  /// order of the
  ///   message.
  BaseMsgID(std::string catalog, std::string identifier, std::vector<MsgArgument> arguments = {});

  /// The name of the catalog.
  const std::string& getCatalog() const noexcept { return catalog_; }
  /// Which message of the catalog.
  const std::string& getIdentifier() const noexcept { return identifier_; }
  /// The arguments in the order of the message.
  const std::vector<MsgArgument>& getArguments() const noexcept { return arguments_; }

  /// Catalog, colon, identifier: "kr0:io:CorruptInput". The catalog "ZENTOR:legacy_two_part" counts
  /// as "ZENTOR", which keeps identifiers of the older two-part form as they were.
  std::string getFullIdentifier() const;

 private:
  std::string catalog_;
  std::string identifier_;
  std::vector<MsgArgument> arguments_;
};

/// Gives the text of a message, or nothing where it does not know the message.
using MessageLookup = std::function<std::optional<std::u16string>(const BaseMsgID&)>;

/// Puts a host's look-up (translations, say) in front of the English catalog; an empty function takes
/// it away again. Threads: safe at any time.
KR0_FRAMEWORK_API void setMessageLookup(MessageLookup lookup);

/// The text of a message: the host's, else the English one, else the full identifier followed by the
/// arguments.
KR0_FRAMEWORK_API std::u16string getMessageText(const BaseMsgID& id);

}  // namespace resource_core
