#include "Assembly.h"

#include <cstring>
#include <utility>

#include "kr/zero/Typed.h"

namespace kr::zero::compare {

namespace {

using internal::ElementAccess;
using meta::PropertyKind;

void copyNumber(const SlotValues& from, std::size_t at, Element to) {
  // The cell as it is: documents may hold numbers that no literal has.
  const std::size_t slot = to.getType()->slotOf(meta::Property(from.property));
  internal::ModelStore* const store = ElementAccess::storeOf(to);
  ElementRecord* const record = ElementAccess::recordOf(to);
  if (from.property->isMany())
    internal::appendCell(store, record, slot, from.items[at]);
  else
    internal::addCell(store, record, slot, from.items[at]);
}

void copyText(const SlotValues& from, std::size_t at, Element to) {
  const meta::Property property(from.property);
  const std::string_view text = cells::asText(from.items[at])->view();
  property->isMany() ? to.addText(property, text) : to.setText(property, text);
}

void copyUuid(const SlotValues& from, std::size_t at, Element to) {
  const meta::Property property(from.property);
  Uuid uuid;
  std::memcpy(uuid.data(), reinterpret_cast<const void*>(from.items[at]), uuid.size());
  property->isMany() ? to.addUuid(property, uuid) : to.setUuid(property, uuid);
}

void copyReference(const SlotValues& from, std::size_t at, Element to, const TargetOf& targetOf) {
  const meta::Property property(from.property);
  if (!from.isUnresolved(at)) {
    if (const Element target = targetOf(from.items[at]); target) to.putReference(property, target);
    return;
  }
  const cells::ReferenceTexts* const texts = from.texts(at);
  if (texts == nullptr) return;
  UnresolvedReference reference{std::string(texts->targetType->view()), std::string(texts->id1->view()),
                                std::string(texts->id2->view()), std::nullopt};
  if (texts->qualifier != nullptr) reference.qualifier = std::string(texts->qualifier->view());
  to.putUnresolved(property, reference);
}

void copyPrimitive(const SlotValues& from, std::size_t at, Element to) {
  switch (from.property->getKind()) {
    case PropertyKind::number:
    case PropertyKind::enumeration:
      return copyNumber(from, at, to);
    case PropertyKind::uuid:
      return copyUuid(from, at, to);
    default:
      return copyText(from, at, to);
  }
}

/// A value made of parts, and those within it.
void copyParts(const SlotValues& from, std::size_t at, Element to) {
  struct Copy {
    const ElementRecord* from;
    Element to;
  };
  std::vector<Copy> pending;
  const auto begin = [&](const SlotValues& values, std::size_t item, Element owner) {
    pending.push_back({reinterpret_cast<const ElementRecord*>(values.items[item]),  // NOLINT: so they lie
                       owner.create(meta::Property(values.property))});
  };
  begin(from, at, to);
  for (std::size_t next = 0; next < pending.size(); ++next) {
    Copy copy = pending[next];
    for (std::uint16_t i = 0; i < copy.from->count; ++i) {
      const SlotValues values = valuesAt(copy.from, i);
      if (!isValue(values)) continue;
      if (values.state == PropertyState::empty) copy.to.setEmpty(meta::Property(values.property));
      for (std::uint32_t k = 0; k < values.size; ++k)
        if (values.property->getKind() == PropertyKind::datatype)
          begin(values, k, copy.to);
        else
          copyPrimitive(values, k, copy.to);
    }
  }
}

}  // namespace

void Assembly::makeElements() {
  elements_.resize(parts_.size());
  struct Place {
    Id container;
    Child child;
  };
  std::vector<Place> pending;
  const auto push = [&](Id id) {
    for (std::size_t i = children_[id].size(); i-- > 0;) pending.push_back({id, children_[id][i]});
  };
  push(0);
  while (!pending.empty()) {
    const Place place = pending.back();
    pending.pop_back();
    const Id id = place.child.id;
    if (elements_[id]) continue;
    const internal::TypeUse& use = *parts_[id].outline->record(parts_[id].at)->use;
    if (place.container == 0) {
      elements_[id] = model_.createRoot(use.cls);
    } else {
      Element container = elements_[place.container];
      elements_[id] = container.create(container.getType()->getAllProperties()[place.child.slot], use.type);
    }
    order_.push_back(id);
    push(id);
  }
}

void copyItem(const SlotValues& from, std::size_t at, Element to, const TargetOf& targetOf) {
  switch (from.property->getKind()) {
    case PropertyKind::datatype:
      return copyParts(from, at, to);
    case PropertyKind::association:
      return copyReference(from, at, to, targetOf);
    default:
      return copyPrimitive(from, at, to);
  }
}

void copyValues(const SlotValues& from, Element to, const TargetOf& targetOf) {
  if (from.state == PropertyState::unset) return;
  const meta::Property property(from.property);
  for (std::uint32_t k = 0; k < from.size; ++k) copyItem(from, k, to, targetOf);
  const bool isBare =
      from.state == PropertyState::empty ||
      (property->isMany() && property->getKind() == PropertyKind::association && !to.isSet(property));
  if (isBare) to.setEmpty(property);
}

void copyIdentity(const ElementRecord* from, Element to) {
  if (from->identity != nullptr)
    to.setIdentity(from->identity->first->view(), from->identity->second->view());
}

}  // namespace kr::zero::compare
