/// @file
/// Internal: how a model lies in memory.
///
/// An element is a record of fixed size (kr/zero/Records.h); records stand in blocks, in order of creation,
/// so that an element's index leads to its record. Children and datatype values are pointers to their
/// records. A resolved reference is a number, so that references can be followed into tables beside the model
/// without touching each target; while a document is read, it is what its reader remembers of the target
/// instead (isWaiting).
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kr/zero/Cells.h"
#include "kr/zero/Model.h"
#include "kr/zero/Records.h"
#include "kr/zero/TextHash.h"
#include "kr/zero/meta/Type.h"
#include "model/Arena.h"

namespace kr::zero::internal {

using cells::asText;
using cells::asUnresolved;
using cells::isUnresolved;
using cells::isWaiting;
using cells::List;
using cells::ReferenceTexts;
using cells::targetIndex;
using cells::Text;
using meta::PropertyKind;

inline ElementRecord* asElement(std::uint64_t item) noexcept {
  return reinterpret_cast<ElementRecord*>(item);  // NOLINT: payloads hold pointers
}
inline List* asList(std::uint64_t item) noexcept { return reinterpret_cast<List*>(item); }
inline std::uint64_t asPayload(const void* pointer) noexcept {
  return reinterpret_cast<std::uint64_t>(pointer);
}

/// Room for one more item, so that adding it cannot fail. Grows by doubling: reserve() alone would copy
/// everything at each call.
template <class T>
void makeRoom(std::vector<T>& items) {
  if (items.size() == items.capacity()) items.reserve(std::max<std::size_t>(8, 2 * items.size()));
}

/// The values of one property of one element: a single one is a list of length 1.
struct Values {
  const std::uint64_t* items = nullptr;
  std::size_t size = 0;
  bool unresolvedSingle = false;  // the one item points to an ReferenceTexts without the mark
};

class ModelStore {
 public:
  explicit ModelStore(const meta::MetaRegistry& registry) : registry_(&registry) {}
  ModelStore(const ModelStore&) = delete;
  ModelStore& operator=(const ModelStore&) = delete;

  static ModelStore& of(const Model& model) noexcept { return *model.store_; }
  static ElementRecord* recordOf(const ConstElement& element) noexcept { return element.record_; }
  static const ModelStore* storeOf(const ConstElement& element) noexcept { return element.store_; }
  Element handle(ElementRecord* record) noexcept { return record ? Element(this, record) : Element(); }

  const meta::MetaRegistry& registry() const noexcept { return *registry_; }
  Model* model() const noexcept { return model_; }
  void setModel(Model* model) noexcept { model_ = model; }

  /// What this model knows of a type of its's registry.
  TypeUse& use(meta::StructuredType type);
  /// Plans in order of first use; some may have no instance left.
  const std::vector<TypeUse*>& typesInUse() const noexcept { return useOrder_; }

  // Making and placing records. `slot` is the container's; the container is not yet changed by make.
  ElementRecord* make(TypeUse& use, ElementRecord* container, std::uint16_t slot);
  ElementRecord* makeRoot(TypeUse& use);
  /// Makes a record and appends it to (or puts it into) the container's property.
  ElementRecord* makeChild(TypeUse& use, ElementRecord* container, std::size_t slot);
  std::vector<ElementRecord*>& roots() noexcept { return roots_; }
  const std::vector<ElementRecord*>& roots() const noexcept { return roots_; }
  std::uint32_t recordCount() const noexcept { return nextIndex_; }
  /// Records in order of creation, removed ones and datatype values included.
  ElementRecord* record(std::uint32_t index) const noexcept {
    return blocks_[index / kBlock] + index % kBlock;
  }
  /// The target of a resolved reference.
  ElementRecord* target(std::uint64_t item) const noexcept { return record(targetIndex(item)); }
  std::size_t elementCount() const noexcept { return elements_; }
  /// The payload of a reference to a record, to be put into this property.
  std::uint64_t referTo(const ElementRecord& target, const PropertyRecord& from) noexcept {
    return referTo(target.index, target.use->ordinal, from);
  }
  /// The same, without a look at the record.
  std::uint64_t referTo(std::uint32_t index, std::uint32_t type, const PropertyRecord& from) noexcept {
    referred_[index / kBlock] |= std::uint64_t{from.isWritten()} << (index % kBlock);
    return cells::asReference(index, type);
  }
  /// Whether a reference that a walk may write was made to the record at some time.
  bool isReferred(std::uint32_t index) const noexcept {
    return (referred_[index / kBlock] >> (index % kBlock) & 1) != 0;
  }
  /// Whether isReferred() says what is referred to now: true until a value is taken out of the model or
  /// replaced.
  bool isReferredExact() const noexcept { return referredExact_; }
  void leaveReferredExact() noexcept { referredExact_ = false; }
  /// Whether any element was ever given an identity.
  bool hasIdentities() const noexcept { return hasIdentities_; }
  /// Whether index order is document order and nothing was removed: numbers can then be had without
  /// a walk.
  bool isInDocumentOrder() const noexcept { return inOrder_; }
  void leaveDocumentOrder() noexcept { inOrder_ = false; }
  /// Takes records out of their places, with all below them and every reference to them.
  void removeSubtrees(const std::vector<ElementRecord*>& records);
  /// The same for children or datatype values that stand side by side in a collection.
  void removeChildren(ElementRecord* record, std::size_t slot, std::size_t position, std::size_t count);

  // Values.
  /// The payload of a property, made (as 0, state "value") where there is none.
  std::uint64_t& payload(ElementRecord* record, std::size_t slot, std::uint16_t state = 0) {
    const std::size_t at = place(record, slot, state);  // may move the payloads
    return record->payloads[at];
  }
  /// Sets a single-valued property, or returns false where it is set already.
  bool add(ElementRecord* record, std::size_t slot, std::uint64_t payload, std::uint16_t state = 0);
  void setState(ElementRecord* record, std::size_t slot, std::uint16_t state) noexcept;
  void erase(ElementRecord* record, std::size_t slot) noexcept;
  /// Makes a collection property set, without entries, unless it is set already.
  void touch(ElementRecord* record, std::size_t slot) { place(record, slot, cells::kEmpty); }
  /// Appends to a collection, and adds to its state; returns the position.
  std::uint32_t append(ElementRecord* record, std::size_t slot, std::uint64_t item, std::uint16_t state = 0);
  /// Appends some at once to a collection that has no unresolved reference.
  void append(ElementRecord* record, std::size_t slot, std::span<const std::uint64_t> items);
  /// Appends entries with their cells, as they are; all slots are behind those that are set.
  void addCells(ElementRecord* record, std::span<const cells::Entry> entries, const cells::Cell* cells) {
    if (std::size_t{record->capacity} - record->count < entries.size()) grow(record, entries.size());
    std::memcpy(record->payloads + record->count, cells, entries.size() * sizeof(cells::Cell));
    std::memcpy(record->slots() + record->count, entries.data(), entries.size_bytes());
    record->count = static_cast<std::uint16_t>(record->count + entries.size());
    record->forgetPlaces();
  }
  /// See Arena::getFree.
  cells::FreeMemory& getFreeMemory(std::size_t bytes) { return arena_.getFree(bytes); }
  /// Takes items out of a collection; a collection that becomes empty stays set.
  void removeItems(ElementRecord* record, std::size_t slot, std::size_t position,
                   std::size_t count = 1) noexcept;
  /// Takes a record out of its container, or out of the roots. It keeps what it contains.
  void detach(ElementRecord* record) noexcept;
  static Values values(const ElementRecord* record, std::size_t slot) noexcept {
    const int at = record->find(slot);
    return at < 0 ? Values{} : valuesAt(record, static_cast<std::size_t>(at));
  }
  /// The same for the entry at a position of the record's slots.
  static Values valuesAt(const ElementRecord* record, std::size_t at) noexcept {
    const std::uint16_t entry = record->slots()[at];
    if ((entry & cells::kEmpty) != 0) return {};
    if (!record->use->property(entry & cells::kSlotMask).isMany())
      return {record->payloads + at, 1, (entry & cells::kUnresolved) != 0};
    return valuesOfList(record->payloads[at]);
  }
  /// The same for the payload of a collection that is not empty.
  static Values valuesOfList(std::uint64_t payload) noexcept {
    const List* list = asList(payload);
    return {list->items(), list->size, false};
  }
  static PropertyState state(const ElementRecord* record, std::size_t slot) noexcept;

  const Text* makeText(std::string_view text);
  /// The same of bytes that may be anything; null where they are not well-formed UTF-8.
  const Text* makeCheckedText(std::string_view bytes);
  const std::uint64_t* makeUuid(const Uuid& uuid);
  const ReferenceTexts* makeUnresolved(std::string_view targetType, std::string_view id1,
                                       std::string_view id2, const std::string_view* qualifier);
  void setIdentity(ElementRecord* record, std::string_view first, std::string_view second);

  /// Whether an instance of `cls` may stand in a composition or be the target of an association.
  static bool fits(const PropertyRecord& slot, meta::Class cls) noexcept;
  std::size_t memoryUsed() const noexcept;

 private:
  static constexpr std::uint32_t kBlock = 64;  // records of neighbouring indices that lie together
  std::size_t place(ElementRecord* record, std::size_t slot, std::uint16_t state);
  static void setEntry(ElementRecord* record, std::size_t at, std::size_t slot, std::uint16_t state) noexcept;
  std::size_t placeLast(ElementRecord* record, std::size_t slot, std::uint16_t state) {
    const std::size_t count = record->count;
    record->slots()[count] = static_cast<std::uint16_t>(slot | state);
    record->payloads[count] = 0;
    record->forgetPlaces();
    record->count = static_cast<std::uint16_t>(count + 1);
    return count;
  }
  std::size_t growAndPlaceLast(ElementRecord* record, std::size_t slot, std::uint16_t state);
  std::size_t placeBetween(ElementRecord* record, std::size_t slot, std::uint16_t state);
  List* enlarge(List* list, std::size_t wanted);
  void grow(ElementRecord* record, std::size_t entries = 1);
  static std::vector<ElementRecord*> subtreesOf(std::vector<ElementRecord*> records);
  /// Records that stand in no place any more, and all below them.
  void endAll(const std::vector<ElementRecord*>& records) noexcept;
  void markRemoved(ElementRecord* record) noexcept;
  void dropReferencesToRemoved() noexcept;
  void noteOrder(const ElementRecord* record) noexcept;
  const Text* intern(std::string_view text);

  const meta::MetaRegistry* registry_;
  Model* model_ = nullptr;
  Arena arena_;
  std::vector<ElementRecord*> blocks_;
  std::vector<std::uint64_t> referred_;  // a bit per record, beside them: setting one touches no record
  std::uint32_t nextIndex_ = 0;
  std::size_t elements_ = 0;
  std::vector<ElementRecord*> roots_;
  bool inOrder_ = true;
  bool hasIdentities_ = false;
  bool referredExact_ = true;
  ElementRecord* last_ = nullptr;
  std::vector<std::unique_ptr<TypeUse>> uses_;  // by type index
  std::vector<TypeUse*> useOrder_;
  const Text* lastInterned_ = nullptr;
  std::unordered_map<std::string_view, const Text*, TextHash> interned_;
};

/// Position of a property's entry, made where there is none. Readers and importers set properties in their
/// order: the end is looked at first.
inline std::size_t ModelStore::place(ElementRecord* record, std::size_t slot, std::uint16_t state) {
  const std::size_t count = record->count;
  if (count != 0) {
    const std::size_t lastSlot = record->slots()[count - 1] & cells::kSlotMask;
    if (lastSlot == slot) return count - 1;
    if (lastSlot > slot) return placeBetween(record, slot, state);
  }
  if (count == record->capacity) return growAndPlaceLast(record, slot, state);
  return placeLast(record, slot, state);
}

inline bool ModelStore::add(ElementRecord* record, std::size_t slot, std::uint64_t payload,
                            std::uint16_t state) {
  const std::size_t before = record->count;
  const std::size_t at = place(record, slot, state);
  if (record->count == before) return false;
  record->payloads[at] = payload;
  return true;
}

/// Calls `visit(at)` for each of a record's slot entries with the state "unresolved". There are few among
/// many, and which is not to be foreseen: they are picked out without a branch for each.
template <class Visit>
void forEachUnresolvedEntry(const ElementRecord* record, Visit&& visit) {
  constexpr std::size_t kAtOnce = 64;
  const std::uint16_t* const slots = record->slots();
  for (std::size_t first = 0; first < record->count; first += kAtOnce) {
    const std::size_t size = std::min<std::size_t>(record->count - first, kAtOnce);
    std::uint64_t found = 0;
    for (std::size_t i = 0; i < size; ++i)
      found |= std::uint64_t{(slots[first + i] & cells::kUnresolved) != 0} << i;
    for (; found != 0; found &= found - 1) visit(first + static_cast<std::size_t>(std::countr_zero(found)));
  }
}

/// Calls `visit(item)` for each waiting reference of such an entry.
template <class Visit>
void forEachWaiting(ElementRecord* record, std::size_t at, Visit&& visit) {
  if (!record->use->property(cells::slotOf(record->slots()[at])).isMany()) {
    if (isWaiting(record->payloads[at])) visit(record->payloads[at]);
    return;
  }
  List* list = asList(record->payloads[at]);
  for (std::uint32_t k = 0; k < list->size; ++k)
    if (isWaiting(list->items()[k])) visit(list->items()[k]);
}

/// Takes "unresolved" from the state of a collection, which has no waiting reference left.
inline void settleCollection(ElementRecord* record, std::size_t at) noexcept {
  cells::Entry& entry = record->slots()[at];
  if (record->use->property(cells::slotOf(entry)).isMany()) entry &= cells::kSlotMask;
  record->forgetPlaces();
}

/// Calls `visit(record)` for every child (or, with `datatypes`, every datatype value too) of a record
/// in document order.
template <class Visit>
void forEachContained(const ElementRecord* record, bool datatypes, Visit&& visit) {
  for (std::uint16_t i = 0; i < record->count; ++i) {
    const std::uint16_t entry = record->slots()[i];
    if ((entry & cells::kEmpty) != 0) continue;
    const PropertyRecord& slot = record->use->property(entry & cells::kSlotMask);
    if (slot.getKind() != PropertyKind::composition &&
        !(datatypes && slot.getKind() == PropertyKind::datatype))
      continue;
    if (!slot.isMany()) {
      visit(asElement(record->payloads[i]));
    } else {
      const List* list = asList(record->payloads[i]);
      for (std::uint32_t k = 0; k < list->size; ++k) visit(asElement(list->items()[k]));
    }
  }
}

}  // namespace kr::zero::internal
