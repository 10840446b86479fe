/// @file
/// Internal: a property of an element, found and named: what every operation of a handle starts from.
#pragma once

#include <string>

#include "model/Store.h"

namespace kr::zero::internal {

/// @throws ModelError with the path of a property of an element.
[[noreturn]] void failAt(const ModelStore& store, const ElementRecord* record, std::size_t slot,
                         const std::string& what);
/// What is wrong with a position behind the last value.
std::string describePosition(std::size_t position, std::size_t size);

/// A property of an element, with the slot where its values stand.
struct Target {
  ModelStore& store;
  ElementRecord* record;
  std::size_t slot;

  const PropertyRecord& property() const { return record->use->property(slot); }

  [[noreturn]] void fail(const std::string& what) const { failAt(store, record, slot, what); }
  std::string typeName() const { return property().getType()->qualifiedName(); }

  [[noreturn]] void failToFit(const char* what) const {
    fail(std::string(what) + " does not fit a property of type " + typeName());
  }
  void require(bool fitting, const char* what) const {
    if (!fitting) failToFit(what);
  }
  void requireSingle() const {
    if (property().isMany()) fail("is a collection; add to it instead");
  }
  void requireMany() const {
    if (!property().isMany()) fail("holds one value; set it instead");
  }
  Values values() const { return ModelStore::values(record, slot); }

  /// The payload at a position of a set property; null where a single value is not there.
  const std::uint64_t* item(std::size_t position) const {
    const Values all = values();
    if (position < all.size) return all.items + position;
    if (property().isMany() || position != 0) fail(describePosition(position, all.size));
    return nullptr;
  }

  void put(std::uint64_t payload) const {
    if (store.add(record, slot, payload)) return;
    if (property().getKind() == PropertyKind::association) store.leaveReferredExact();
    store.payload(record, slot) = payload;
    store.setState(record, slot, 0);
  }
};

inline bool isThere(const ElementRecord* record) noexcept { return record != nullptr && !record->removed; }

/// @throws ModelError: there is no such element (any more), or it has no such property.
[[noreturn]] void failToLocate(const ModelStore* store, const ElementRecord* record, const PropertyKey& key);

/// The record of a handle.
/// @throws ModelError where the handle is empty or the element was removed.
inline ElementRecord* there(ElementRecord* record) {
  if (!isThere(record)) failToUse(record);
  return record;
}

inline Target locate(ModelStore* store, ElementRecord* record, const PropertyKey& key) {
  if (!isThere(record)) failToLocate(store, record, key);
  const meta::StructuredType type = record->use->type;
  const meta::Property property = key.getProperty();
  const std::size_t slot = property ? type->slotOf(property) : type->findSlot(key.getName());
  if (slot == meta::StructuredType::Impl::npos) failToLocate(store, record, key);
  return {*store, record, slot};
}

/// Whether a property holds values of that sort.
bool holds(const PropertyRecord& slot, ValueSort sort) noexcept;
/// @throws ModelError where it does not.
void require(const Target& target, ValueSort sort);

/// A property that must hold values of that sort.
inline Target locate(ModelStore* store, ElementRecord* record, const PropertyKey& key, ValueSort sort) {
  const Target target = locate(store, record, key);
  require(target, sort);
  return target;
}

/// The record of a reference item, or null where it is unresolved.
inline ElementRecord* resolved(const ModelStore& store, const Values& values, std::size_t i) {
  if (values.unresolvedSingle || internal::isUnresolved(values.items[i])) return nullptr;
  return store.target(values.items[i]);
}

}  // namespace kr::zero::internal
