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

// What a property's default text says; 0, an empty text or UUID where there is none, or it does not parse.

/// The payload of a number or enumeration, which needs no memory of the model.
std::uint64_t defaultNumberOf(ModelStore& store, const PropertyRecord& slot);
std::string_view defaultTextOf(const PropertyRecord& slot);
Uuid defaultUuidOf(const PropertyRecord& slot);

}  // namespace kr::zero::internal
