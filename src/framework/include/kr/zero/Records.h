/// @file
/// Internal, and public only because generated code reads and writes through it inline: how an element lies
/// in memory. Code that is not generated uses kr/zero/Model.h. What is here may change with every version:
/// code that was generated is compiled anew with the headers of the library that it runs with.
///
/// An element is a record of fixed size. What is set on it stands in one array of its own, `capacity` cells
/// and then `capacity` entries, as kr/zero/Cells.h describes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "kr/zero/Cells.h"
#include "kr/zero/export.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::internal {

/// What the meta model says of a property.
using PropertyRecord = meta::Property::Impl;

/// A type as one model uses it.
struct TypeUse {
  meta::StructuredType type;
  meta::Class cls;                                 // empty for a datatype
  const meta::Property* properties = nullptr;      // by slot
  std::size_t slotCount = 0;                       // how many there are
  const struct ElementRecord* previous = nullptr;  // the instance before: its size is a good guess
  std::uint32_t ordinal = 0;                       // position in ModelStore::typesInUse
  std::size_t live = 0;                            // instances in the model

  const PropertyRecord& property(std::size_t slot) const noexcept { return *properties[slot].get(); }
};

struct IdentityRecord {
  const cells::Text* first;
  const cells::Text* second;
};

struct ElementRecord {
  TypeUse* use;
  ElementRecord* container;  // null for a root
  std::uint64_t* payloads;   // `capacity` payloads, then `capacity` slot entries
  const IdentityRecord* identity;
  std::uint32_t index;
  std::uint16_t containerSlot;
  std::uint16_t count;
  std::uint16_t capacity;
  bool removed;

  std::uint16_t* slots() const noexcept { return reinterpret_cast<std::uint16_t*>(payloads + capacity); }
  bool isDatatype() const noexcept { return !use->cls; }

  /// Position of a slot's entry, or -1. An entry never stands behind the place of its slot, and stands there
  /// where all slots before it are set: that place is looked at first.
  int find(std::size_t slot) const noexcept {
    constexpr std::size_t kFew = 32;
    const std::uint16_t* const entries = slots();
    std::size_t at = std::min<std::size_t>(slot + 1, count);
    if (at > kFew) return findSorted(slot);
    while (at > 0) {
      const std::size_t there = entries[--at] & cells::kSlotMask;
      if (there <= slot) return there == slot ? static_cast<int>(at) : -1;
    }
    return -1;
  }

 private:
  KR0_FRAMEWORK_API int findSorted(std::size_t slot) const noexcept;
};

}  // namespace kr::zero::internal
