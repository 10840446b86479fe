/// @file
/// Internal, and public only because generated code reads and writes through it inline: how an element lies
/// in memory. Code that is not generated uses kr/zero/Model.h. What is here may change with every version:
/// code that was generated is compiled anew with the headers of the library that it runs with.
///
/// An element is a record of fixed size. What is set on it stands in one array of its own, `capacity` cells
/// and then `capacity` entries, as kr/zero/Cells.h describes.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "kr/zero/Cells.h"
#include "kr/zero/export.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::internal {

/// What the meta model says of a property.
using PropertyRecord = meta::Property::Impl;

/// Number, kind and bounds of a property as one number: what generated code asks of a slot before it reads
/// there.
using Signature = std::uint64_t;

/// @param standard counts for numbers alone.
constexpr Signature signatureOf(std::uint32_t identifier, meta::PropertyKind kind,
                                meta::StandardType standard, bool isMany) noexcept {
  const auto number = kind == meta::PropertyKind::number ? static_cast<Signature>(standard) : 0;
  return identifier | static_cast<Signature>(kind) << 32 | number << 40 | Signature{isMany} << 48;
}
inline Signature signatureOf(const PropertyRecord& property) noexcept {
  return signatureOf(property.getIdentifier(), property.getKind(), property.getStandardType(),
                     property.isMany());
}

/// Of so many slots a record and its type keep what the quick way of typed access needs.
inline constexpr std::size_t kQuickSlots = 32;

/// A type as one model uses it.
struct TypeUse {
  meta::StructuredType type;
  meta::Class cls;                                  // empty for a datatype
  const meta::Property* properties = nullptr;       // by slot
  std::size_t slotCount = 0;                        // how many there are
  const struct ElementRecord* previous = nullptr;   // the instance before: its size is a good guess
  std::uint32_t ordinal = 0;                        // position in ModelStore::typesInUse
  std::size_t live = 0;                             // instances in the model
  std::array<Signature, kQuickSlots> signatures{};  // by slot, of the first ones

  const PropertyRecord& property(std::size_t slot) const noexcept { return *properties[slot].get(); }
  /// Of any slot; 0, which is no property's, behind the last one.
  Signature signature(std::size_t slot) const noexcept {
    if (slot < kQuickSlots) return signatures[slot];
    return slot < slotCount ? signatureOf(property(slot)) : 0;
  }
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
  /// A bit for each of the first slots that has an entry; 0 where nobody has asked yet, or where one of these
  /// entries is in a state other than "value". Readers of typed access keep it, so that the entries, which
  /// are in another cache line than the record, need not be looked at again. Whoever changes an entry calls
  /// forgetPlaces().
  mutable std::uint32_t places;

  std::uint16_t* slots() const noexcept { return reinterpret_cast<std::uint16_t*>(payloads + capacity); }
  bool isDatatype() const noexcept { return !use->cls; }

  /// Position of a slot's entry, or -1.
  int find(std::size_t slot) const noexcept {
    const std::uint16_t* s = slots();
    if (count <= 32) {
      for (int i = 0; i < count; ++i)
        if ((s[i] & cells::kSlotMask) == slot) return i;
      return -1;
    }
    return findSorted(slot);
  }

  void forgetPlaces() noexcept { places = 0; }
  /// Fills `places` where that can be done. Many threads may read a model: each would note the same.
  KR0_FRAMEWORK_API void notePlaces() noexcept;
  /// Whether it is known that a slot holds a value; where not, find() tells.
  bool isNoted(std::size_t slot) const noexcept {
    return slot < kQuickSlots && (std::atomic_ref(places).load(std::memory_order_relaxed) >> slot & 1) != 0;
  }
  /// The cell of such a slot.
  cells::Cell& noted(std::size_t slot) const noexcept {
    const std::uint32_t before = std::atomic_ref(places).load(std::memory_order_relaxed) & ((1u << slot) - 1);
    return payloads[countBits(before, slot)];
  }

 private:
  /// @param bits only the lowest `width` ones may be set. The width is known to the compiler mostly, and so
  /// is then
  ///   which way to take. (Without an option for newer processors std::popcount is the call of a function.)
  static constexpr std::size_t countBits(std::uint32_t bits, std::size_t width) noexcept {
    constexpr std::uint64_t kOfFour = 0x4332322132212110;
    if (width <= 4) return kOfFour >> (4 * bits) & 15;
    if (width <= 8) return (kOfFour >> (4 * (bits & 15)) & 15) + (kOfFour >> (4 * (bits >> 4)) & 15);
    bits -= bits >> 1 & 0x55555555;
    bits = (bits & 0x33333333) + (bits >> 2 & 0x33333333);
    return ((bits + (bits >> 4)) & 0x0F0F0F0F) * 0x01010101 >> 24;
  }

  KR0_FRAMEWORK_API int findSorted(std::size_t slot) const noexcept;
};
static_assert(sizeof(void*) != 8 || sizeof(ElementRecord) == 48);

/// @param record of a handle; null for an empty one.
/// @throws ModelError: there is no such element (any more).
[[noreturn]] KR0_FRAMEWORK_API void failToUse(const ElementRecord* record);

}  // namespace kr::zero::internal
