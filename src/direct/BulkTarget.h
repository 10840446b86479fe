/// @file
/// Internal: hands what a document holds to a processor with the meta model's records.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <utility>

#include "direct/CellRun.h"
#include "direct/Cursor.h"
#include "direct/KnownTypes.h"
#include "kr/zero/DateTime.h"
#include "kr/zero/io/BulkParseProcessor.h"
#include "values/Endianness.h"
#include "values/PrimitiveDecoding.h"
#include "values/StandardTypeRows.h"
#include "values/ValueBytes.h"

namespace kr::zero::io {

/// The record says what a property is. See DocumentReader.
///
/// Values go into a run, many for one call of the processor. What cannot go that way takes the processor's
/// single operations; these, and whatever fails, come behind the values that were read before.
class BulkTarget {
 public:
  explicit BulkTarget(BulkParseProcessor& processor) : processor_(processor), run_(processor) {}

  Content announce(const KnownProperty& property) const noexcept { return property.content; }
  meta::Type getType(const KnownProperty& property) const noexcept { return property.record->getType(); }
  bool isOptional(const KnownProperty& property) const noexcept { return property.optional; }

  // --- Single values

  template <Content kContent>
  [[gnu::always_inline]] void readValue(Cursor& cursor, const KnownProperty& property) {
    if constexpr (kContent == Content::boolean)
      setNumber(cursor, property, readBoolean(cursor));
    else if constexpr (kContent == Content::literal)
      readLiteral(cursor, property);
    else if constexpr (kContent == Content::number8)
      setNumber(cursor, property, readNumber<std::uint8_t>(cursor, property));
    else if constexpr (kContent == Content::number16)
      setNumber(cursor, property, readNumber<std::uint16_t>(cursor, property));
    else if constexpr (kContent == Content::number32)
      setNumber(cursor, property, readNumber<std::uint32_t>(cursor, property));
    else if constexpr (kContent == Content::number64)
      setNumber(cursor, property, readNumber<std::uint64_t>(cursor, property));
    else if constexpr (kContent == Content::text)
      readText(cursor, property, [](std::string_view) { return true; });
    else if constexpr (kContent == Content::dateTime)
      readText(cursor, property, [](std::string_view text) { return DateTime::isValid(text); });
    else
      setTextSingly(cursor, property, cursor.readText());
  }
  void setEmpty(const KnownProperty& property) {
    if (run_.isNext(property.slot)) return run_.add(property.slot, cells::kEmpty, 0);
    startSingly(property);
    processor_.setEmpty(placeOf(property));
  }

  // --- Collections of primitives and of references

  /// A collection comes, whose items are to be counted.
  void startItems(const KnownProperty& property) {
    if (run_.isNext(property.slot)) return run_.add(property.slot, cells::kEmpty, 0);
    startSingly(property);
    processor_.announceCollection(placeOf(property));
  }
  std::uint64_t readItemCount(ByteReader& reader, const KnownProperty&) {
    Cursor cursor(reader);
    const std::uint64_t count = cursor.readCount();
    cursor.sync();
    if (count != 0) run_.startItems(count);
    return count;
  }
  void readItems(ByteReader& reader, const KnownProperty& property) {
    startItems(property);
    const std::uint64_t count = readItemCount(reader, property);
    Cursor cursor(reader);
    if (property.record->getKind() == meta::PropertyKind::number)
      readNumbers(cursor, property, count);
    else
      for (std::uint64_t left = count; left != 0; --left) readItem(cursor, property);
    cursor.sync();
  }

  // --- Elements

  [[gnu::always_inline]] void readIdentity(Cursor& cursor) {
    identity_ = {};
    if (!hasQualifier_) identity_.number = readLocalNumber(cursor);
    if (identity_.number != 0) return;
    identity_.id1 = cursor.readWellFormed();
    identity_.id2 = cursor.readWellFormed();
  }
  void clearIdentity() noexcept { identity_ = {}; }
  bool push(const KnownProperty* property, const ustring&, std::string_view utf8,
            meta::StructuredType& type) {
    run_.handOver();
    if (!type) type = processor_.findType(utf8);
    if (!type) return false;
    run_.enter(property == nullptr ? nullptr : &property->slot);
    return property == nullptr ? processor_.pushRoot(type, identity_)
                               : processor_.pushChild(placeOf(*property), type, identity_);
  }
  void pop(const ustring&) {
    run_.leave();
    processor_.pop();
  }
  void handOver() { run_.handOver(); }

  // --- References

  void startReference(Cursor& cursor, std::string_view utf8, KnownType* known) {
    known_ = known;
    if (known == nullptr) cursor.sync().requireWellFormed(utf8);
    targetType_ = utf8;
  }
  void readQualifier(Cursor& cursor) {
    qualifier_ = cursor.readWellFormed();
    hasQualifier_ = true;
  }
  void addReference(const KnownProperty& property) {
    const std::uint32_t type = numberTargetType();
    const bool isQualified = std::exchange(hasQualifier_, false);
    const std::string_view* const qualifier = isQualified ? &qualifier_ : nullptr;
    const bool many = property.content == Content::references;
    if (many ? !run_.takesItems() : !run_.isNext(property.slot)) {
      startSingly(property);
      return processor_.addReference(placeOf(property), type, identity_, qualifier);
    }
    const cells::Cell cell = identity_.number != 0 ? cells::asWaiting(identity_.number, type)
                                                   : processor_.keepReference(type, identity_, qualifier);
    run_.noteWaiting();
    if (many)
      run_.addItem(property.slot, cells::kUnresolved, cell);
    else
      run_.add(property.slot, cells::kUnresolved, cell);
  }

 private:
  static PropertyPlace placeOf(const KnownProperty& property) { return {property.slot, property.record}; }

  // --- Reading

  /// A number by one load, where that is within the input.
  template <class Number>
  [[gnu::always_inline]] static std::uint64_t readNumber(Cursor& cursor, const KnownProperty& property) {
    const meta::StandardTypeInfo& info = property.record->getNumberInfo();
    // What ends with the input, where an end mark is missing, is the decoder's business.
    if (!values::kHostIsLittleEndian || cursor.getRemaining() <= sizeof(Number))
      return readByRow(cursor, info.type);
    Number number;
    std::memcpy(&number, cursor.position(), sizeof number);
    cursor.skip(sizeof number);
    const bool isSigned = info.kind == meta::StandardKind::signedInteger;
    const std::uint64_t sign = std::uint64_t{isSigned} << (8 * sizeof(Number) - 1);
    return (number ^ sign) - sign;
  }
  [[gnu::always_inline]] static std::uint64_t readBoolean(Cursor& cursor) {
    return cursor.readByte() == values::kTrueByte ? 1 : 0;
  }
  [[gnu::always_inline]] static std::uint64_t readByRow(Cursor& cursor, meta::StandardType type) {
    const std::uint64_t number = readByRow(cursor.sync(), type);
    cursor.reload();
    return number;
  }
  [[gnu::noinline]] static std::uint64_t readByRow(ByteReader& reader, meta::StandardType type) {
    std::uint64_t number = 0;
    values::withFixedWidthRow(type, [&]<class Row>(Row) {
      if constexpr (!std::is_same_v<Row, values::Boolean>) number = readRow<Row>(reader);  // else readBoolean
    });
    return number;
  }
  template <class Row>
  static std::uint64_t readRow(ByteReader& reader) {
    using Number = typename Row::Number;
    const auto number =
        values::decodePrimitiveFromBinaryInLittleEndian<Number>(reader.position, reader.end, sizeof(Number));
    if constexpr (std::is_floating_point_v<Number>)
      return std::bit_cast<std::uint64_t>(number);
    else
      return static_cast<std::uint64_t>(static_cast<std::int64_t>(number));
  }

  [[gnu::always_inline]] void readLiteral(Cursor& cursor, const KnownProperty& property) {
    const std::uint64_t number = readNumber<std::uint32_t>(cursor, property);
    if (run_.isNext(property.slot) && hasLiteral(property, number)) return run_.add(property.slot, 0, number);
    setNumberSingly(cursor, property, number);
  }
  [[gnu::always_inline]] static bool hasLiteral(const KnownProperty& property,
                                                std::uint64_t number) noexcept {
    const auto* const type = static_cast<const meta::Enum::Impl*>(property.record->getType().get());
    return type->hasLiteral(static_cast<std::int64_t>(number));
  }
  template <class Accepts>
  [[gnu::always_inline]] void readText(Cursor& cursor, const KnownProperty& property, Accepts accepts) {
    const std::string_view text = cursor.readText();
    const cells::Text* const made =
        run_.isNext(property.slot) && accepts(text) ? makeText(cursor, text) : nullptr;
    if (made == nullptr) return setTextSingly(cursor, property, text);
    run_.add(property.slot, 0, reinterpret_cast<cells::Cell>(made));
  }
  [[gnu::always_inline]] const cells::Text* makeText(const Cursor& behind, std::string_view text) {
    return run_.makeText(text, text.size() + behind.getRemaining());
  }

  void readItem(Cursor& cursor, const KnownProperty& property) {
    if (const meta::StandardTypeInfo& info = property.record->getNumberInfo(); info.isNumber()) {
      const std::uint64_t number = readByRow(cursor, info.type);
      if (run_.takesItems() && hasLiteral(property, number)) return run_.addItem(property.slot, 0, number);
      return setNumberSingly(cursor, property, number);
    }
    const std::string_view text = cursor.readText();
    const bool isPlain = run_.takesItems() && property.record->getKind() == meta::PropertyKind::text;
    const cells::Text* const made = isPlain ? makeText(cursor, text) : nullptr;
    if (made == nullptr) return setTextSingly(cursor, property, text);
    run_.addItem(property.slot, 0, reinterpret_cast<cells::Cell>(made));
  }

  void readNumbers(Cursor& cursor, const KnownProperty& property, std::uint64_t count) {
    switch (property.record->getNumberInfo().width) {
      case 1:
        return readNumbersAs<std::uint8_t>(cursor, property, count);
      case 2:
        return readNumbersAs<std::uint16_t>(cursor, property, count);
      case 4:
        return readNumbersAs<std::uint32_t>(cursor, property, count);
      default:
        return readNumbersAs<std::uint64_t>(cursor, property, count);
    }
  }
  template <class Number>
  void readNumbersAs(Cursor& cursor, const KnownProperty& property, std::uint64_t count) {
    const bool isBoolean = property.record->getNumberInfo().kind == meta::StandardKind::boolean;
    const auto read = [&] { return isBoolean ? readBoolean(cursor) : readNumber<Number>(cursor, property); };
    if (run_.takesItems()) {
      for (std::uint64_t left = count; left != 0; --left) run_.addItem(property.slot, 0, read());
      return;
    }
    std::array<std::uint64_t, 32> numbers;
    while (count != 0) {
      std::size_t size = 0;
      // What was read before an error counts: the last ones of the input come one by one.
      do numbers[size++] = read();
      while (size != numbers.size() && size != count && cursor.getRemaining() > sizeof(Number));
      cursor.sync();
      processor_.addNumbers(placeOf(property), {numbers.data(), size});
      count -= size;
    }
  }

  /// The number of an identity ("#", number), or 0, and nothing read, for any other.
  [[gnu::always_inline]] static std::uint32_t readLocalNumber(Cursor& cursor) {
    constexpr std::size_t kBefore = 3;  // lengths, each a byte, and the first text
    const std::uint8_t* const bytes = cursor.position();
    const std::size_t remaining = cursor.getRemaining();
    if (remaining <= kBefore || bytes[0] != 1 || bytes[1] != '#' || bytes[2] > remaining - kBefore) return 0;
    const std::uint32_t number = localNumber({reinterpret_cast<const char*>(bytes) + kBefore, bytes[2]});
    if (number != 0) cursor.skip(kBefore + bytes[2]);
    return number;
  }

  std::uint32_t numberTargetType() {
    if (known_ == nullptr) return processor_.numberTypeName(targetType_);
    if (known_->number == KnownType::kNoNumber) known_->number = processor_.numberTypeName(targetType_);
    return known_->number;
  }

  // --- What takes the processor's single operations

  [[gnu::always_inline]] void setNumber(Cursor& cursor, const KnownProperty& property, std::uint64_t number) {
    if (run_.isNext(property.slot)) return run_.add(property.slot, 0, number);
    setNumberSingly(cursor, property, number);
  }
  void startSingly(const KnownProperty& property) {
    run_.handOver();
    run_.noteSet(property.slot);
  }
  [[gnu::always_inline]] void setNumberSingly(Cursor& cursor, const KnownProperty& property,
                                              std::uint64_t number) {
    cursor.sync();
    setNumberSingly(property, number);
  }
  [[gnu::noinline]] void setNumberSingly(const KnownProperty& property, std::uint64_t number) {
    startSingly(property);
    processor_.setNumber(placeOf(property), number);
  }
  [[gnu::always_inline]] void setTextSingly(Cursor& cursor, const KnownProperty& property,
                                            std::string_view text) {
    setTextSingly(cursor.sync(), property, text);
  }
  [[gnu::noinline]] void setTextSingly(ByteReader& reader, const KnownProperty& property,
                                       std::string_view text) {
    startSingly(property);
    if (!processor_.setText(placeOf(property), text)) reader.requireWellFormed(text);
  }

  BulkParseProcessor& processor_;
  CellRun run_;
  // All of them lie in the document.
  ElementIdentity identity_;
  KnownType* known_ = nullptr;
  std::string_view targetType_;
  std::string_view qualifier_;
  bool hasQualifier_ = false;
};

}  // namespace kr::zero::io
