/// @file
/// Internal. The English texts of the messages.
#pragma once

#include <optional>
#include <string>

#include "resource_core/BaseMsgID.h"

namespace resource_core::internal {

/// The text with the arguments in place, or nothing for a message that is not in the catalog.
std::optional<std::u16string> findEnglishText(const BaseMsgID& id);

/// An argument as it stands in a text.
std::u16string toText(const MsgArgument& argument);

}  // namespace resource_core::internal
