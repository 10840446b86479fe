#include "io/parse/DeferredReferences.h"

#include <bit>
#include <cstring>

#include "kr/zero/KeptMemory.h"
#include "kr/zero/io/ParseProcessor.h"
#include "model/Path.h"

namespace kr::zero::internal {

void DeferredReferences::reset(ModelStore& store) noexcept {
  store_ = &store;
  clearAndGiveBack(waiting_);
  clearAndGiveBack(texts_);
  clearAndGiveBack(typeNames_);
  clearAndGiveBack(numbers_);
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

// What waits is in no cache any more, and one address leads to the next: a record to its entries and cells,
// these to lists, and references to what is known of their targets. Each is asked for some steps before it
// is needed.
void DeferredReferences::resolveAll(const DocumentIdentities& identities) {
  Later<Place> inLists;
  Later<Place> withTargets;
  const auto resolvePlace = [&](const Place& place) {
    forEachWaiting(place.record, place.at, [&](std::uint64_t& item) { resolve(place, item, identities); });
    settleCollection(place.record, place.at);
  };
  const auto askForTargets = [&](const Place& place) {
    forEachWaiting(place.record, place.at, [&](const std::uint64_t& item) {
      const WaitingReference reference(item);
      if (reference.form() == Form::local) identities.prefetchLocal(reference.number());
    });
    withTargets.exchange(place, resolvePlace);
  };
  const auto findPlaces = [&](const Place& record) {
    forEachUnresolvedEntry(record.record, [&](std::size_t at) {
      __builtin_prefetch(asList(record.record->payloads[at]));  // nothing where a single one is no address
      inLists.exchange({record.record, at}, askForTargets);
    });
  };
  Later<Place> records;
  Later<Place> entries;
  const auto askForEntries = [&](const Place& record) {
    constexpr std::ptrdiff_t kCacheLine = 64;
    const cells::Entry* const slots = record.record->slots();
    __builtin_prefetch(slots);
    __builtin_prefetch(slots - kCacheLine / std::ptrdiff_t{sizeof(cells::Entry)});  // the cells
    entries.exchange(record, findPlaces);
  };
  for (std::size_t word = 0; word < waiting_.size(); ++word) {
    for (std::uint64_t bits = waiting_[word]; bits != 0; bits &= bits - 1) {
      const auto bit = static_cast<std::uint32_t>(std::countr_zero(bits));
      ElementRecord* const record = store_->record(static_cast<std::uint32_t>(word * 64) + bit);
      __builtin_prefetch(record);
      records.exchange({record, 0}, askForEntries);
    }
  }
  records.finish(askForEntries);
  entries.finish(findPlaces);
  inLists.finish(askForTargets);
  withTargets.finish(resolvePlace);
  reset(*store_);
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
  item = store_->referTo(target.index, target.type, property);
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
  const auto where = [&] { return pathOf(*store_, from) + "." + property.name() + ": "; };
  const TypeUse& use = *store_->typesInUse()[target.type];
  const std::string& name = use.type->qualifiedName();
  const std::string_view named = typeNames_[reference.type()];
  if (named != name)
    return problems_.refuse(where() + "says that it refers to a " + std::string(named) + ", but " +
                            pathOf(*store_, store_->record(target.index)) + " is a " + name);
  if (!ModelStore::fits(property, use.cls))
    return problems_.refuse(where() + "an element of class " + name + " does not fit a property of type " +
                            property.getType()->qualifiedName());
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
