#include "direct/TypeTable.h"

#include <bit>
#include <tuple>
#include <utility>

namespace kr::zero::io {

namespace {

const std::vector<meta::Property>& propertiesOf(meta::Type type) {
  static const std::vector<meta::Property> none;
  const meta::StructuredType structured = type ? meta::StructuredType(type) : meta::StructuredType();
  if (!structured) return none;
  const bool isClass = type->isKindOf(meta::Class::metaClass());
  return isClass ? structured->getAllProperties() : structured->getOwnedAttributes();
}

}  // namespace

PropertyTable::PropertyTable(const std::vector<meta::Property>& properties)
    : entries_(std::bit_ceil(2 * properties.size() + 1)), mask_(entries_.size() - 1) {
  for (const meta::Property property : properties) {
    const std::uint32_t identifier = property->getIdentifier();
    if (identifier == 0) continue;
    PropertyEntry& entry = entries_[placeOf(identifier)];
    entry.identifier = identifier;
    entry.name = &property->getName();
  }
}

TypeTable::TypeTable(const ustring& name, meta::Type type)
    : name_(type && type->getQualifiedName() == name ? &type->getQualifiedName() : &ownName_),
      properties_(propertiesOf(type)) {
  if (name_ == &ownName_) ownName_ = name;
}

TypeTable& TypeTables::add(std::string_view utf8, const ustring& name, meta::Type type) {
  const auto [added, isNew] =
      tables_.emplace(std::piecewise_construct, std::tuple(utf8), std::forward_as_tuple(name, type));
  added->second.utf8 = added->first;
  return added->second;
}

}  // namespace kr::zero::io
