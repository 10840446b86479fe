#include "io/tree/TypedValueTraverser.h"

#include <vector>

namespace kr::zero::io::internal {

namespace {

constexpr int kVerbatimShift = 4;  // from a primitive's bit to that of the same as a value

bool isNumber(meta::Type type) {
  const meta::PrimitiveType primitive(type);
  if (!primitive) return false;
  const meta::StandardType standard = primitive->getStandardType();
  return meta::infoOf(standard).isNumber();
}

}  // namespace

PropertyCategory TypedValueTraverser::getPropertyCategory(meta::Property property) const {
  const PropertyCategory category = inner_->getPropertyCategory(property);
  if (!category.isA(PropertyCategory::PrimitiveAny()) || !isNumber(property->getType())) return category;
  return PropertyCategory(category.getMask() << kVerbatimShift);
}

std::vector<meta::Property> TypedValueTraverser::getProperties(meta::StructuredType type,
                                                               PropertyCategory mask) const {
  const std::uint32_t lifted = (mask.getMask() & PropertyCategory::VerbatimAny().getMask()) >> kVerbatimShift;
  std::vector<meta::Property> visited =
      inner_->getProperties(type, PropertyCategory(mask.getMask() | lifted));
  std::erase_if(visited, [&](meta::Property property) { return !getPropertyCategory(property).isA(mask); });
  return visited;
}

bool TypedValueTraverser::isPropertyTransient(meta::Property property) const {
  return inner_->isPropertyTransient(property);
}

}  // namespace kr::zero::io::internal
