#include "model/Copy.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace kr::zero::internal {

namespace {

bool isContained(const PropertyRecord& property) {
  return property.getKind() == PropertyKind::composition || property.getKind() == PropertyKind::datatype;
}

}  // namespace

Copier::Copier(const ModelStore& from, ModelStore& to, CopyOptions options)
    : from_(from), to_(to), options_(std::move(options)), copies_(from.recordCount()) {}

void Copier::choose(const ElementRecord* original) {
  chosen_.clear();
  pending_.assign(1, original);
  while (!pending_.empty()) {
    const ElementRecord* next = pending_.back();
    pending_.pop_back();
    chosen_.push_back(next);
    const std::size_t first = pending_.size();
    forEachContained(next, true, [&](const ElementRecord* child) { pending_.push_back(child); });
    std::reverse(pending_.begin() + static_cast<std::ptrdiff_t>(first), pending_.end());
  }
}

// Records are made in document order, so that the copy's index order is document order too.
void Copier::copyChosen(ElementRecord* copy) {
  note(chosen_.front(), copy);
  for (std::size_t i = 1; i < chosen_.size(); ++i) {
    const ElementRecord* next = chosen_[i];
    ElementRecord* container = copies_[next->container->index];
    note(next, to_.makeChild(to_.use(next->use->type), container, next->containerSlot));
  }
}

void Copier::note(const ElementRecord* original, ElementRecord* copy) {
  work_.push_back({original, copy});
  standFor(original, copy);
  if (options_.identities && original->identity != nullptr)
    to_.setIdentity(copy, original->identity->first->view(), original->identity->second->view());
}

void Copier::standFor(const ElementRecord* original, ElementRecord* here) {
  if (original->index >= copies_.size()) copies_.resize(original->index + std::size_t{1});
  copies_[original->index] = here;
}

void Copier::copyPropertyLater(const ElementRecord* original, std::size_t slot, ElementRecord* here,
                               std::size_t hereSlot) {
  properties_.push_back({original, slot, here, hereSlot});
}

void Copier::finish() {
  for (const Work& work : std::exchange(work_, {})) copyValues(work);
  for (const Property& property : std::exchange(properties_, {})) copyProperty(property);
}

void Copier::copyValues(const Work& work) {
  for (std::uint16_t i = 0; i < work.original->count; ++i) {
    const std::size_t slot = cells::slotOf(work.original->slots()[i]);
    if (!isContained(work.original->use->property(slot)))
      copyProperty({work.original, slot, work.copy, slot});
  }
}

void Copier::copyProperty(const Property& property) {
  if (ModelStore::state(property.original, property.slot) == PropertyState::empty) {
    to_.payload(property.copy, property.copySlot, cells::kEmpty);
    return;
  }
  const Values values = ModelStore::values(property.original, property.slot);
  for (std::size_t k = 0; k < values.size; ++k)
    copyItem(property.original->use->property(property.slot), values, k, property.copy, property.copySlot);
}

void Copier::copyItem(const PropertyRecord& property, const Values& values, std::size_t position,
                      ElementRecord* copy, std::size_t slot) {
  std::uint64_t item = values.items[position];
  bool unresolved =
      values.unresolvedSingle || (property.getKind() == PropertyKind::association && isUnresolved(item));
  if (unresolved)
    item = copyUnresolved(item, property.isMany());
  else if (property.getKind() == PropertyKind::association)
    item = copyReference(property, item, unresolved);
  else
    item = copyPayload(property, item);
  if (property.getKind() == PropertyKind::association && item == 0) return;
  if (property.isMany()) {
    to_.append(copy, slot, item);
    return;
  }
  to_.payload(copy, slot) = item;
  if (unresolved) to_.setState(copy, slot, cells::kUnresolved);
}

std::uint64_t Copier::copyPayload(const PropertyRecord& property, std::uint64_t item) {
  switch (property.getKind()) {
    case PropertyKind::text:
    case PropertyKind::dateTime:
      return asPayload(to_.makeText(asText(item)->view()));
    case PropertyKind::uuid: {
      Uuid uuid;
      std::memcpy(uuid.data(), reinterpret_cast<const void*>(item), uuid.size());
      return asPayload(to_.makeUuid(uuid));
    }
    default:
      return item;
  }
}

std::uint64_t Copier::copyReference(const PropertyRecord& property, std::uint64_t item, bool& unresolved) {
  const std::uint32_t index = targetIndex(item);
  if (index < copies_.size() && copies_[index] != nullptr) return to_.referTo(*copies_[index], property);
  if (options_.outside) {
    item = makeOutside(from_.record(index), property.isMany());
    unresolved = item != 0;
    return item;
  }
  return &from_ == &to_ ? to_.referTo(index, cells::targetType(item), property) : 0;
}

std::uint64_t Copier::copyUnresolved(std::uint64_t item, bool many) {
  const ReferenceTexts* record = asUnresolved(item);
  if (record == nullptr) return 0;
  const std::string_view qualifier = record->qualifier != nullptr ? record->qualifier->view() : "";
  return cells::asCell(
      to_.makeUnresolved(record->targetType->view(), record->id1->view(), record->id2->view(),
                         record->qualifier != nullptr ? &qualifier : nullptr),
      many);
}

std::uint64_t Copier::makeOutside(const ElementRecord* target, bool many) {
  const auto reference = options_.outside(
      ElementAccess::make<ConstElement>(const_cast<ModelStore*>(&from_), const_cast<ElementRecord*>(target)));
  if (!reference) return 0;
  std::string_view qualifier;
  if (reference->qualifier) qualifier = *reference->qualifier;
  return cells::asCell(to_.makeUnresolved(reference->targetType, reference->id1, reference->id2,
                                          reference->qualifier ? &qualifier : nullptr),
                       many);
}

void copyAll(const ModelStore& from, ModelStore& to) {
  Copier copier(from, to, {});
  for (const ElementRecord* root : from.roots()) {
    copier.choose(root);
    copier.copyChosen(to.makeRoot(to.use(root->use->type)));
  }
  copier.finish();
}

ElementRecord* copySubtree(const ModelStore& from, const ElementRecord* record, ModelStore& to) {
  Copier copier(from, to, {.identities = false});
  copier.choose(record);
  ElementRecord* result = to.makeRoot(to.use(record->use->type));
  copier.copyChosen(result);
  copier.finish();
  return result;
}

}  // namespace kr::zero::internal
