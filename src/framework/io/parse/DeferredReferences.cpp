#include "io/parse/DeferredReferences.h"

#include <bit>
#include <cstring>

#include "kr/zero/io/ParseProcessor.h"

namespace kr::zero::internal {

void DeferredReferences::reset(ModelStore& store) {
  store_ = &store;
  waiting_ = {};
  texts_ = {};
  numbers_.clear();
  typeNames_.clear();
  last_ = kNoTypeName;
  fitting_.fill({});
}

void DeferredReferences::failTooMany(const std::string& where) {
  throw io::ValueError(where + ": the references name more types than can be told apart");
}
void DeferredReferences::failTooLong(const std::string& where) {
  throw io::ValueError(where + ": the texts of the references are too long to be kept");
}

std::uint32_t DeferredReferences::keepTypeName(std::string_view name) {
  if (const auto known = numbers_.find(name); known != numbers_.end()) return known->second;
  makeRoom(typeNames_);
  const auto number = static_cast<std::uint32_t>(typeNames_.size());
  typeNames_.push_back(numbers_.emplace(name, number).first->first);
  return number;
}

WaitingReference DeferredReferences::keepTexts(std::uint32_t typeName, std::string_view id1,
                                               std::string_view id2, const std::string_view* qualifier) {
  const std::size_t begin = texts_.size();
  keepText(id1);
  keepText(id2);
  if (qualifier == nullptr) return {Form::texts, begin, typeName};
  keepText(*qualifier);
  return {Form::textsAndQualifier, begin, typeName};
}

void DeferredReferences::keepText(std::string_view text) {
  const std::size_t length = text.size();
  texts_.append(reinterpret_cast<const char*>(&length), sizeof length);
  texts_ += text;
}

std::string_view DeferredReferences::keptText(std::size_t& at) const {
  std::size_t length = 0;
  std::memcpy(&length, texts_.data() + at, sizeof length);
  const std::string_view text(texts_.data() + at + sizeof length, length);
  at += sizeof length + length;
  return text;
}

void DeferredReferences::resolveAll(const DocumentIdentities& identities) {
  Batch<ElementRecord*> records;
  for (std::size_t word = 0; word < waiting_.size(); ++word) {
    for (std::uint64_t bits = waiting_[word]; bits != 0; bits &= bits - 1) {
      const auto bit = static_cast<std::uint32_t>(std::countr_zero(bits));
      records.add(store_->record(static_cast<std::uint32_t>(word * 64) + bit));
      if (records.isFull()) resolveIn(records, identities);
    }
  }
  resolveIn(records, identities);
  reset(*store_);
}

// What waits is in no cache any more, and one address leads to the next: each is asked for, for some
// records, before it is needed for any of them.
void DeferredReferences::resolveIn(Batch<ElementRecord*>& records, const DocumentIdentities& identities) {
  constexpr std::ptrdiff_t kCacheLine = 64;
  for (const ElementRecord* record : records) {
    __builtin_prefetch(record->slots());
    __builtin_prefetch(record->slots() - kCacheLine / std::ptrdiff_t{sizeof(cells::Entry)});  // the cells
  }
  Batch<Place> places;
  for (ElementRecord* record : records)
    forEachUnresolvedEntry(record, [&](std::size_t at) {
      __builtin_prefetch(asList(record->payloads[at]));  // does nothing where a single one is no address
      places.add({record, at});
      if (places.isFull()) resolveIn(places, identities);
    });
  resolveIn(places, identities);
  records.clear();
}

void DeferredReferences::resolveIn(Batch<Place>& places, const DocumentIdentities& identities) {
  for (const Place& place : places)
    forEachWaiting(place.record, place.at, [&](const std::uint64_t& item) {
      const WaitingReference reference(item);
      if (reference.form() == Form::local) identities.prefetchLocal(reference.number());
    });
  for (const Place& place : places) {
    forEachWaiting(place.record, place.at, [&](std::uint64_t& item) { resolve(place, item, identities); });
    settleCollection(place.record, place.at);
  }
  places.clear();
}

void DeferredReferences::resolve(const Place& place, std::uint64_t& item,
                                 const DocumentIdentities& identities) {
  const WaitingReference reference(item);
  cells::Entry& entry = place.record->slots()[place.at];
  const std::size_t slot = cells::slotOf(entry);
  const PropertyRecord& property = place.record->use->property(slot);
  const Target target = findTarget(reference, identities);
  if (target.isNone()) {
    item = cells::asCell(makeUnresolved(reference), property.isMany());
    return;
  }
  const Fitting asked(&property, reference.type(), target.type);
  Fitting& right = fitting_[slot % fitting_.size()];
  if (right != asked && !problems_.areEnough() && checkTarget(reference, place.record, property, target))
    right = asked;
  item = store_->referTo(target.index, property);
  if (!property.isMany()) entry = static_cast<cells::Entry>(slot);
}

DeferredReferences::Target DeferredReferences::findTarget(WaitingReference reference,
                                                          const DocumentIdentities& identities) const {
  if (reference.form() == Form::textsAndQualifier) return {};  // in another document
  if (reference.form() == Form::local) return identities.findLocal(reference.number());
  std::size_t at = reference.id();
  const std::string_view id1 = keptText(at);
  return identities.find(id1, keptText(at));
}

[[gnu::noinline]] bool DeferredReferences::checkTarget(WaitingReference reference, const ElementRecord* from,
                                                       const PropertyRecord& property, const Target& target) {
  const auto where = [&] { return pathOf(*store_, from) + "." + property.getNameUtf8() + ": "; };
  const TypeUse& use = *store_->typesInUse()[target.type];
  const std::string& name = use.type->getQualifiedNameUtf8();
  const std::string_view named = typeNames_[reference.type()];
  if (named != name)
    return problems_.refuse(where() + "says that it refers to a " + std::string(named) + ", but " +
                            pathOf(*store_, store_->record(target.index)) + " is a " + name);
  if (!ModelStore::fits(property, use.cls))
    return problems_.refuse(where() + "an element of class " + name + " does not fit a property of type " +
                            property.getType()->getQualifiedNameUtf8());
  return true;
}

const cells::ReferenceTexts* DeferredReferences::makeUnresolved(WaitingReference reference) {
  const std::string_view typeName = typeNames_[reference.type()];
  if (reference.form() == Form::local)
    return store_->makeUnresolved(typeName, "#", std::to_string(reference.number()), nullptr);
  std::size_t at = reference.id();
  const std::string_view id1 = keptText(at);
  const std::string_view id2 = keptText(at);
  if (reference.form() == Form::texts) return store_->makeUnresolved(typeName, id1, id2, nullptr);
  const std::string_view qualifier = keptText(at);
  return store_->makeUnresolved(typeName, id1, id2, &qualifier);
}

}  // namespace kr::zero::internal
