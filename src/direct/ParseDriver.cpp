#include "direct/ParseDriver.h"

#include <stdexcept>

#include "direct/DirectFormat.h"
#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "values/PrimitiveCodec.h"
#include "values/StandardTypeChecks.h"

namespace kr::zero::io {

using meta::Class;
using meta::StructuredType;

namespace {

const fl::i18n::codecvt_string_to_ustring& utf8Converter() {
  static const fl::i18n::codecvt_string_to_ustring converter("UTF8", true);
  return converter;
}

ValueReader chooseReader(meta::Type type) {
  if (kr::zero::internal::isEnumType(type)) return ValueReader::enumeration;
  for (const StandardTypeRow* row : {&rows::string, &rows::stdString, &rows::uuid, &rows::dateTime})
    if (isStandardType(type, *row)) return ValueReader::text;
  const std::pair<const StandardTypeRow*, ValueReader> fixed[] = {
      {&rows::boolean, ValueReader::boolean},       {&rows::integer8, ValueReader::integer8},
      {&rows::integer16, ValueReader::integer16},   {&rows::integer, ValueReader::integer},
      {&rows::integer64, ValueReader::integer64},   {&rows::uinteger8, ValueReader::uinteger8},
      {&rows::uinteger16, ValueReader::uinteger16}, {&rows::unlimitedNatural, ValueReader::unlimitedNatural},
      {&rows::uinteger64, ValueReader::uinteger64}, {&rows::real, ValueReader::real}};
  for (const auto& [row, reader] : fixed)
    if (isStandardType(type, *row)) return reader;
  return ValueReader::text;
}

}  // namespace

BinaryParseContext::BinaryParseContext(ParseProcessor& processor, const log::Span& span)
    : processor_(processor), span_(span) {}

bool BinaryParseContext::parseBinary(const std::vector<std::uint8_t>& bytes) {
  begin_ = position_ = bytes.data();
  end_ = begin_ + bytes.size();
  typeNames_.clear();
  elementNames_.clear();
  if (!readHeader()) return false;
  while (position_ != end_)
    if (!readItem()) return false;
  processor_.processDeferred();
  return true;
}

bool BinaryParseContext::readHeader() {
  if (readNumber() != direct::kVersion) failCorrupt("Invalid version number");
  processor_.setVersion(u"1");
  if (!isLittleEndianMarker(readText())) failCorrupt("Invalid endian flag");
  std::vector<ustring> uris;
  for (std::uint64_t left = readCount(); left != 0; --left) readUtf16(uris.emplace_back());
  return processor_.getCustomizer().setPackageUris(uris);
}

bool BinaryParseContext::readItem() {
  const std::uint64_t token = readNumber();
  if (token == direct::kStartToken) return pushElement(ElementKind::root, nullptr);
  if (token == direct::kEndToken) {
    popElement();
    return true;
  }
  return readProperty(findProperty(token));
}

bool BinaryParseContext::readProperty(PropertyEntry& property) {
  const ustring& name = *property.name;
  const PropertyCategory category = processor_.getPropertyCategory(name);
  if (category.isA(PropertyCategory::PrimitiveAny())) {
    readPrimitiveProperty(property, category);
  } else if (category.isA(PropertyCategory::DatatypeAny())) {
    return pushElement(ElementKind::datatype, &name);
  } else if (category.isA(PropertyCategory::CompositionAny())) {
    return pushElement(ElementKind::composition, &name);
  } else if (category.isA(PropertyCategory::AssociationAny())) {
    readReferences(name, category);
  }
  return true;  // a property of any other category has no bytes here
}

void BinaryParseContext::readPrimitiveProperty(PropertyEntry& property, PropertyCategory category) {
  const ustring& name = *property.name;
  const meta::Type type = processor_.getPropertyType(name);
  const bool optional = processor_.isPropertyOptional(name);
  if (category.isA(PropertyCategory::PrimitiveCollection())) {
    for (std::uint64_t left = readCount(); left != 0; --left) readPrimitiveValue(property, type);
    return;
  }
  if (optional && readByte() == kAbsentMark)
    processor_.setEmptyValue(name);
  else
    readPrimitiveValue(property, type);
}

void BinaryParseContext::readPrimitiveValue(PropertyEntry& property, meta::Type type) {
  if (property.type != type.get()) {
    property.reader = chooseReader(type);
    property.type = type.get();
  }
  const ustring& name = *property.name;
  const PrimitiveReadState state{processor_, position_, end_};
  switch (property.reader) {
    case ValueReader::boolean:
      processor_.setVerbatimValue(name, Value(ValueMeta(type, ValueFlags::single), readByte() == 1));
      return;
    case ValueReader::integer8:
      return decodeAndSetPrimitive<std::int8_t>(state, name, type, rows::integer8);
    case ValueReader::integer16:
      return decodeAndSetPrimitive<std::int16_t>(state, name, type, rows::integer16);
    case ValueReader::enumeration:
    case ValueReader::integer:
      return decodeAndSetPrimitive<std::int32_t>(state, name, type, rows::integer);
    case ValueReader::integer64:
      return decodeAndSetPrimitive<std::int64_t>(state, name, type, rows::integer64);
    case ValueReader::uinteger8:
      return decodeAndSetPrimitive<std::uint8_t>(state, name, type, rows::uinteger8);
    case ValueReader::uinteger16:
      return decodeAndSetPrimitive<std::uint16_t>(state, name, type, rows::uinteger16);
    case ValueReader::unlimitedNatural:
      return decodeAndSetPrimitive<std::uint32_t>(state, name, type, rows::unlimitedNatural);
    case ValueReader::uinteger64:
      return decodeAndSetPrimitive<std::uint64_t>(state, name, type, rows::uinteger64);
    case ValueReader::real:
      return decodeAndSetPrimitive<double>(state, name, type, rows::real);
    default:
      readUtf16(text_);
      processor_.setValue(name, text_);
  }
}

bool BinaryParseContext::pushElement(ElementKind kind, const ustring* propertyName) {
  TypeEntry* type = nullptr;
  id1_.clear();
  id2_.clear();
  if (kind == ElementKind::datatype) {
    type = &findType(processor_.getPropertyType(*propertyName)->getQualifiedNameUtf8());
  } else {
    readNumber();  // reserved
    type = &findType(readText());
    if (readByte() == direct::kWithIdentity) {
      readUtf16(id1_);
      readUtf16(id2_);
    }
  }
  if (!processor_.push(type->getName(), id1_, id2_)) return false;
  registerPropertyNames(*type);
  typeNames_.push_back(type);
  elementNames_.push_back(propertyName != nullptr ? propertyName : &type->getName());
  return true;
}

void BinaryParseContext::popElement() {
  if (elementNames_.empty()) failCorrupt("End of an element with no element open");
  processor_.pop(*elementNames_.back());
  typeNames_.pop_back();
  elementNames_.pop_back();
}

void BinaryParseContext::readReferences(const ustring& name, PropertyCategory category) {
  const bool many = category.isA(PropertyCategory::AssociationCollection());
  for (std::uint64_t left = many ? readCount() : 1; left != 0; --left) {
    readNumber();  // reserved
    const TypeEntry& targetType = findType(readText());
    qualifier_ = boost::none;
    if (readByte() == direct::kWithQualifier) readUtf16(*(qualifier_ = ustring()));
    readUtf16(id1_);
    readUtf16(id2_);
    processor_.addDeferredReference(targetType.getName(), name, id1_, id2_, qualifier_);
  }
}

BinaryParseContext::PropertyEntry& BinaryParseContext::findProperty(std::uint64_t identifier) {
  if (!typeNames_.empty()) {
    std::vector<PropertyEntry>& properties = typeNames_.back()->properties;
    if (identifier < properties.size() && properties[identifier].name != nullptr)
      return properties[identifier];
  }
  throw std::out_of_range("invalid unordered_map<K, T> key");
}

void BinaryParseContext::registerPropertyNames(TypeEntry& entry) {
  if (entry.isRegistered) return;
  entry.isRegistered = true;
  const meta::Type type = processor_.getCustomizer().getMetaClass(entry.name);
  const StructuredType structured = type ? StructuredType(type) : StructuredType();
  if (!structured) return;
  if (type->getQualifiedName() == entry.name) entry.stable = &type->getQualifiedName();
  const bool isClass = type->isKindOf(Class::metaClass());
  const auto& properties = isClass ? structured->getAllProperties() : structured->getOwnedAttributes();
  for (const meta::Property property : properties) {
    const std::uint32_t identifier = property->getIdentifier();
    if (identifier == 0) continue;
    if (identifier >= entry.properties.size()) entry.properties.resize(std::size_t{identifier} + 1);
    entry.properties[identifier].name = &property->getName();
  }
}

// Neighbouring elements are often of one type: the bytes of the last name are compared first, and a
// name is converted once per document.
BinaryParseContext::TypeEntry& BinaryParseContext::findType(std::string_view utf8) {
  if (lastType_ != nullptr && lastType_->utf8 == utf8) return *lastType_;
  const auto it = typeByName_.find(utf8);
  if (it != typeByName_.end()) return *(lastType_ = it->second);
  ustring name;
  if (!utf8Converter().convert(utf8, name)) failCorrupt("Text is not well-formed UTF-8");
  TypeEntry& entry = types_.emplace_back();
  entry.utf8 = utf8;
  entry.name = std::move(name);
  typeByName_.emplace(entry.utf8, &entry);
  return *(lastType_ = &entry);
}

std::uint64_t BinaryParseContext::readNumber() {
  std::uint64_t number = 0;
  for (unsigned shift = 0;; shift += direct::kGroupBits) {
    if (position_ == end_) failCorrupt("Number cut short");
    const std::uint8_t group = *position_++;
    number |= std::uint64_t{group & (direct::kMoreGroups - 1u)} << (shift % 64);
    if ((group & direct::kMoreGroups) == 0) return number;
  }
}

std::uint8_t BinaryParseContext::readByte() {
  if (position_ == end_) failCorrupt("Byte missing at the end of the input");
  return *position_++;
}

std::string_view BinaryParseContext::readText() {
  const std::uint64_t size = readNumber();
  if (size > static_cast<std::uint64_t>(end_ - position_)) failCorrupt("Text cut short");
  const std::string_view text(reinterpret_cast<const char*>(position_), static_cast<std::size_t>(size));
  position_ += size;
  return text;
}

void BinaryParseContext::readUtf16(ustring& text) {
  if (!utf8Converter().convert(readText(), text)) failCorrupt("Text is not well-formed UTF-8");
}

// Whatever is counted takes a byte at least, so a larger count is a lie.
std::uint64_t BinaryParseContext::readCount() {
  const std::uint64_t count = readNumber();
  if (count > static_cast<std::uint64_t>(end_ - position_))
    failCorrupt("Count exceeds the bytes that remain");
  return count;
}

void BinaryParseContext::failCorrupt(const std::string& detail) const {
  errors::raiseWithSpan<kr0::io::CorruptInput>(errors::corruptInput(), span_, detail);
}

}  // namespace kr::zero::io
