#include "io/walk/Identities.h"

#include <algorithm>
#include <array>
#include <typeinfo>
#include <unordered_map>

#include "kr/zero/TextHash.h"
#include "kr/zero/io/ElementIdentity.h"
#include "kr/zero/io/Serializer.h"
#include "model/DocumentOrder.h"
#include "model/Path.h"

namespace kr::zero::io::internal {

using zero::internal::ElementRecord;
using zero::internal::ModelStore;
using zero::internal::TypeUse;
using zero::internal::Values;

Identities::Identities(ModelStore& store, const SerializeCustomizer& customizer)
    : store_(store),
      customizer_(customizer),
      plain_(typeid(customizer) == typeid(SerializeCustomizer) && customizer.getIdentityPrefix().empty()),
      anyOwn_(typeid(customizer) != typeid(SerializeCustomizer) || store.hasIdentities()) {
  const auto any = [&](auto test) {
    return std::any_of(store.typesInUse().begin(), store.typesInUse().end(),
                       [&](const TypeUse* use) { return use->live != 0 && test(*use->type.operator->()); });
  };
  using Type = meta::StructuredType::Impl;
  if (any([](const Type& type) { return type.hasUnwrittenChildren(); })) findWritten();
  if (any([](const Type& type) { return type.hasAssociations(); })) {
    if (isNumberedByIndex())
      numberByIndex();
    else if (markTargets())
      number();
  }
  refuseDuplicates();
}

ElementIdentity Identities::get(const ElementRecord* record) const {
  if (record->identity != nullptr && record->identity->first->view() != "#")
    return {0, record->identity->first->view(), record->identity->second->view()};
  return {.number = numberOf(record), .id1 = {}, .id2 = {}};
}

void Identities::get(ElementRecord* record, ustring& id1, ustring& id2) const {
  if (customizer_.getIdentity(store_.handle(record), id1, id2)) return;
  const std::uint32_t number = numberOf(record);
  id1 = number == 0 ? u"" : u"#";
  id2 = number == 0 ? u"" : toUstring(std::to_string(number));
}

const ElementRecord* Identities::findNumbered(std::uint32_t number) {
  if (recordsByNumber_.empty()) {
    recordsByNumber_.resize(std::size_t{store_.recordCount()} + 1);
    for (std::uint32_t index = 0; index < store_.recordCount(); ++index) {
      const ElementRecord* record = store_.record(index);
      const bool numbered = !record->removed && !record->isDatatype() && record->identity == nullptr;
      if (numbered) recordsByNumber_[numberOf(record)] = record;
    }
  }
  return number == 0 || number >= recordsByNumber_.size() ? nullptr : recordsByNumber_[number];
}

void Identities::findWritten() {
  written_.resize(store_.recordCount());
  forEachWritten(store_, [&](const ElementRecord* record) { written_[record->index] = true; });
}

bool Identities::hasIdentity(ElementRecord* record) const {
  if (plain_) return record->identity != nullptr && record->identity->first->view() != "#";
  ustring id1;
  ustring id2;
  return customizer_.getIdentity(store_.handle(record), id1, id2);
}

// Whether the model itself knows what is referred to, and all of that gets numbers in index order.
bool Identities::isNumberedByIndex() const {
  return store_.isReferredExact() && !anyOwn_ && isIndexOrderWritten(store_);
}

// The same as markTargets() and number() for isNumberedByIndex().
void Identities::numberByIndex() {
  byIndex_ = true;
  if (store_.elementCount() == store_.recordCount()) return;
  numbers_.resize(store_.recordCount());
  std::uint32_t count = 0;
  for (std::uint32_t index = 0; index < store_.recordCount(); ++index)
    if (!store_.record(index)->isDatatype()) numbers_[index] = ++count;
}

bool Identities::markTargets() {
  bool any = false;
  for (std::uint32_t index = 0; index < store_.recordCount(); ++index) {
    const ElementRecord* record = store_.record(index);
    if (record->removed || !record->use->type->hasAssociations()) continue;
    for (std::uint16_t i = 0; i < record->count; ++i) {
      const meta::Property::Impl& property = record->use->property(cells::slotOf(record->slots()[i]));
      if (property.getKind() != meta::PropertyKind::association || !property.isWritten()) continue;
      const Values values = ModelStore::valuesAt(record, i);
      for (std::size_t k = 0; k < values.size; ++k) {
        if (values.unresolvedSingle || cells::isUnresolved(values.items[k])) continue;
        if (anyOwn_ && hasIdentity(store_.target(values.items[k]))) continue;
        if (numbers_.empty()) numbers_.resize(store_.recordCount());
        numbers_[cells::targetIndex(values.items[k])] = 1;
        any = true;
      }
    }
  }
  return any;
}

void Identities::number() {
  std::uint32_t count = 0;
  const auto visit = [&](const ElementRecord* record) {
    ++count;
    if (numbers_[record->index] != 0) numbers_[record->index] = count;
  };
  if (!isIndexOrderWritten(store_)) {
    forEachWritten(store_, visit);
    return;
  }
  for (std::uint32_t index = 0; index < store_.recordCount(); ++index)
    if (!store_.record(index)->isDatatype()) visit(store_.record(index));
}

std::uint32_t Identities::numberOf(const ElementRecord* record) const {
  if (byIndex_ && !store_.isReferred(record->index)) return 0;
  if (!numbers_.empty()) return numbers_[record->index];
  return byIndex_ ? record->index + 1 : 0;
}

void Identities::refuseDuplicates() const {
  if (typeid(customizer_) == typeid(SerializeCustomizer)) {  // a prefix makes no two identities equal
    if (!anyOwn_) return;
    zero::internal::IdentityIndex index;
    for (std::uint32_t i = 0; i < store_.recordCount(); ++i) {
      ElementRecord* record = store_.record(i);
      if (record->removed || !hasIdentity(record)) continue;
      if (const ElementRecord* other = index.add(record); other != nullptr) fail(other, record);
    }
    return;
  }
  std::unordered_map<ustring, const ElementRecord*, TextHash> seen;
  ustring id1;
  ustring id2;
  for (std::uint32_t i = 0; i < store_.recordCount(); ++i) {
    ElementRecord* record = store_.record(i);
    if (record->removed || record->isDatatype()) continue;
    if (!customizer_.getIdentity(store_.handle(record), id1, id2)) continue;
    const auto [it, added] = seen.emplace(id1 + u'\0' + id2, record);
    if (!added) fail(it->second, record);
  }
}

void Identities::fail(const ElementRecord* a, const ElementRecord* b) const {
  throw SerializeError(pathOf(store_, a) + " and " + pathOf(store_, b) + " have the same identity");
}

}  // namespace kr::zero::io::internal
