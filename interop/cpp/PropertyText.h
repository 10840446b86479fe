/// @file
/// Internal: the members of a generated class that give access to one property.
#pragma once

#include <cstddef>
#include <string>

#include "NameTable.h"

namespace kr::zero::cpp {

/// What a class is called where it is written of: "::models::library::BasicBook<Handle>", or "Handle" for a
/// class that every element conforms to.
std::string classTypeOf(const NameTable& names, meta::Type type);

/// Appends getters, setters and the rest for a property that holds values.
/// @param position among the properties that its class declares.
/// @param documentation what the meta model says of it.
void appendProperty(std::string& out, const NameTable& names, meta::Property property, std::size_t position,
                    std::string_view documentation);

}  // namespace kr::zero::cpp
