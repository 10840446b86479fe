/// @file
/// How the values of a model lie in memory, for readers and writers that take many of them at a time.
///
/// What is set on an element stands in an array of entries, ordered by slot (the position of the property in
/// the type's getAllProperties()), and beside it an array with a cell of 8 bytes per entry. What a cell means
/// follows from the property and the entry's state:
///
///     number, enumeration     the number itself, sign-extended; the bits of a double
///     text, DateTime          address of a Text
///     UUID                    address of its 16 bytes
///     child, datatype value   the store's business
///     reference               a resolved one: see asReference(); an unresolved one: address of a
///                             ReferenceTexts
///     collection of these     address of a List of such cells; unresolved references are marked there
///
/// All of it lives in the model's memory and stays as it is until the model is changed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

namespace kr::zero::cells {

/// A value, or the address of one.
using Cell = std::uint64_t;
/// A slot and the state of what is set there.
using Entry = std::uint16_t;

/// A slot, and in the upper bits the state of its value.
inline constexpr Entry kSlotMask = 0x3FFF;
inline constexpr Entry kEmpty = 0x4000;       ///< explicitly empty: the cell means nothing
inline constexpr Entry kUnresolved = 0x8000;  ///< of a single reference; of a collection: some may be waiting

/// The slot of an entry.
constexpr std::size_t slotOf(Entry entry) noexcept { return entry & kSlotMask; }
/// Whether the value is explicitly empty.
constexpr bool isEmpty(Entry entry) noexcept { return (entry & kEmpty) != 0; }

/// UTF-8, well-formed. The 16 bytes behind it can be read too, though they mean nothing, so that a text can
/// be copied in blocks.
struct Text {
  std::uint32_t length;  ///< in bytes
  char bytes[1];         ///< `length` of them
  /// The text; lives as long as the model.
  std::string_view view() const noexcept { return {bytes, length}; }
};

/// Where there is room for more than kSmallList, the capacity is the store's business.
struct List {
  std::uint32_t size;      ///< items that there are
  std::uint32_t capacity;  ///< items that there is room for
  ///@{
  /// The items, which lie behind the list.
  Cell* items() noexcept { return reinterpret_cast<Cell*>(this + 1); }
  const Cell* items() const noexcept { return reinterpret_cast<const Cell*>(this + 1); }
  ///@}
};

/// Lists of up to that many items need no room beyond their size.
inline constexpr std::size_t kSmallList = 7;

/// A reference whose target is not in the model, with all its texts.
struct ReferenceTexts {
  const Text* targetType;  ///< qualified name
  const Text* id1;         ///< identity of the target, first part
  const Text* id2;         ///< second part
  const Text* qualifier;   ///< the document that the target is in; null: none
};

/// Memory of a model that is still free; what is taken belongs to the model and is given back with it.
struct FreeMemory {
  std::byte* next = nullptr;  ///< aligned to 8 bytes
  std::byte* end = nullptr;   ///< behind what is free

  /// Bytes as whole units of alignment.
  static constexpr std::size_t roundUp(std::size_t bytes) noexcept { return (bytes + 7) & ~std::size_t{7}; }
  /// Whether so many bytes are left.
  bool has(std::size_t bytes) const noexcept { return bytes <= static_cast<std::size_t>(end - next); }
  /// Takes what is there, rounded up to whole units of alignment.
  std::byte* take(std::size_t bytes) noexcept { return std::exchange(next, next + roundUp(bytes)); }
};

/// The text that a cell points to.
inline const Text* asText(Cell cell) noexcept { return reinterpret_cast<const Text*>(cell); }

/// The cells of a collection; none where it is explicitly empty.
inline std::span<const Cell> itemsOf(Entry entry, Cell cell) noexcept {
  if (isEmpty(entry)) return {};
  const List* const list = reinterpret_cast<const List*>(cell);
  return {list->items(), list->size};
}

/// Whether an item of a collection of references is an unresolved one.
inline bool isUnresolved(Cell item) noexcept { return (item & 1) != 0; }
/// Marks of an unresolved reference whose target is still to be looked for. Where reading fails it stays,
/// unresolved and without texts.
inline constexpr Cell kWaiting = 3;
/// Whether a reference is one whose target is still to be looked for.
inline bool isWaiting(Cell item) noexcept { return (item & kWaiting) == kWaiting; }
/// The texts of an unresolved reference; null where it is waiting.
inline const ReferenceTexts* asUnresolved(Cell item) noexcept {
  return isWaiting(item) ? nullptr : reinterpret_cast<const ReferenceTexts*>(item & ~Cell{1});
}
/// An unresolved reference as a cell of its property.
inline Cell asCell(const ReferenceTexts* reference, bool many) noexcept {
  return reinterpret_cast<Cell>(reference) | (many ? 1u : 0u);
}

/// A reference to the element with the identity ("#", number) as a waiting cell.
/// @param number below 2^32. @param typeName see io::BulkParseProcessor::numberTypeName.
inline Cell asWaiting(std::uint64_t number, std::uint32_t typeName) noexcept {
  return kWaiting | number << 4 | Cell{typeName} << 40;
}

/// A reference to a record: its index, and which of the types that the model uses is its own, so that what
/// is written of a reference can be told without a look at its target. Never 0, lowest bit clear.
/// @param type below 2^30.
inline Cell asReference(std::uint32_t index, std::uint32_t type) noexcept {
  return (Cell{index} + 1) << 1 | Cell{type} << 34;
}
/// The index of the record that a resolved reference leads to.
inline std::uint32_t targetIndex(Cell item) noexcept { return static_cast<std::uint32_t>((item >> 1) - 1); }
/// The number of its type, of those that the model uses.
inline std::uint32_t targetType(Cell item) noexcept { return static_cast<std::uint32_t>(item >> 34); }

}  // namespace kr::zero::cells
