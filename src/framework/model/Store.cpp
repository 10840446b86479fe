#include "model/Store.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "fl/i18n/utf8.h"

namespace kr::zero::internal {

using meta::Class;
using meta::StructuredType;

int ElementRecord::findSorted(std::size_t slot) const noexcept {
  const std::uint16_t* first = slots();
  const std::uint16_t* last = first + count;
  const std::uint16_t* it = std::lower_bound(first, last, slot, [](std::uint16_t entry, std::size_t wanted) {
    return (entry & cells::kSlotMask) < wanted;
  });
  return it != last && (*it & cells::kSlotMask) == slot ? static_cast<int>(it - first) : -1;
}

void ElementRecord::notePlaces() noexcept {
  std::uint32_t noted = 0;
  for (std::size_t at = 0; at < count && cells::slotOf(slots()[at]) < kQuickSlots; ++at) {
    if ((slots()[at] & ~cells::kSlotMask) != 0) return;
    noted |= std::uint32_t{1} << cells::slotOf(slots()[at]);
  }
  std::atomic_ref(places).store(noted, std::memory_order_relaxed);
}

TypeUse& ModelStore::use(StructuredType type) {
  const std::size_t index = type->getIndex();
  if (index < uses_.size() && uses_[index] != nullptr) return *uses_[index];

  const std::vector<meta::Property>& properties = type->getAllProperties();
  if (properties.size() > cells::kSlotMask)
    throw ModelError("type " + type->qualifiedName() + " has more than 16383 properties");
  auto made = std::make_unique<TypeUse>();
  made->type = type;
  made->cls = Class(meta::Type(type));
  made->properties = properties.data();
  made->slotCount = properties.size();
  for (std::size_t slot = 0; slot < std::min(properties.size(), kQuickSlots); ++slot)
    made->signatures[slot] = signatureOf(*properties[slot].get());
  makeRoom(useOrder_);
  if (index >= uses_.size()) uses_.resize(index + 1);
  made->ordinal = static_cast<std::uint32_t>(useOrder_.size());
  uses_[index] = std::move(made);
  useOrder_.push_back(uses_[index].get());
  return *uses_[index];
}

// Index order stays document order as long as each new element goes behind everything there is: into
// the element made last or one above it, and there behind the branch that leads to the last one.
void ModelStore::noteOrder(const ElementRecord* record) noexcept {
  const ElementRecord* branch = last_;
  if (branch == nullptr || branch == record->container || record->container == nullptr) return;
  while (branch != nullptr && branch->container != record->container) branch = branch->container;
  if (branch == nullptr || branch->containerSlot > record->containerSlot) inOrder_ = false;
}

ElementRecord* ModelStore::make(TypeUse& use, ElementRecord* container, std::uint16_t slot) {
  if (nextIndex_ == std::numeric_limits<std::uint32_t>::max()) throw std::bad_alloc();
  if (nextIndex_ == blocks_.size() * kBlock) {
    makeRoom(blocks_);
    makeRoom(referred_);
    blocks_.push_back(static_cast<ElementRecord*>(arena_.allocate(kBlock * sizeof(ElementRecord))));
    referred_.push_back(0);
  }
  auto* result = new (record(nextIndex_)) ElementRecord{};
  result->use = &use;
  result->container = container;
  result->containerSlot = slot;
  result->index = nextIndex_;
  if (inOrder_) noteOrder(result);
  last_ = result;
  ++nextIndex_;
  ++use.live;
  if (use.cls) ++elements_;
  return result;
}

ElementRecord* ModelStore::makeRoot(TypeUse& use) {
  makeRoom(roots_);
  ElementRecord* result = make(use, nullptr, 0);
  roots_.push_back(result);
  return result;
}

ElementRecord* ModelStore::makeChild(TypeUse& use, ElementRecord* container, std::size_t slot) {
  ElementRecord* child = make(use, container, static_cast<std::uint16_t>(slot));
  try {
    if (container->use->property(slot).isMany())
      append(container, slot, asPayload(child));
    else
      payload(container, slot) = asPayload(child);
  } catch (...) {
    markRemoved(child);
    throw;
  }
  return child;
}

void ModelStore::markRemoved(ElementRecord* record) noexcept {
  record->removed = true;
  record->forgetPlaces();
  --record->use->live;
  if (record->use->cls) --elements_;
  inOrder_ = false;
  if (last_ == record) last_ = nullptr;
}

namespace {

constexpr std::size_t kEntryBytes = sizeof(std::uint64_t) + sizeof(std::uint16_t);

// Instances of a class tend to be alike, so the one before is the guess for this one. The guess is
// bounded: one huge instance must not make all small ones large.
std::size_t firstCapacity(const TypeUse& use) {
  constexpr std::size_t kUsual = 4;
  constexpr std::size_t kMost = 24;
  if (use.previous == nullptr) return kUsual;
  return std::clamp<std::size_t>(use.previous->count, 1, kMost);
}

}  // namespace

void ModelStore::grow(ElementRecord* record, std::size_t entries) {
  const std::size_t most = record->use->type->getAllProperties().size();
  std::size_t capacity =
      record->capacity == 0 ? firstCapacity(*record->use) : std::size_t{record->capacity} * 3 / 2 + 2;
  std::size_t bytes = std::min(std::max(capacity, record->count + entries), most) * kEntryBytes;
  auto* memory = static_cast<std::uint64_t*>(arena_.allocateRecyclable(bytes));
  capacity = std::min(bytes / kEntryBytes, most);
  auto* slots = reinterpret_cast<std::uint16_t*>(memory + capacity);
  if (record->count != 0) {
    std::memcpy(memory, record->payloads, record->count * sizeof(std::uint64_t));
    std::memcpy(slots, record->slots(), record->count * sizeof(std::uint16_t));
  }
  if (record->capacity != 0)
    arena_.recycle(record->payloads, record->capacity * kEntryBytes);
  else
    record->use->previous = record;
  record->payloads = memory;
  record->capacity = static_cast<std::uint16_t>(capacity);
}

std::size_t ModelStore::growAndPlaceLast(ElementRecord* record, std::size_t slot, std::uint16_t state) {
  grow(record);
  return placeLast(record, slot, state);
}

std::size_t ModelStore::placeBetween(ElementRecord* record, std::size_t slot, std::uint16_t state) {
  if (const int found = record->find(slot); found >= 0) return static_cast<std::size_t>(found);
  if (record->count == record->capacity) grow(record);
  std::uint16_t* slots = record->slots();
  std::size_t at = record->count;
  while (at > 0 && (slots[at - 1] & cells::kSlotMask) > slot) --at;
  const std::size_t behind = record->count - at;
  std::memmove(slots + at + 1, slots + at, behind * sizeof(std::uint16_t));
  std::memmove(record->payloads + at + 1, record->payloads + at, behind * sizeof(std::uint64_t));
  slots[at] = static_cast<std::uint16_t>(slot | state);
  record->payloads[at] = 0;
  ++record->count;
  record->forgetPlaces();
  return at;
}

void ModelStore::setEntry(ElementRecord* record, std::size_t at, std::size_t slot,
                          std::uint16_t state) noexcept {
  cells::Entry& entry = record->slots()[at];
  const auto wanted = static_cast<cells::Entry>(slot | state);
  if (entry == wanted) return;  // what is noted of the element's places still holds
  entry = wanted;
  record->forgetPlaces();
}

void ModelStore::setState(ElementRecord* record, std::size_t slot, std::uint16_t state) noexcept {
  setEntry(record, static_cast<std::size_t>(record->find(slot)), slot, state);
}

void ModelStore::erase(ElementRecord* record, std::size_t slot) noexcept {
  const int found = record->find(slot);
  if (found < 0) return;
  const auto at = static_cast<std::size_t>(found);
  referredExact_ = false;
  const std::size_t behind = record->count - at - 1;
  std::memmove(record->slots() + at, record->slots() + at + 1, behind * sizeof(std::uint16_t));
  std::memmove(record->payloads + at, record->payloads + at + 1, behind * sizeof(std::uint64_t));
  --record->count;
  record->forgetPlaces();
}

/// A list with the items of the old one and room for as many as wanted; null stands for a list without room.
List* ModelStore::enlarge(List* list, std::size_t wanted) {
  if (wanted > std::numeric_limits<std::uint32_t>::max()) throw std::bad_alloc();
  std::size_t bytes = sizeof(List) + wanted * sizeof(std::uint64_t);
  auto* bigger = static_cast<List*>(arena_.allocateRecyclable(bytes));
  const std::size_t capacity = (bytes - sizeof(List)) / sizeof(std::uint64_t);
  bigger->capacity = static_cast<std::uint32_t>(capacity);
  bigger->size = 0;
  if (list != nullptr) {
    bigger->size = list->size;
    std::memcpy(bigger->items(), list->items(), list->size * sizeof(std::uint64_t));
    arena_.recycle(list, sizeof(List) + list->capacity * sizeof(std::uint64_t));
  }
  return bigger;
}

std::uint32_t ModelStore::append(ElementRecord* record, std::size_t slot, std::uint64_t item,
                                 std::uint16_t state) {
  const std::size_t at = place(record, slot, cells::kEmpty);
  std::uint64_t& cell = record->payloads[at];
  List* list = asList(cell);
  if (list == nullptr)
    cell = asPayload(list = enlarge(list, 2));
  else if (list->size == list->capacity)
    cell = asPayload(list = enlarge(list, std::size_t{list->capacity} * 2));
  if (list->size == 0 || state != 0) setEntry(record, at, slot, state);
  list->items()[list->size] = item;
  return list->size++;
}

void ModelStore::append(ElementRecord* record, std::size_t slot, std::span<const std::uint64_t> items) {
  if (items.empty()) return;
  const std::size_t at = place(record, slot, cells::kEmpty);
  std::uint64_t& cell = record->payloads[at];
  List* list = asList(cell);
  const std::size_t wanted = (list == nullptr ? 0 : list->size) + items.size();
  if (list == nullptr)
    cell = asPayload(list = enlarge(list, wanted));
  else if (wanted > list->capacity)
    cell = asPayload(list = enlarge(list, std::max(wanted, std::size_t{list->capacity} * 2)));
  std::memcpy(list->items() + list->size, items.data(), items.size_bytes());
  list->size = static_cast<std::uint32_t>(wanted);
  setEntry(record, at, slot, 0);
}

void ModelStore::removeItems(ElementRecord* record, std::size_t slot, std::size_t position,
                             std::size_t count) noexcept {
  List* list = asList(record->payloads[record->find(slot)]);
  std::memmove(list->items() + position, list->items() + position + count,
               (list->size - position - count) * sizeof(std::uint64_t));
  referredExact_ = false;
  list->size -= static_cast<std::uint32_t>(count);
  if (list->size == 0) setState(record, slot, cells::kEmpty);
}

void ModelStore::detach(ElementRecord* record) noexcept {
  ElementRecord* container = record->container;
  if (container == nullptr) {
    std::erase(roots_, record);
    return;
  }
  const std::size_t slot = record->containerSlot;
  if (!container->use->property(slot).isMany()) {
    erase(container, slot);
    return;
  }
  const Values items = values(container, slot);
  const std::uint64_t* found = std::find(items.items, items.items + items.size, asPayload(record));
  removeItems(container, slot, static_cast<std::size_t>(found - items.items));
  // A collection of elements without entries is the same as an unset one.
  if (state(container, slot) == PropertyState::empty) erase(container, slot);
}

std::vector<ElementRecord*> ModelStore::subtreesOf(std::vector<ElementRecord*> records) {
  std::vector<ElementRecord*> all;
  while (!records.empty()) {
    ElementRecord* next = records.back();
    records.pop_back();
    all.push_back(next);
    forEachContained(next, true, [&](ElementRecord* child) { records.push_back(child); });
  }
  return all;
}

void ModelStore::removeSubtrees(const std::vector<ElementRecord*>& records) {
  const std::vector<ElementRecord*> all = subtreesOf(records);
  for (ElementRecord* record : records) detach(record);
  endAll(all);
}

void ModelStore::removeChildren(ElementRecord* record, std::size_t slot, std::size_t position,
                                std::size_t count) {
  const std::uint64_t* const first = values(record, slot).items + position;
  std::vector<ElementRecord*> children(count);
  std::transform(first, first + count, children.begin(), asElement);
  const std::vector<ElementRecord*> all = subtreesOf(std::move(children));
  removeItems(record, slot, position, count);
  // A collection of elements without entries is the same as an unset one.
  if (state(record, slot) == PropertyState::empty) erase(record, slot);
  endAll(all);
}

void ModelStore::endAll(const std::vector<ElementRecord*>& records) noexcept {
  for (ElementRecord* record : records) markRemoved(record);
  dropReferencesToRemoved();
}

void ModelStore::dropReferencesToRemoved() noexcept {
  referredExact_ = false;
  for (std::uint32_t index = 0; index < nextIndex_; ++index) {
    ElementRecord* from = record(index);
    if (from->removed || !from->use->type->hasAssociations()) continue;
    for (std::uint16_t i = from->count; i-- > 0;) {
      const std::uint16_t entry = from->slots()[i];
      const std::size_t slot = entry & cells::kSlotMask;
      const PropertyRecord& property = from->use->property(slot);
      if (property.getKind() != PropertyKind::association ||
          (entry & (cells::kEmpty | cells::kUnresolved)) != 0)
        continue;
      if (!property.isMany()) {
        if (target(from->payloads[i])->removed) erase(from, slot);
        continue;
      }
      List* list = asList(from->payloads[i]);
      const auto gone = [&](std::uint64_t item) { return !isUnresolved(item) && target(item)->removed; };
      std::uint64_t* end = std::remove_if(list->items(), list->items() + list->size, gone);
      list->size = static_cast<std::uint32_t>(end - list->items());
      if (list->size == 0) setState(from, slot, cells::kEmpty);
    }
  }
}

PropertyState ModelStore::state(const ElementRecord* record, std::size_t slot) noexcept {
  const int at = record->find(slot);
  if (at < 0) return PropertyState::unset;
  return (record->slots()[at] & cells::kEmpty) != 0 ? PropertyState::empty : PropertyState::value;
}

const Text* ModelStore::makeText(std::string_view text) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) throw std::bad_alloc();
  auto* result = static_cast<Text*>(arena_.allocate(offsetof(Text, bytes) + text.size()));
  result->length = static_cast<std::uint32_t>(text.size());
  if (!text.empty()) std::memcpy(result->bytes, text.data(), text.size());
  return result;
}

const Text* ModelStore::makeCheckedText(std::string_view bytes) {
  constexpr std::size_t kShort = 16;
  if (bytes.size() < sizeof(std::uint64_t) || bytes.size() > kShort)
    return fl::i18n::isWellFormedUtf8(bytes) ? makeText(bytes) : nullptr;
  // Two words that may overlap are all of it: they are looked at on their way into the model.
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  std::memcpy(&first, bytes.data(), sizeof first);
  std::memcpy(&last, bytes.data() + bytes.size() - sizeof last, sizeof last);
  const bool ascii = ((first | last) & 0x8080808080808080) == 0;
  if (!ascii && !fl::i18n::isWellFormedUtf8(bytes)) return nullptr;
  auto* result = static_cast<Text*>(arena_.allocate(offsetof(Text, bytes) + bytes.size()));
  result->length = static_cast<std::uint32_t>(bytes.size());
  std::memcpy(result->bytes, &first, sizeof first);
  std::memcpy(result->bytes + bytes.size() - sizeof last, &last, sizeof last);
  return result;
}

const std::uint64_t* ModelStore::makeUuid(const Uuid& uuid) {
  auto* result = static_cast<std::uint64_t*>(arena_.allocate(uuid.size()));
  std::memcpy(result, uuid.data(), uuid.size());
  return result;
}

// First parts of identities and type names of references repeat; each distinct one is kept once.
const Text* ModelStore::intern(std::string_view text) {
  if (lastInterned_ != nullptr && lastInterned_->view() == text) return lastInterned_;
  if (const auto it = interned_.find(text); it != interned_.end()) return lastInterned_ = it->second;
  const Text* made = makeText(text);
  interned_.emplace(made->view(), made);
  return lastInterned_ = made;
}

const ReferenceTexts* ModelStore::makeUnresolved(std::string_view targetType, std::string_view id1,
                                                 std::string_view id2, const std::string_view* qualifier) {
  auto* result = new (arena_.allocate(sizeof(ReferenceTexts))) ReferenceTexts{};
  result->targetType = intern(targetType);
  result->id1 = intern(id1);
  result->id2 = makeText(id2);
  result->qualifier = qualifier == nullptr ? nullptr : intern(*qualifier);
  return result;
}

void ModelStore::setIdentity(ElementRecord* record, std::string_view first, std::string_view second) {
  auto* identity = new (arena_.allocate(sizeof(IdentityRecord))) IdentityRecord{};
  identity->first = intern(first);
  identity->second = makeText(second);
  record->identity = identity;
  hasIdentities_ = true;
}

bool ModelStore::fits(const PropertyRecord& slot, Class cls) noexcept {
  return cls && (cls == slot.getTarget() || cls->conformsTo(slot.getTarget()));
}

std::size_t ModelStore::memoryUsed() const noexcept {
  return sizeof(ModelStore) + arena_.getReserved() +
         blocks_.capacity() * (sizeof(ElementRecord*) + sizeof(std::uint64_t)) +
         roots_.capacity() * sizeof(ElementRecord*);
}

}  // namespace kr::zero::internal
