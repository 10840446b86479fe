#include "io/TreeEventWriter.h"

#include <bit>
#include <string>

#include "io/TreeEventNames.h"
#include "kr/zero/io/Serializer.h"
#include "model/Numbers.h"

namespace kr::zero::io::internal {

using meta::StandardType;
using Primitive = TreeEventWriter::Primitive;

namespace {

// Names that every document uses, made once.
struct EntryNames {
  const Primitive version{std::string(kVersionEntry)};
  const Primitive packages{std::string(kPackagesEntry)};
  const Primitive type{std::string(kTypeEntry)};
  const Primitive id{std::string(kIdEntry)};
  const Primitive qualifier{std::string(kQualifierEntry)};
};

const EntryNames& entryNames() {
  static const EntryNames names;
  return names;
}

bool isUnsigned(StandardType type) {
  return type == StandardType::uinteger8 || type == StandardType::uinteger16 ||
         type == StandardType::unlimitedNatural || type == StandardType::uinteger64;
}

Primitive asPrimitive(StandardType type, const Value& value) {
  const std::uint64_t payload = zero::internal::fromValue(type, value);
  if (type == StandardType::boolean) return payload != 0;
  if (type == StandardType::real) return std::bit_cast<double>(payload);
  if (isUnsigned(type)) return payload;
  return static_cast<std::int64_t>(payload);
}

Primitive asLiteralName(meta::Enum type, const Value& value) {
  const auto number = static_cast<std::int64_t>(zero::internal::fromValue(StandardType::integer, value));
  const meta::EnumLiteral* literal = type->findByNumber(number);
  if (literal == nullptr)
    throw SerializeError("enumeration " + type->getQualifiedNameUtf8() + " has no literal with the number " +
                         std::to_string(number));
  return literal->name;
}

}  // namespace

void TreeEventWriter::postprocess(const SerializationOutput&) {}

void TreeEventWriter::startDocument() {
  levels_.clear();
  names_.clear();  // addresses of another registry's names mean nothing here
  inValues_ = false;
  target_->startDocument(Primitive(std::string(kTreeDocumentName)));
  target_->startMetadata();
  target_->startNamedEntry(entryNames().version);
  target_->writePrimitive(Primitive(kTreeDocumentVersion));
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
  target_->startNamedEntry(entryNames().type);
  target_->writePrimitive(nameOf(typeName));
  target_->endNamedEntry();
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
  startEntry(property);
  writeText(text);
  target_->endNamedEntry();
}

void TreeEventWriter::absentValue(const ustring& property) {
  startEntry(property);
  target_->writePrimitive(Primitive(nullptr));
  target_->endNamedEntry();
}

void TreeEventWriter::startStructuredProperty(const ustring& property) { startCollection(property); }

void TreeEventWriter::textElement(const ustring&, const ustring& text) {
  if (!inValues_) writeText(text);  // there it only counts the value that follows
}

void TreeEventWriter::endStructuredProperty() { endCollection(); }

void TreeEventWriter::primitiveValue(const ustring& property, const Value& value) {
  startEntry(property);
  writeValue(property, value);
  target_->endNamedEntry();
}

void TreeEventWriter::startStructuredElement(const ustring& property) {
  startCollection(property);
  inValues_ = true;
}

void TreeEventWriter::primitiveElement(const ustring& property, const Value& value) {
  writeValue(property, value);
}

void TreeEventWriter::endStructuredElement() {
  inValues_ = false;
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

void TreeEventWriter::writeIdentity(const ustring& id1, const ustring& id2) {
  target_->startNamedEntry(entryNames().id);
  target_->startSequence();
  writeText(id1);
  writeText(id2);
  endCollection();
}

void TreeEventWriter::writeReference(const ustring& targetType, const ustring* qualifier, const ustring& id1,
                                     const ustring& id2) {
  target_->startStruct();
  target_->startNamedEntry(entryNames().type);
  writeText(targetType);
  target_->endNamedEntry();
  writeIdentity(id1, id2);
  if (qualifier != nullptr) {
    target_->startNamedEntry(entryNames().qualifier);
    writeText(*qualifier);
    target_->endNamedEntry();
  }
  target_->endStruct();
}

void TreeEventWriter::writeValue(const ustring& property, const Value& value) {
  // The value of an optional enumeration comes as an Integer: only the property tells what it means.
  const meta::Type type = findProperty(property)->getType();
  if (zero::internal::isEnumType(type))
    target_->writePrimitive(asLiteralName(meta::Enum(type), value));
  else
    target_->writePrimitive(asPrimitive(meta::PrimitiveType(type)->getStandardType(), value));
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
