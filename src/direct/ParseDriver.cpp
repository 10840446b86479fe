#include "direct/ParseDriver.h"

#include <stdexcept>

#include "values/Endianness.h"
#include "values/PrimitiveDecoding.h"
#include "values/ValueBytes.h"

namespace kr::zero::io {

using values::decodeAndSetPrimitive;
using values::TypeCode;

namespace {

[[noreturn]] void failUnknownProperty() { throw std::out_of_range("invalid unordered_map<K, T> key"); }

}  // namespace

bool BinaryParseContext::parseBinary() {
  if (!readHeader()) return false;
  while (reader_.position != reader_.end)
    if (!readItem()) return false;
  processor_.processDeferred();
  return true;
}

bool BinaryParseContext::readHeader() {
  if (reader_.readNumber() != direct::kVersion) reader_.failCorrupt("Invalid version number");
  processor_.setVersion(u"1");
  if (!values::isLittleEndianMarker(reader_.readText())) reader_.failCorrupt("Invalid endian flag");
  std::vector<ustring> uris;
  for (std::uint64_t left = reader_.readCount(); left != 0; --left) reader_.readUtf16(uris.emplace_back());
  return processor_.getCustomizer().setPackageUris(uris);
}

bool BinaryParseContext::readItem() {
  const std::uint64_t token = reader_.readNumber();
  if (token == direct::kStartToken) return pushRoot();
  if (token != direct::kEndToken) return readProperty(findProperty(token));
  popElement();
  return true;
}

PropertyEntry& BinaryParseContext::findProperty(std::uint64_t identifier) {
  PropertyEntry* const property = typeNames_.empty() ? nullptr : typeNames_.back()->findProperty(identifier);
  if (property == nullptr) failUnknownProperty();
  return *property;
}

bool BinaryParseContext::readProperty(PropertyEntry& property) {
  const PropertyCategory category = processor_.getPropertyCategory(*property.name);
  if (category.isA(PropertyCategory::PrimitiveAny())) {
    readPrimitiveProperty(property, category);
  } else if (category.isA(PropertyCategory::DatatypeAny())) {
    return pushDatatype(property);
  } else if (category.isA(PropertyCategory::CompositionAny())) {
    return pushComposition(property);
  } else if (category.isA(PropertyCategory::AssociationAny())) {
    readReferences(property, category);
  }
  return true;  // a property of any other category has no bytes here
}

void BinaryParseContext::readPrimitiveProperty(PropertyEntry& property, PropertyCategory category) {
  const ustring& name = *property.name;
  const meta::Type type = processor_.getPropertyType(name);
  const bool optional = processor_.isPropertyOptional(name);
  if (category.isA(PropertyCategory::PrimitiveCollection())) {
    for (std::uint64_t left = reader_.readCount(); left != 0; --left) readPrimitiveValue(property, type);
  } else if (optional && reader_.readByte() == values::absentMark) {
    processor_.setEmptyValue(name);
  } else {
    readPrimitiveValue(property, type);
  }
}

void BinaryParseContext::readPrimitiveValue(PropertyEntry& property, meta::Type type) {
  if (property.type != type.get()) {
    property.code = values::typeCodeOf(type);
    property.type = type.get();
  }
  const ustring& name = *property.name;
  switch (property.code) {
    case TypeCode::boolean: {
      const bool isTrue = reader_.readByte() == values::trueByte;
      return processor_.setVerbatimValue(name, Value(ValueMeta(type, ValueFlags::single), isTrue));
    }
    case TypeCode::integer8:
      return decodeAndSetPrimitive<values::Integer8>(reader_, name, type);
    case TypeCode::integer16:
      return decodeAndSetPrimitive<values::Integer16>(reader_, name, type);
    case TypeCode::integer:
    case TypeCode::enumeration:
      return decodeAndSetPrimitive<values::Integer>(reader_, name, type);
    case TypeCode::integer64:
      return decodeAndSetPrimitive<values::Integer64>(reader_, name, type);
    case TypeCode::uinteger8:
      return decodeAndSetPrimitive<values::UInteger8>(reader_, name, type);
    case TypeCode::uinteger16:
      return decodeAndSetPrimitive<values::UInteger16>(reader_, name, type);
    case TypeCode::unlimitedNatural:
      return decodeAndSetPrimitive<values::UnlimitedNatural>(reader_, name, type);
    case TypeCode::uinteger64:
      return decodeAndSetPrimitive<values::UInteger64>(reader_, name, type);
    case TypeCode::real:
      return decodeAndSetPrimitive<values::Real>(reader_, name, type);
    case TypeCode::structured:
    case TypeCode::standardText:
    case TypeCode::userDefined:
      return processor_.setValue(name, readTextValue());
  }
}

const ustring& BinaryParseContext::readTextValue() {
  const std::string_view utf8 = reader_.readText();
  ustring& text = utf8.size() < shortTexts_.size() ? shortTexts_[utf8.size()] : longText_;
  reader_.toUtf16(utf8, text);
  return text;
}

void BinaryParseContext::readReferences(PropertyEntry& property, PropertyCategory category) {
  const bool many = category.isA(PropertyCategory::AssociationCollection());
  for (std::uint64_t left = many ? reader_.readCount() : 1; left != 0; --left) {
    reader_.readNumber();  // says nothing
    const ustring& targetType = readTargetType(property);
    qualifier_ = boost::none;
    if (reader_.readByte() == direct::kWithQualifier) reader_.readUtf16(*(qualifier_ = ustring()));
    reader_.readUtf16(id1_);
    reader_.readUtf16(id2_);
    processor_.addDeferredReference(targetType, *property.name, id1_, id2_, qualifier_);
  }
}

// References to one type tend to follow each other, so that names are rarely looked up or converted.
const ustring& BinaryParseContext::readTargetType(PropertyEntry& property) {
  const std::string_view utf8 = reader_.readText();
  const TypeTable* const known = types_.find(utf8, property.target);
  if (known != nullptr) return known->getName();
  if (lastTargetType_.data() == nullptr || utf8 != lastTargetType_) {
    reader_.toUtf16(utf8, targetType_);
    lastTargetType_ = utf8;
  }
  return targetType_;
}

bool BinaryParseContext::pushRoot() { return pushElement(readElementHeader(lastRoot_), nullptr, lastRoot_); }

bool BinaryParseContext::pushComposition(PropertyEntry& property) {
  return pushElement(readElementHeader(property.target), property.name, property.target);
}

bool BinaryParseContext::pushDatatype(PropertyEntry& property) {
  const meta::Type type = processor_.getPropertyType(*property.name);
  const std::string_view utf8 = type->getQualifiedNameUtf8();
  id1_.clear();
  id2_.clear();
  return pushElement({utf8, &type->getQualifiedName(), types_.find(utf8, property.target)}, property.name,
                     property.target);
}

BinaryParseContext::ElementType BinaryParseContext::readElementHeader(TypeTable*& last) {
  reader_.readNumber();  // says nothing
  const std::string_view utf8 = reader_.readText();
  TypeTable* const table = types_.find(utf8, last);
  if (table == nullptr) reader_.toUtf16(utf8, typeName_);
  if (reader_.readByte() == direct::kWithIdentity) {
    reader_.readUtf16(id1_);
    reader_.readUtf16(id2_);
  } else {
    id1_.clear();
    id2_.clear();
  }
  return {utf8, table != nullptr ? &table->getName() : &typeName_, table};
}

/// @param propertyName the property that holds the element; null for a root, which closes with the name
///   of its type.
/// @param last where the type is remembered for the next element at the same place.
bool BinaryParseContext::pushElement(const ElementType& type, const ustring* propertyName, TypeTable*& last) {
  if (!processor_.push(*type.name, id1_, id2_)) return false;
  TypeTable* table = type.table;
  if (table == nullptr) {
    const meta::Type described = processor_.getCustomizer().getMetaClass(*type.name);
    table = last = &types_.add(type.utf8, *type.name, described);
  }
  typeNames_.push_back(table);
  elementNames_.push_back(propertyName != nullptr ? propertyName : &table->getName());
  return true;
}

void BinaryParseContext::popElement() {
  if (elementNames_.empty()) reader_.failCorrupt("End mark without an open element");
  processor_.pop(*elementNames_.back());
  typeNames_.pop_back();
  elementNames_.pop_back();
}

}  // namespace kr::zero::io
