#include "model/Target.h"

#include "model/Path.h"

namespace kr::zero::internal {

void failAt(const ModelStore& store, const ElementRecord* record, std::size_t slot, const std::string& what) {
  throw ModelError(
      {.path = pathOf(store, record) + "." + record->use->property(slot).name(), .problem = what});
}

std::string describePosition(std::size_t position, std::size_t size) {
  return "has no position " + std::to_string(position) + ", only " + std::to_string(size) + " values";
}

void failToUse(const ElementRecord* record) {
  if (record == nullptr) throw ModelError("an empty element handle denotes no element");
  throw ModelError("the element of type " + record->use->type->qualifiedName() +
                   " was removed from its model");
}

void failToLocate(const ModelStore* store, const ElementRecord* record, const PropertyKey& key) {
  if (!isThere(record)) failToUse(record);
  const meta::Property property = key.getProperty();
  const std::string lack = property ? " does not have that property \"" + property->name()
                                    : " has no property \"" + std::string(key.getName());
  throw ModelError(
      {.path = pathOf(*store, record), .problem = "type " + record->use->type->qualifiedName() + lack + '"'});
}

bool holds(const PropertyRecord& slot, ValueSort sort) noexcept {
  const PropertyKind kind = slot.getKind();
  switch (sort) {
    case ValueSort::boolean:
      return slot.getStandardType() == meta::StandardType::boolean;
    case ValueSort::integer:
      return kind == PropertyKind::enumeration ||
             (kind == PropertyKind::number && meta::infoOf(slot.getStandardType()).isInteger());
    case ValueSort::real:
      return slot.getStandardType() == meta::StandardType::real;
    case ValueSort::text:
      return kind == PropertyKind::text || kind == PropertyKind::dateTime;
    case ValueSort::uuid:
      return kind == PropertyKind::uuid;
    case ValueSort::dateTime:
      return kind == PropertyKind::dateTime;
    case ValueSort::child:
      return kind == PropertyKind::composition || kind == PropertyKind::datatype;
    case ValueSort::reference:
      return kind == PropertyKind::association;
  }
  return false;
}

namespace {

const char* nameOf(ValueSort sort) {
  constexpr const char* kNames[] = {"a boolean", "an integer",      "a real number", "a text",
                                    "a UUID",    "a date and time", "a child",       "a reference"};
  return kNames[static_cast<std::size_t>(sort)];
}

}  // namespace

void require(const Target& target, ValueSort sort) {
  if (!holds(target.property(), sort)) target.failToFit(nameOf(sort));
}

}  // namespace kr::zero::internal
