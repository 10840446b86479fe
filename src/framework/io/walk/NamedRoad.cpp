#include "io/walk/NamedRoad.h"

#include "kr/zero/io/Serializer.h"
#include "kr/zero/meta/StandardTypes.h"
#include "model/Numbers.h"

namespace kr::zero::io::internal {

using meta::PropertyKind;

const ustring& NamedRoad::nameIn(const ElementRecord* record, std::size_t slot) const {
  if (slot == BulkEventProcessor::kNoSlot) return nothing_;
  return record->container->use->property(slot).getName();
}

CategoryMasks NamedRoad::openObject(ElementRecord* record, std::size_t slot) {
  identities_.get(record, id1_, id2_);
  return processor_.startObject(nameIn(record, slot), record->use->type->getQualifiedName(), id1_, id2_);
}

std::size_t NamedRoad::writeValues(const ElementRecord* record, const Pass& pass, std::size_t at) {
  for (; at < record->count; ++at) {
    if (pass.forms[cells::slotOf(record->slots()[at])] == ValueForm::contained) break;
    writeValue(record, pass, at);
  }
  return at;
}

void NamedRoad::writeValue(const ElementRecord* record, const Pass& pass, std::size_t at) {
  const cells::Entry entry = record->slots()[at];
  const cells::Cell cell = record->payloads[at];
  const std::size_t slot = cells::slotOf(entry);
  const PropertyRecord& property = record->use->property(slot);
  const ustring& name = property.getName();
  values_.setRecord(record);
  switch (pass.forms[slot]) {
    case ValueForm::text:
      if (cells::isEmpty(entry)) return processor_.absentValue(name);
      return processor_.textValue(name, textOf(property, slot, cell));
    case ValueForm::verbatim:
      if (cells::isEmpty(entry)) return processor_.absentValue(name);
      return processor_.primitiveValue(name, valueOf(property, cell));
    case ValueForm::reference:
      if (cells::isEmpty(entry)) return;
      return visitReference(name, slot, cell, (entry & cells::kUnresolved) != 0, false);
    case ValueForm::texts:
      return visitTexts(property, slot, entry, cell);
    case ValueForm::verbatims:
      return visitVerbatims(property, entry, cell);
    case ValueForm::references:
      return visitReferences(property, slot, entry, cell);
    case ValueForm::none:
    case ValueForm::contained:
      return;
  }
}

void NamedRoad::visitTexts(const PropertyRecord& property, std::size_t slot, cells::Entry entry,
                           cells::Cell cell) {
  processor_.startStructuredProperty(property.getName());
  for (const cells::Cell item : cells::itemsOf(entry, cell))
    processor_.textElement(property.getName(), textOf(property, slot, item));
  processor_.endStructuredProperty();
}

void NamedRoad::visitVerbatims(const PropertyRecord& property, cells::Entry entry, cells::Cell cell) {
  // The text counts the value and the value writes it; see EventProcessor.
  processor_.startStructuredElement(property.getName());
  for (const cells::Cell item : cells::itemsOf(entry, cell)) {
    processor_.textElement(property.getName(), nothing_);
    processor_.primitiveElement(property.getName(), valueOf(property, item));
  }
  processor_.endStructuredElement();
}

void NamedRoad::visitReferences(const PropertyRecord& property, std::size_t slot, cells::Entry entry,
                                cells::Cell cell) {
  processor_.startStructuredEntry(property.getName());
  for (const cells::Cell item : cells::itemsOf(entry, cell))
    visitReference(property.getName(), slot, item, cells::isUnresolved(item), true);
  processor_.endStructuredEntry();
}

void NamedRoad::visitReference(const ustring& name, std::size_t slot, cells::Cell item, bool unresolved,
                               bool inCollection) {
  const ustring* type = &text_;
  const cells::Text* qualifier = nullptr;
  if (!unresolved && !cells::isUnresolved(item)) {
    ElementRecord* const target = values_.getTarget(item);
    identities_.get(target, id1_, id2_);
    type = &target->use->type->getQualifiedName();
  } else {
    const cells::ReferenceTexts& texts = values_.getTexts(slot, item);
    convert(texts.targetType->view(), text_);
    convert(texts.id1->view(), id1_);
    convert(texts.id2->view(), id2_);
    qualifier = texts.qualifier;
  }
  if (qualifier == nullptr && inCollection) return processor_.referenceElement(name, *type, id1_, id2_);
  if (qualifier == nullptr) return processor_.referenceValue(name, *type, id1_, id2_);
  convert(qualifier->view(), qualifier_);
  if (inCollection)
    processor_.referenceElementLong(name, *type, qualifier_, id1_, id2_);
  else
    processor_.referenceValueLong(name, *type, qualifier_, id1_, id2_);
}

const ustring& NamedRoad::textOf(const PropertyRecord& property, std::size_t slot, cells::Cell cell) {
  const bool isText =
      property.getKind() == PropertyKind::text || property.getKind() == PropertyKind::dateTime;
  convert(isText ? cells::asText(cell)->view() : values_.formatText(slot, cell), text_);
  return text_;
}

Value NamedRoad::valueOf(const PropertyRecord& property, cells::Cell cell) const {
  // With an emptiness mark in front, the number of a literal travels as a plain Integer.
  const bool asInteger = property.getKind() == PropertyKind::enumeration && property.isOptional();
  if (!asInteger)
    return zero::internal::toValue(property.getType(), property.getStandardType(), ValueFlags::single, cell);
  static const meta::Type integer = meta::internal::getPrimitiveTypeFromMetaRegistry(u"Integer");
  return zero::internal::toValue(integer, meta::StandardType::integer, ValueFlags::single, cell);
}

void NamedRoad::convert(std::string_view text, ustring& out) const {
  if (!converter_.convert(text, out)) throw SerializeError("a text of the model is not well-formed UTF-8");
}

}  // namespace kr::zero::io::internal
