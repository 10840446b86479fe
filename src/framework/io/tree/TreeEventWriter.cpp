#include "io/tree/TreeEventWriter.h"

#include <bit>
#include <string>

#include "kr/zero/KeptMemory.h"
#include "kr/zero/io/Serializer.h"
#include "kr/zero/io/TreeDocument.h"
#include "model/Numbers.h"

namespace kr::zero::io::internal {

using meta::StandardType;
using Primitive = TreeEventWriter::Primitive;

const TreeEventWriter::EntryNames& TreeEventWriter::entryNames() {
  static const EntryNames names;
  return names;
}

Primitive TreeEventWriter::asNumber(StandardType type, std::uint64_t payload) {
  switch (meta::infoOf(type).kind) {
    case meta::StandardKind::boolean:
      return payload != 0;
    case meta::StandardKind::real:
      return std::bit_cast<double>(payload);
    case meta::StandardKind::unsignedInteger:
      return payload;
    default:
      return static_cast<std::int64_t>(payload);
  }
}

Primitive TreeEventWriter::asLiteralName(meta::Enum type, std::int64_t number) {
  const meta::EnumLiteral* literal = type->findByNumber(number);
  if (literal == nullptr)
    throw SerializeError("enumeration " + type->qualifiedName() + " has no literal with the number " +
                         std::to_string(number));
  return literal->name;
}

void TreeEventWriter::giveBackMemory() noexcept {
  clearAndGiveBack(levels_);
  clearAndGiveBack(names_);
  clearAndGiveBack(type_);
  for (Primitive* const text : {&text_, &second_, &typeText_})
    clearAndGiveBack(*std::get_if<std::string>(text));
}

void TreeEventWriter::postprocess(const SerializationOutput&) {}

void TreeEventWriter::startDocument() {
  levels_.clear();
  names_.clear();  // addresses of another registry's names mean nothing here
  valueType_ = {};
  target_->startDocument(Primitive(std::string(tree::kName)));
  target_->startMetadata();
  target_->startNamedEntry(entryNames().version);
  target_->writePrimitive(Primitive(tree::kVersion));
  target_->endNamedEntry();
}

void TreeEventWriter::startRegisteredPackages() {
  target_->startNamedEntry(entryNames().packages);
  target_->startSequence();
}

void TreeEventWriter::addRegisteredPackage(const ustring& uri) { writeText(uri); }

void TreeEventWriter::endRegisteredPackages() {
  endCollection();
  target_->endMetadata();
  target_->startSequence();
}

void TreeEventWriter::endDocument() {
  target_->endSequence();
  target_->endDocument();
}

CategoryMasks TreeEventWriter::startObject(const ustring& property, const ustring& typeName,
                                           const ustring& id1, const ustring& id2) {
  startContained(property);
  target_->startMetadata();
  units_->writeEntry(entryNames().type, nameOf(typeName));
  if (!id1.empty() || !id2.empty()) writeIdentity(id1, id2);
  target_->endMetadata();
  target_->startStruct();
  pushContainerElementInfo(property, typeName);
  levels_.emplace_back();
  return {0xFFFFFFFF};  // all properties in one pass, in meta model order
}

void TreeEventWriter::endObject() { endContained(); }

void TreeEventWriter::startContainer(const ustring& property, const ustring& typeName) {
  startContained(property);
  target_->startStruct();
  pushContainerElementInfo(property, typeName);
  levels_.emplace_back();
}

void TreeEventWriter::endContainer() { endContained(); }

void TreeEventWriter::emptyContainer(const ustring& property, const ustring&) {
  startContained(property);
  target_->startStruct();
  target_->endStruct();
}

void TreeEventWriter::startContained(const ustring& property) {
  if (levels_.empty() || levels_.back().property == &property) return;
  startEntry(property);
  levels_.back() = {&property, findProperty(property)->isMany()};
  if (levels_.back().sequence) target_->startSequence();
}

void TreeEventWriter::endContained() {
  endOpenEntry();
  levels_.pop_back();
  popContainerElementInfo();
  target_->endStruct();
}

void TreeEventWriter::endOpenEntry() {
  const Level level = levels_.back();
  if (level.property == nullptr) return;
  levels_.back() = {};
  if (level.sequence) target_->endSequence();
  target_->endNamedEntry();
}

void TreeEventWriter::startEntry(const ustring& property) {
  endOpenEntry();
  target_->startNamedEntry(nameOf(property));
}

void TreeEventWriter::startCollection(const ustring& property) {
  startEntry(property);
  target_->startSequence();
}

void TreeEventWriter::endCollection() {
  target_->endSequence();
  target_->endNamedEntry();
}

void TreeEventWriter::textValue(const ustring& property, const ustring& text) {
  endOpenEntry();
  writeEntry(nameOf(property), [&]() -> const Primitive& {
    convert(text, text_);
    return text_;
  });
}

void TreeEventWriter::absentValue(const ustring& property) {
  endOpenEntry();
  units_->writeEntry(nameOf(property), Primitive(nullptr));
}

void TreeEventWriter::startStructuredProperty(const ustring& property) { startCollection(property); }

void TreeEventWriter::textElement(const ustring&, const ustring& text) {
  if (!valueType_) writeText(text);  // there it only counts the value that follows
}

void TreeEventWriter::endStructuredProperty() { endCollection(); }

void TreeEventWriter::primitiveValue(const ustring& property, const Value& value) {
  endOpenEntry();
  writeEntry(nameOf(property), [&] { return asPrimitive(findProperty(property)->getType(), value); });
}

void TreeEventWriter::startStructuredElement(const ustring& property) {
  startCollection(property);
  valueType_ = findProperty(property)->getType();
}

void TreeEventWriter::primitiveElement(const ustring&, const Value& value) {
  target_->writePrimitive(asPrimitive(valueType_, value));
}

void TreeEventWriter::endStructuredElement() {
  valueType_ = {};
  endCollection();
}

void TreeEventWriter::referenceValue(const ustring& property, const ustring& targetType, const ustring& id1,
                                     const ustring& id2) {
  startEntry(property);
  writeReference(targetType, nullptr, id1, id2);
  target_->endNamedEntry();
}

void TreeEventWriter::referenceValueLong(const ustring& property, const ustring& targetType,
                                         const ustring& qualifier, const ustring& id1, const ustring& id2) {
  startEntry(property);
  writeReference(targetType, &qualifier, id1, id2);
  target_->endNamedEntry();
}

void TreeEventWriter::startStructuredEntry(const ustring& property) { startCollection(property); }

void TreeEventWriter::referenceElement(const ustring&, const ustring& targetType, const ustring& id1,
                                       const ustring& id2) {
  writeReference(targetType, nullptr, id1, id2);
}

void TreeEventWriter::referenceElementLong(const ustring&, const ustring& targetType,
                                           const ustring& qualifier, const ustring& id1, const ustring& id2) {
  writeReference(targetType, &qualifier, id1, id2);
}

void TreeEventWriter::endStructuredEntry() { endCollection(); }

void TreeEventWriter::writeText(const ustring& text) {
  convert(text, text_);
  target_->writePrimitive(text_);
}

/// A value that cannot be made leaves the target with the events up to it.
template <class MakeValue>
void TreeEventWriter::writeEntry(const Primitive& name, const MakeValue& makeValue) {
  const auto made = [&]() -> decltype(makeValue()) {
    try {
      return makeValue();
    } catch (...) {
      target_->startNamedEntry(name);
      throw;
    }
  };
  units_->writeEntry(name, made());
}

const Primitive& TreeEventWriter::convertType(const ustring& typeName) {
  if (typeName == type_) return typeText_;
  type_.clear();
  convert(typeName, typeText_);
  type_ = typeName;
  return typeText_;
}

void TreeEventWriter::writeIdentity(const ustring& id1, const ustring& id2) {
  if (toUtf8_.convert(id1, std::get<std::string>(text_)) &&
      toUtf8_.convert(id2, std::get<std::string>(second_)))
    return units_->writePairEntry(entryNames().id, text_, second_);
  // One of them is malformed: this says so, after the events up to it.
  target_->startNamedEntry(entryNames().id);
  target_->startSequence();
  writeText(id1);
  writeText(id2);
  endCollection();
}

void TreeEventWriter::writeReference(const ustring& targetType, const ustring* qualifier, const ustring& id1,
                                     const ustring& id2) {
  target_->startStruct();
  writeEntry(entryNames().type, [&]() -> const Primitive& { return convertType(targetType); });
  writeIdentity(id1, id2);
  if (qualifier != nullptr) {
    target_->startNamedEntry(entryNames().qualifier);
    writeText(*qualifier);
    target_->endNamedEntry();
  }
  target_->endStruct();
}

// The value of an optional enumeration comes as an Integer: only the property tells what it means.
Primitive TreeEventWriter::asPrimitive(meta::Type type, const Value& value) const {
  if (zero::internal::isEnumType(type)) {
    const std::uint64_t number = zero::internal::fromValue(StandardType::integer, value);
    return asLiteralName(meta::Enum(type), static_cast<std::int64_t>(number));
  }
  const StandardType standard = meta::PrimitiveType(type)->getStandardType();
  return asNumber(standard, zero::internal::fromValue(standard, value));
}

const Primitive& TreeEventWriter::nameOf(const ustring& name) {
  const auto [it, added] = names_.try_emplace(&name);
  if (added) {
    it->second = std::string();
    convert(name, it->second);
  }
  return it->second;
}

void TreeEventWriter::convert(const ustring& text, Primitive& into) const {
  if (!toUtf8_.convert(text, std::get<std::string>(into)))
    throw SerializeError("a text of the model is not well-formed UTF-16");
}

}  // namespace kr::zero::io::internal
