/// @file
/// Internal: any primitive or enumeration value as text and back.
#pragma once

#include <string>
#include <string_view>

#include "model/Store.h"

namespace kr::zero::internal {

/// The text of one payload of a primitive or enumeration property.
std::string toTextForm(const PropertyRecord& slot, std::uint64_t payload);

/// The payload of a text.
/// @return false where the text is not one of the property's type.
bool fromTextForm(ModelStore& store, const PropertyRecord& slot, std::string_view text,
                  std::uint64_t& payload);

}  // namespace kr::zero::internal
