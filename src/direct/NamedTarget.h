/// @file
/// Internal: hands what a document holds to a ParseProcessor by its named operations.
#pragma once

#include <boost/optional.hpp>
#include <string_view>

#include "direct/Cursor.h"
#include "direct/KnownTypes.h"
#include "kr/zero/io/ParseProcessor.h"
#include "values/PrimitiveDecoding.h"
#include "values/TypeCode.h"
#include "values/ValueBytes.h"

namespace kr::zero::io {

/// The processor decides what a property is. See DocumentReader.
class NamedTarget {
 public:
  explicit NamedTarget(ParseProcessor& processor) : processor_(processor) {}

  Content announce(const KnownProperty& property) {
    const ustring& name = property.record->getName();
    const PropertyCategory category = processor_.getPropertyCategory(name);
    if (!category.isA(PropertyCategory::PrimitiveAny())) return contentOf(category);
    type_ = processor_.getPropertyType(name);
    optional_ = processor_.isPropertyOptional(name);
    return category.isA(PropertyCategory::PrimitiveCollection()) ? Content::items : Content::otherText;
  }
  meta::Type getType(const KnownProperty& property) {
    return processor_.getPropertyType(property.record->getName());
  }
  bool isOptional(const KnownProperty&) const noexcept { return optional_; }

  template <Content>
  void readValue(Cursor& cursor, const KnownProperty& property) {
    const ustring& name = property.record->getName();
    ByteReader& reader = cursor.sync();
    const values::TypeCode code = values::typeCodeOf(type_);
    if (code == values::TypeCode::boolean) {
      const bool isTrue = reader.readByte() == values::kTrueByte;
      processor_.setVerbatimValue(name, Value(ValueMeta(type_, ValueFlags::single), isTrue));
    } else if (!values::withFixedWidthRow(values::standardTypeOf(code), [&]<class Row>(Row) {
                 values::decodeAndSetPrimitive<Row>(reader, name, type_);
               })) {
      reader.readUtf16(text_);
      processor_.setValue(name, text_);
    }
    cursor.reload();
  }
  void startItems(const KnownProperty&) {}
  std::uint64_t readItemCount(ByteReader& reader, const KnownProperty&) { return reader.readCount(); }
  void readItems(ByteReader& reader, const KnownProperty& property) {
    Cursor cursor(reader);
    for (std::uint64_t left = cursor.readCount(); left != 0; --left)
      readValue<Content::otherText>(cursor, property);
    cursor.sync();
  }
  void setEmpty(const KnownProperty& property) { processor_.setEmptyValue(property.record->getName()); }

  void readIdentity(Cursor& cursor) {
    ByteReader& reader = cursor.sync();
    reader.readUtf16(id1_);
    reader.readUtf16(id2_);
    cursor.reload();
  }
  /// Without an identity there are two empty texts.
  void clearIdentity() {
    id1_.clear();
    id2_.clear();
  }
  /// @param property null at the top.
  /// @param[in,out] type what the name is known to mean; empty the first time.
  bool push(const KnownProperty* property, const ustring& typeName, std::string_view utf8,
            meta::StructuredType& type) {
    static_cast<void>(property), static_cast<void>(utf8), static_cast<void>(type);
    return processor_.push(typeName, id1_, id2_);
  }
  void pop(const ustring& name) { processor_.pop(name); }

  /// Everything is told as it comes.
  void handOver() {}
  /// @param known the target's type where a name of its elements is, else null.
  void startReference(Cursor& cursor, std::string_view utf8, KnownType* known) {
    targetType_ = known != nullptr ? &known->getName() : &otherType_;
    if (known == nullptr) cursor.sync().toUtf16(utf8, otherType_);
    qualifier_ = boost::none;
  }
  void readQualifier(Cursor& cursor) {
    cursor.sync().readUtf16(*(qualifier_ = ustring()));
    cursor.reload();
  }
  void addReference(const KnownProperty& property) {
    processor_.addDeferredReference(*targetType_, property.record->getName(), id1_, id2_, qualifier_);
  }

 private:
  ParseProcessor& processor_;
  // Of the property announced last, where that is a primitive.
  meta::Type type_;
  bool optional_ = false;
  // Used again and again.
  ustring text_;
  ustring id1_;
  ustring id2_;
  const ustring* targetType_ = nullptr;
  ustring otherType_;
  boost::optional<ustring> qualifier_;
};

}  // namespace kr::zero::io
