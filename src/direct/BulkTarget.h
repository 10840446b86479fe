/// @file
/// Internal: hands what a document holds to a processor with the meta model's records.
#pragma once

#include <array>
#include <bit>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "direct/Cursor.h"
#include "direct/KnownTypes.h"
#include "kr/zero/io/BulkParseProcessor.h"
#include "values/Endianness.h"
#include "values/PrimitiveDecoding.h"
#include "values/StandardTypeRows.h"
#include "values/ValueBytes.h"

namespace kr::zero::io {

/// The record says what a property is. See DocumentReader.
class BulkTarget {
 public:
  explicit BulkTarget(BulkParseProcessor& processor) : processor_(processor) {}

  PropertyCategory announce(const FoundProperty& property) {
    const PropertyCategory category = categoryOf(*property.record);
    const bool holdsItems = category.isA(PropertyCategory::PrimitiveCollection()) ||
                            category.isA(PropertyCategory::AssociationCollection());
    if (holdsItems) processor_.announceCollection(placeOf(property));
    return category;
  }
  meta::Type getType(const FoundProperty& property) { return property.record->getType(); }
  bool isOptional(const FoundProperty& property) { return property.record->isOptional(); }

  [[gnu::always_inline]] void readValue(Cursor& cursor, const FoundProperty& property, meta::Type) {
    if (const meta::StandardTypeInfo& info = property.record->getNumberInfo(); info.isNumber())
      setNumber(cursor, property, readNumber(cursor, info));
    else
      setText(cursor, property);
  }

  bool readItems(ByteReader& reader, const FoundProperty& property, meta::Type type) {
    Cursor cursor(reader);
    const std::uint64_t count = cursor.readCount();
    processor_.expectItems(placeOf(property), count);
    if (property.record->getKind() == meta::PropertyKind::number)
      readNumbers(cursor, property, count);
    else
      for (std::uint64_t left = count; left != 0; --left) readValue(cursor, property, type);
    cursor.sync();
    return true;
  }
  void setEmpty(const FoundProperty& property) { processor_.setEmpty(placeOf(property)); }

  [[gnu::always_inline]] void readIdentity(Cursor& cursor) {
    id1_ = cursor.readWellFormed();
    id2_ = cursor.readWellFormed();
  }
  void clearIdentity() { id1_ = id2_ = {}; }
  bool push(const FoundProperty* property, const ustring&, std::string_view utf8,
            meta::StructuredType& type) {
    if (!type) type = processor_.findType(utf8);
    if (!type) return false;
    return property == nullptr ? processor_.pushRoot(type, id1_, id2_)
                               : processor_.pushChild(placeOf(*property), type, id1_, id2_);
  }
  void pop(const ustring&) { processor_.pop(); }

  void expectReferences(const FoundProperty& property, std::uint64_t count) {
    processor_.expectItems(placeOf(property), count);
  }
  void startReference(Cursor& cursor, std::string_view utf8, KnownType* known) {
    known_ = known;
    if (known == nullptr) cursor.sync().requireWellFormed(utf8);
    targetType_ = utf8;
    hasQualifier_ = false;
  }
  void readQualifier(Cursor& cursor) {
    qualifier_ = cursor.readWellFormed();
    hasQualifier_ = true;
  }
  void addReference(const FoundProperty& property) {
    processor_.addReference(placeOf(property), numberTargetType(), id1_, id2_,
                            hasQualifier_ ? &qualifier_ : nullptr);
  }

 private:
  static PropertyPlace placeOf(const FoundProperty& property) { return {property.slot, property.record}; }

  /// A number of any width by one load, where that is within the input.
  [[gnu::always_inline]] static std::uint64_t readNumber(Cursor& cursor, const meta::StandardTypeInfo& info) {
    if (!values::hostIsLittleEndian || cursor.getRemaining() <= sizeof(std::uint64_t))
      return readByRow(cursor, info.type);
    std::uint64_t number = 0;
    std::memcpy(&number, cursor.position(), sizeof number);
    cursor.skip(info.width);
    const int unused = 64 - 8 * info.width;
    number <<= unused;
    if (info.kind == meta::StandardKind::signedInteger)
      return static_cast<std::uint64_t>(static_cast<std::int64_t>(number) >> unused);
    number >>= unused;
    return info.kind == meta::StandardKind::boolean ? std::uint64_t{number == values::trueByte} : number;
  }

  [[gnu::always_inline]] static std::uint64_t readByRow(Cursor& cursor, meta::StandardType type) {
    const std::uint64_t number = readByRow(cursor.sync(), type);
    cursor.reload();
    return number;
  }
  [[gnu::noinline]] static std::uint64_t readByRow(ByteReader& reader, meta::StandardType type) {
    std::uint64_t number = 0;
    values::withFixedWidthRow(type, [&]<class Row>(Row) { number = readRow<Row>(reader); });
    return number;
  }

  template <class Row>
  static std::uint64_t readRow(ByteReader& reader) {
    using Number = typename Row::Number;
    if constexpr (std::is_same_v<Row, values::Boolean>) {
      return reader.readByte() == values::trueByte ? 1 : 0;
    } else {
      const auto number = values::decodePrimitiveFromBinaryInLittleEndian<Number>(reader.position, reader.end,
                                                                                  sizeof(Number));
      if constexpr (std::is_floating_point_v<Number>)
        return std::bit_cast<std::uint64_t>(number);
      else
        return static_cast<std::uint64_t>(static_cast<std::int64_t>(number));
    }
  }

  [[gnu::always_inline]] void setNumber(Cursor& cursor, const FoundProperty& property, std::uint64_t number) {
    cursor.sync();
    processor_.setNumber(placeOf(property), number);
  }

  [[gnu::always_inline]] void setText(Cursor& cursor, const FoundProperty& property) {
    const std::string_view text = cursor.readText();
    cursor.sync();
    if (!processor_.setText(placeOf(property), text)) cursor.sync().requireWellFormed(text);
  }

  [[gnu::always_inline]] void readNumbers(Cursor& cursor, const FoundProperty& property,
                                          std::uint64_t count) {
    const meta::StandardTypeInfo& info = property.record->getNumberInfo();
    std::array<std::uint64_t, 32> numbers;
    while (count != 0) {
      std::size_t read = 0;
      // What was read before an error counts: the last ones of the input come one by one.
      if (values::hostIsLittleEndian)
        while (read != numbers.size() && read != count && cursor.getRemaining() > sizeof(std::uint64_t))
          numbers[read++] = readNumber(cursor, info);
      if (read == 0) numbers[read++] = readByRow(cursor, info.type);
      cursor.sync();
      processor_.addNumbers(placeOf(property), {numbers.data(), read});
      count -= read;
    }
  }

  std::uint32_t numberTargetType() {
    if (known_ == nullptr) return processor_.numberTypeName(targetType_);
    if (known_->number == KnownType::kNoNumber) known_->number = processor_.numberTypeName(targetType_);
    return known_->number;
  }

  BulkParseProcessor& processor_;
  // All of them lie in the document.
  std::string_view id1_;
  std::string_view id2_;
  KnownType* known_ = nullptr;
  std::string_view targetType_;
  std::string_view qualifier_;
  bool hasQualifier_ = false;
};

}  // namespace kr::zero::io
