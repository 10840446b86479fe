/// @file
/// Internal: the values of an element, where they lie: compared, marked and shown.
///
/// Children are not among them: they have places of their own in an outline. A collection of values made of
/// parts that holds none is the same as an unset one.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Outline.h"
#include "kr/zero/Cells.h"

namespace kr::zero::compare {

using internal::PropertyRecord;

/// Mixes a number into a mark.
constexpr Mark mixed(Mark mark, std::uint64_t number) noexcept {
  std::uint64_t z = (mark ^ number) * 0x9E3779B97F4A7C15u;
  z = (z ^ (z >> 29)) * 0xBF58476D1CE4E5B9u;
  return z ^ (z >> 32);
}

/// A child, or a value made of parts.
inline const ElementRecord* asRecord(cells::Cell cell) noexcept {
  return reinterpret_cast<const ElementRecord*>(cell);  // NOLINT: so they lie in cells
}

/// What is set in a slot of an element.
struct SlotValues {
  const PropertyRecord* property = nullptr;
  PropertyState state = PropertyState::unset;
  const cells::Cell* items = nullptr;
  std::uint32_t size = 0;
  bool isUnresolvedSingle = false;

  bool isReference() const noexcept { return property->getKind() == meta::PropertyKind::association; }
  /// Of a reference: whether it leads to no element of the model.
  bool isUnresolved(std::size_t at) const noexcept {
    return isUnresolvedSingle || cells::isUnresolved(items[at]);
  }
  /// Null where a text for it is missing.
  const cells::ReferenceTexts* texts(std::size_t at) const noexcept { return cells::asUnresolved(items[at]); }
};

/// What the entry at a position of a record's entries says.
SlotValues valuesAt(const ElementRecord* record, std::size_t entry) noexcept;
/// The same for a slot, which may be unset.
SlotValues valuesIn(const ElementRecord* record, std::size_t slot) noexcept;

/// Whether the entry says something of its own: children and empty collections of parts do not.
bool isValue(const SlotValues& values) noexcept;

/// Slots in which two elements of one type have set values, each once, in order; children are left out.
void listSlots(const ElementRecord* a, const ElementRecord* b, std::vector<std::uint16_t>& slots);

/// Whether two items are the same value. Not for references to elements.
bool areEqual(const SlotValues& a, std::size_t i, const SlotValues& b, std::size_t j);
/// A mark of an item. Not for references to elements.
Mark markOf(const SlotValues& values, std::size_t at);
/// Bytes that are the same where items are. Not for references to elements.
std::string keyOf(const SlotValues& values, std::size_t at);

/// An outline with numbers for its elements that are the same for the same element in other outlines.
struct Side {
  const Outline* outline;
  const std::vector<std::uint32_t>* ids;  ///< null: its own numbers

  std::uint32_t idOf(cells::Cell reference) const noexcept {
    const Ordinal at = outline->ordinalOfIndex(cells::targetIndex(reference));
    return ids == nullptr ? at : (*ids)[at];
  }
};

/// Whether two sides say the same in a slot.
bool areEqual(const Side& sideA, const SlotValues& a, const Side& sideB, const SlotValues& b);

/// As valueText(), with paths of targets from elsewhere.
/// @param pathOf gives the path of the target at a position.
std::string textOf(ConstElement element, meta::Property property,
                   const std::function<std::string(std::size_t)>& pathOf);
/// As valueText(), without a search for paths.
std::string textOf(const Outline& outline, Ordinal element, meta::Property property);

/// A text in quotes, with escapes as in JSON.
std::string inQuotes(std::string_view text);
/// An identity, or "none".
std::string identityText(const ElementRecord* record);
bool haveSameIdentity(const ElementRecord* a, const ElementRecord* b) noexcept;

}  // namespace kr::zero::compare
