/// @file
/// Internal: message identifiers of the library's errors, one factory per message.
#pragma once

#include <string>

#include "kr/zero/ustring.h"
#include "resource_core/BaseMsgID.h"

namespace kr::zero::io::errors {

resource_core::BaseMsgID corruptInput();
resource_core::BaseMsgID intermediateFormatNotSupported();
resource_core::BaseMsgID ustringNotSupported();
resource_core::BaseMsgID fileNotFound(const ustring& fileName);
resource_core::BaseMsgID stringNotSupportedByParser();
resource_core::BaseMsgID ustringNotSupportedByParser();
resource_core::BaseMsgID cannotSerialize();
resource_core::BaseMsgID stringNotSupported();
/// @param typeName qualified name of the type of the value that does not fit.
resource_core::BaseMsgID cannotCastIncompatibleTypes(const ustring& typeName);

}  // namespace kr::zero::io::errors
