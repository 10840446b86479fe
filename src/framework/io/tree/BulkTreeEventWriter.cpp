#include "io/tree/BulkTreeEventWriter.h"

#include <array>
#include <charconv>
#include <string>

#include "kr/zero/KeptMemory.h"

namespace kr::zero::io::internal {

namespace {

const modeling::sylvan::SylvanPrimitive& assign(modeling::sylvan::SylvanPrimitive& primitive,
                                                std::string_view text) {
  std::get_if<std::string>(&primitive)->assign(text);
  return primitive;
}

bool isKeptAsText(meta::PropertyKind kind) {
  return kind == meta::PropertyKind::text || kind == meta::PropertyKind::dateTime;
}

}  // namespace

void BulkTreeEventWriter::giveBackMemory() noexcept {
  TreeEventWriter::giveBackMemory();
  clearAndGiveBack(open_);
  clearAndGiveBack(names_);
  clearAndGiveBack(namesByOrdinal_);
  for (Primitive* const text : {&type_, &first_, &second_}) clearAndGiveBack(*std::get_if<std::string>(text));
}

void BulkTreeEventWriter::startObjects(ValueSource& source) {
  source_ = &source;
  open_.clear();
  names_.clear();
  namesByOrdinal_.clear();
  for (const meta::StructuredType type : source.getTypes()) namesByOrdinal_.push_back(&namesOf(type));
}

CategoryMasks BulkTreeEventWriter::openObject(std::size_t slot, meta::StructuredType type,
                                              const ElementIdentity& identity) {
  startContained(slot);
  const TypeNames& names = namesOf(type);
  target().startMetadata();
  units().writeEntry(entryNames().type, names.name);
  if (!identity.isNone()) writeIdentity(identity);
  target().endMetadata();
  target().startStruct();
  open_.push_back({&names});
  return {0xFFFFFFFF};  // all properties in one pass, in meta model order
}

void BulkTreeEventWriter::openDatatype(std::size_t slot, meta::StructuredType type) {
  startContained(slot);
  target().startStruct();
  open_.push_back({&namesOf(type)});
}

void BulkTreeEventWriter::closeObject() {
  endOpenEntry();
  open_.pop_back();
  target().endStruct();
}

std::size_t BulkTreeEventWriter::writeValues(const ValueRun& run, std::size_t from) {
  for (std::size_t at = from; at < run.size; ++at) {
    const cells::Entry entry = run.entries[at];
    const ValueForm form = run.forms[cells::slotOf(entry)];
    switch (form) {
      case ValueForm::none:
        break;
      case ValueForm::text:
      case ValueForm::verbatim:
      case ValueForm::reference:
        writeValue(form, entry, run.cells[at]);
        break;
      case ValueForm::texts:
      case ValueForm::verbatims:
      case ValueForm::references:
        writeItems(form, entry, run.cells[at]);
        break;
      case ValueForm::contained:
        return at;
    }
  }
  return run.size;
}

void BulkTreeEventWriter::writeValue(ValueForm form, cells::Entry entry, cells::Cell cell) {
  const std::size_t slot = cells::slotOf(entry);
  const bool isReference = form == ValueForm::reference;
  if (isReference && cells::isEmpty(entry)) return;
  endOpenEntry();
  const Primitive& name = open_.back().names->properties[slot];
  if (cells::isEmpty(entry)) return units().writeEntry(name, Primitive(nullptr));
  if (form == ValueForm::text) return units().writeTextEntry(name, textOf(slot, cell));
  if (form == ValueForm::verbatim) return units().writeEntry(name, makeNumber(slot, cell));
  target().startNamedEntry(name);
  writeReference(slot, cell, (entry & cells::kUnresolved) != 0);
  target().endNamedEntry();
}

void BulkTreeEventWriter::writeItems(ValueForm form, cells::Entry entry, cells::Cell cell) {
  const std::size_t slot = cells::slotOf(entry);
  endOpenEntry();
  target().startNamedEntry(open_.back().names->properties[slot]);
  target().startSequence();
  for (const cells::Cell item : cells::itemsOf(entry, cell)) {
    if (form == ValueForm::texts)
      target().writePrimitive(assign(first_, textOf(slot, item)));
    else if (form == ValueForm::verbatims)
      target().writePrimitive(makeNumber(slot, item));
    else
      writeReference(slot, item, cells::isUnresolved(item));
  }
  target().endSequence();
  target().endNamedEntry();
}

std::string_view BulkTreeEventWriter::textOf(std::size_t slot, cells::Cell cell) const {
  const bool isText = isKeptAsText(propertyAt(slot)->getKind());
  return isText ? cells::asText(cell)->view() : source_->formatText(slot, cell);
}

BulkTreeEventWriter::Primitive BulkTreeEventWriter::makeNumber(std::size_t slot, cells::Cell cell) const {
  const meta::Property property = propertyAt(slot);
  if (property->getKind() == meta::PropertyKind::enumeration)
    return asLiteralName(meta::Enum(property->getType()), static_cast<std::int64_t>(cell));
  return asNumber(property->getStandardType(), cell);
}

void BulkTreeEventWriter::writeReference(std::size_t slot, cells::Cell item, bool unresolved) {
  std::uint32_t type = 0;
  ElementIdentity identity;
  if (unresolved || !source_->findNumbered(item, type, identity.number))
    return writeDescribed(source_->describe(slot, item, unresolved));
  units().writePairStruct(entryNames().type, namesByOrdinal_[type]->name, entryNames().id, numbered_,
                          makeNumberText(identity.number));
}

void BulkTreeEventWriter::writeDescribed(const WrittenReference& reference) {
  target().startStruct();
  units().writeEntry(entryNames().type, assign(type_, reference.targetType));
  writeIdentity(reference.identity);
  if (reference.hasQualifier) units().writeEntry(entryNames().qualifier, assign(first_, reference.qualifier));
  target().endStruct();
}

void BulkTreeEventWriter::writeIdentity(const ElementIdentity& identity) {
  if (identity.number != 0)
    return units().writePairEntry(entryNames().id, numbered_, makeNumberText(identity.number));
  assign(first_, identity.id1);
  assign(second_, identity.id2);
  units().writePairEntry(entryNames().id, first_, second_);
}

const BulkTreeEventWriter::Primitive& BulkTreeEventWriter::makeNumberText(std::uint64_t number) {
  std::array<char, 20> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  return assign(second_, {digits.data(), end});
}

void BulkTreeEventWriter::startContained(std::size_t slot) {
  if (open_.empty() || open_.back().slot == slot) return;
  endOpenEntry();
  target().startNamedEntry(open_.back().names->properties[slot]);
  open_.back().slot = slot;
  open_.back().sequence = propertyAt(slot)->isMany();
  if (open_.back().sequence) target().startSequence();
}

void BulkTreeEventWriter::endOpenEntry() {
  Open& innermost = open_.back();
  if (innermost.slot == kNoSlot) return;
  innermost.slot = kNoSlot;
  if (innermost.sequence) target().endSequence();
  target().endNamedEntry();
}

meta::Property BulkTreeEventWriter::propertyAt(std::size_t slot) const {
  return open_.back().names->type->getAllProperties()[slot];
}

const BulkTreeEventWriter::TypeNames& BulkTreeEventWriter::namesOf(meta::StructuredType type) {
  std::unique_ptr<TypeNames>& names = names_[type.get()];
  if (names == nullptr) {
    names = std::make_unique<TypeNames>(TypeNames{type, Primitive(type->qualifiedName()), {}});
    for (const meta::Property property : type->getAllProperties())
      names->properties.emplace_back(property->name());
  }
  return *names;
}

}  // namespace kr::zero::io::internal
