/// @file
/// Internal: what commands ask about properties.
#pragma once

#include "kr/zero/meta/Type.h"

namespace kr::zero::tool {

/// Whether documents hold values of the property.
inline bool isWritten(meta::Property property) {
  return property->isStored() && !property->isTransient() && property->getIdentifier() != 0;
}

/// How a property holds its values.
enum class Category { primitive, datatype, composition, association };

inline Category categoryOf(meta::Property property) {
  const meta::Type type = property->getType();
  if (meta::Class(type)) return property->isComposite() ? Category::composition : Category::association;
  return meta::StructuredType(type) ? Category::datatype : Category::primitive;
}

/// Whether the text form of a primitive's values is a number or a truth value.
inline bool isNumeric(meta::Type type) {
  const meta::PrimitiveType primitive(type);
  if (!primitive) return false;
  switch (primitive->getStandardType()) {
    case meta::StandardType::boolean:
    case meta::StandardType::integer8:
    case meta::StandardType::uinteger8:
    case meta::StandardType::integer16:
    case meta::StandardType::uinteger16:
    case meta::StandardType::integer:
    case meta::StandardType::unlimitedNatural:
    case meta::StandardType::integer64:
    case meta::StandardType::uinteger64:
    case meta::StandardType::real:
      return true;
    default:
      return false;
  }
}

}  // namespace kr::zero::tool
