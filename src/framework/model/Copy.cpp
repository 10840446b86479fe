#include "model/Copy.h"

#include <algorithm>
#include <cstring>

namespace kr::zero::internal {

namespace {

/// Copies trees of records first and their references afterwards, when every target has its copy.
class Copier {
 public:
  Copier(const ModelStore& from, ModelStore& to, bool identities)
      : from_(from), to_(to), identities_(identities), copies_(from.recordCount()) {}

  ElementRecord* copyTree(const ElementRecord* root) {
    ElementRecord* result = to_.makeRoot(to_.use(root->use->type));
    note(root, result);
    // Records are made in document order, so that the copy's index order is document order too.
    std::vector<const ElementRecord*> pending;
    pushContained(root, pending);
    while (!pending.empty()) {
      const ElementRecord* next = pending.back();
      pending.pop_back();
      ElementRecord* container = copies_[next->container->index];
      note(next, to_.makeChild(to_.use(next->use->type), container, next->containerSlot));
      pushContained(next, pending);
    }
    return result;
  }

  void finish() {
    for (const ElementRecord* original : originals_) copyValues(original, copies_[original->index]);
  }

 private:
  void note(const ElementRecord* original, ElementRecord* copy) {
    originals_.push_back(original);
    copies_[original->index] = copy;
    if (identities_ && original->identity != nullptr)
      to_.setIdentity(copy, original->identity->first->view(), original->identity->second->view());
  }

  static void pushContained(const ElementRecord* record, std::vector<const ElementRecord*>& pending) {
    const std::size_t first = pending.size();
    forEachContained(record, true, [&](const ElementRecord* child) { pending.push_back(child); });
    std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(first), pending.end());
  }

  void copyValues(const ElementRecord* original, ElementRecord* copy) {
    for (std::uint16_t i = 0; i < original->count; ++i) {
      const std::uint16_t entry = original->slots()[i];
      const std::size_t slot = entry & cells::kSlotMask;
      const PropertyRecord& property = original->use->property(slot);
      if (property.getKind() == PropertyKind::composition || property.getKind() == PropertyKind::datatype)
        continue;
      if ((entry & cells::kEmpty) != 0) {
        to_.payload(copy, slot, cells::kEmpty);
        continue;
      }
      const Values values = ModelStore::values(original, slot);
      for (std::size_t k = 0; k < values.size; ++k) copyItem(property, values, k, copy, slot);
    }
  }

  void copyItem(const PropertyRecord& property, const Values& values, std::size_t position,
                ElementRecord* copy, std::size_t slot) {
    std::uint64_t item = values.items[position];
    const bool unresolved =
        values.unresolvedSingle || (property.getKind() == PropertyKind::association && isUnresolved(item));
    if (unresolved)
      item = copyUnresolved(item, property.isMany());
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

  std::uint64_t copyPayload(const PropertyRecord& property, std::uint64_t item) {
    switch (property.getKind()) {
      case PropertyKind::text:
      case PropertyKind::dateTime:
        return asPayload(to_.makeText(asText(item)->view()));
      case PropertyKind::uuid: {
        Uuid uuid;
        std::memcpy(uuid.data(), reinterpret_cast<const void*>(item), uuid.size());
        return asPayload(to_.makeUuid(uuid));
      }
      case PropertyKind::association: {
        const ElementRecord* copy = copies_[targetIndex(item)];
        if (copy != nullptr) return to_.referTo(*copy, property);
        return &from_ == &to_ ? to_.referTo(targetIndex(item), cells::targetType(item), property) : 0;
      }
      default:
        return item;
    }
  }

  std::uint64_t copyUnresolved(std::uint64_t item, bool many) {
    const ReferenceTexts* record = asUnresolved(item);
    if (record == nullptr) return 0;
    const std::string_view qualifier = record->qualifier != nullptr ? record->qualifier->view() : "";
    return cells::asCell(
        to_.makeUnresolved(record->targetType->view(), record->id1->view(), record->id2->view(),
                           record->qualifier != nullptr ? &qualifier : nullptr),
        many);
  }

  const ModelStore& from_;
  ModelStore& to_;
  bool identities_;
  std::vector<ElementRecord*> copies_;  // by the original's index
  std::vector<const ElementRecord*> originals_;
};

}  // namespace

void copyAll(const ModelStore& from, ModelStore& to) {
  Copier copier(from, to, true);
  for (const ElementRecord* root : from.roots()) copier.copyTree(root);
  copier.finish();
}

ElementRecord* copySubtree(const ModelStore& from, const ElementRecord* record, ModelStore& to) {
  Copier copier(from, to, false);
  ElementRecord* result = copier.copyTree(record);
  copier.finish();
  return result;
}

}  // namespace kr::zero::internal
