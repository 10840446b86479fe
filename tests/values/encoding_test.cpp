// Fixed-width values to bytes, and back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "kr/zero/io/Errors.h"
#include "support/DirectBytes.h"
#include "values/PrimitiveDecoding.h"
#include "values/PrimitiveEncoding.h"
#include "values/ValuesModel.h"

namespace kr::zero::io::values {

namespace {

using test::Bytes;
using test::single;
using test::typeNamed;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using Refused = Error<kr0::messages::CannotCastIncompatibleTypes>;

Bytes bytesOf(const ByteBuffer& buffer) { return {buffer.data(), buffer.data() + buffer.size()}; }

template <class Row>
Bytes encode(const Value& value, bool elementMode = false) {
  ByteBuffer out;
  encodePrimitive<Row>(out, value, elementMode);
  return bytesOf(out);
}

Value absent(std::string_view type) { return Value(ValueMeta(typeNamed(type), ValueFlags::empty)); }
Value withoutCell(std::string_view type) { return Value(single(type)); }

template <class Row>
class EveryFixedWidthRow : public testing::Test {
 protected:
  static std::string typeName() { return toUtf8(Row::name); }
  static Value make(typename Row::Number number) { return Value(single(typeName()), number); }
};
using Rows = testing::Types<Integer8, UInteger8, Integer16, UInteger16, Integer, UnlimitedNatural, Integer64,
                            UInteger64, Real>;
TYPED_TEST_SUITE(EveryFixedWidthRow, Rows);

}  // namespace

TYPED_TEST(EveryFixedWidthRow, IsWrittenLowByteFirst) {
  using Number = typename TypeParam::Number;
  using Limits = std::numeric_limits<Number>;
  for (const Number number : {Number(0), Number(1), Limits::lowest(), Limits::max(), Number(0x5A)})
    EXPECT_EQ(encode<TypeParam>(this->make(number)), test::DirectBytes().fixed(number).bytes());
}

TYPED_TEST(EveryFixedWidthRow, ReadsBackWhatItWrote) {
  using Number = typename TypeParam::Number;
  using Limits = std::numeric_limits<Number>;
  for (const Number number : {Number(0), Number(1), Limits::lowest(), Limits::max(), Number(0x5A)}) {
    Bytes bytes = encode<TypeParam>(this->make(number));
    bytes.push_back(0);
    const std::uint8_t* cursor = bytes.data();
    EXPECT_EQ(decodePrimitiveFromBinaryInLittleEndian<Number>(cursor, cursor + bytes.size(), sizeof(Number)),
              number);
  }
}

TYPED_TEST(EveryFixedWidthRow, WithoutACellIsZero) {
  EXPECT_EQ(encode<TypeParam>(withoutCell(this->typeName())), Bytes(sizeof(typename TypeParam::Number)));
}

TYPED_TEST(EveryFixedWidthRow, InElementModeHasAMarkBeforeIt) {
  const Bytes expected = test::DirectBytes().byte(0xDD).fixed(typename TypeParam::Number(7)).bytes();
  EXPECT_EQ(encode<TypeParam>(this->make(7), true), expected);
}

TYPED_TEST(EveryFixedWidthRow, InElementModeIsAMarkAloneWhereThereIsNoValue) {
  EXPECT_THAT(encode<TypeParam>(absent(this->typeName()), true), ElementsAre(0xEE));
  EXPECT_THAT(encode<TypeParam>(withoutCell(this->typeName()), true), ElementsAre(0xEE));
  const Value emptyWithCell(ValueMeta(typeNamed(this->typeName()), ValueFlags::empty),
                            typename TypeParam::Number(7));
  EXPECT_THAT(encode<TypeParam>(emptyWithCell, true), ElementsAre(0xEE));
}

TYPED_TEST(EveryFixedWidthRow, AppendsNothingForAValueOfAnotherType) {
  const char* other = this->typeName() == "Boolean" ? "Real" : "Boolean";
  ByteBuffer out;
  out.append(0x11);
  EXPECT_THROW(encodePrimitive<TypeParam>(out, withoutCell(other), false), Refused);
  EXPECT_THROW(encodePrimitive<TypeParam>(out, withoutCell(other), true), Refused);
  EXPECT_THROW(encodePrimitive<TypeParam>(out, absent(other), true), Refused);
  EXPECT_THAT(bytesOf(out), ElementsAre(0x11));
}

TEST(Encoding, TrueIsOneAndFalseIsTwo) {
  EXPECT_THAT(encode<Boolean>(Value(single("Boolean"), true)), ElementsAre(0x01));
  EXPECT_THAT(encode<Boolean>(Value(single("Boolean"), false)), ElementsAre(0x02));
}

TEST(Encoding, ABooleanWithoutACellIsFalse) {
  EXPECT_THAT(encode<Boolean>(withoutCell("Boolean")), ElementsAre(0x02));
}

TEST(Encoding, ABooleanInElementModeHasAMark) {
  EXPECT_THAT(encode<Boolean>(Value(single("Boolean"), false), true), ElementsAre(0xDD, 0x02));
  EXPECT_THAT(encode<Boolean>(absent("Boolean"), true), ElementsAre(0xEE));
}

TEST(Encoding, AnElementOfEightBytesIsAMarkAndTheNumber) {
  EXPECT_THAT(encode<Integer64>(Value(single("Integer64"), std::int64_t{1}), true),
              ElementsAre(0xDD, 1, 0, 0, 0, 0, 0, 0, 0));
}

TEST(Encoding, AnEnumerationGivesTheLowBytesOfItsCell) {
  const Value value(single("v.Kind"), std::int64_t{0x1122334455667788});
  EXPECT_THAT(encode<Integer>(value), ElementsAre(0x88, 0x77, 0x66, 0x55));
  EXPECT_THAT(encode<Integer8>(value), ElementsAre(0x88));
}

TEST(Encoding, AnEnumerationIsRefusedInElementMode) {
  EXPECT_THROW(encode<Integer>(Value(single("v.Kind"), std::int64_t{1}), true), Refused);
}

TEST(Encoding, AnIntegerOfTypeRealIsRefusedByThatName) {
  try {
    encode<Integer>(Value(single("Real"), 1.0));
    ADD_FAILURE() << "nothing was refused";
  } catch (const Refused& e) {
    EXPECT_THAT(e.GetMsgID().getArguments(), ElementsAre(resource_core::MsgArgument(u"Real")));
  }
}

TEST(Encoding, TheTypeCodeChoosesTheRow) {
  const std::vector<std::pair<int, const char*>> rows = {
      {16, "Boolean"},    {17, "UInteger8"}, {18, "UInteger16"}, {19, "UnlimitedNatural"},
      {20, "UInteger64"}, {21, "Integer8"},  {22, "Integer16"},  {23, "Integer"},
      {24, "Integer64"},  {25, "Real"},      {26, "Integer"}};
  const std::vector<std::size_t> widths = {1, 1, 2, 4, 8, 1, 2, 4, 8, 8, 4};
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (const auto& [code, type] : rows) {
      ByteBuffer out;
      const bool fits = std::string(type) == rows[i].second;
      const auto encodeByCode = [&, only = static_cast<TypeCode>(rows[i].first), name = type] {
        encodePrimitive(out, only, withoutCell(name), false);
      };
      if (!fits) {
        EXPECT_THROW(encodeByCode(), Refused) << rows[i].first << " " << code;
        continue;
      }
      encodeByCode();
      EXPECT_EQ(out.size(), widths[i]) << rows[i].first;
    }
  }
}

TEST(Encoding, AnyOtherTypeCodeWritesNothingWhateverTheValue) {
  ByteBuffer out;
  for (int code = 0; code < 70000; code = code < 40 ? code + 1 : code * 2) {
    if (code >= 16 && code <= 26) continue;
    encodePrimitive(out, static_cast<TypeCode>(code), withoutCell("Real"), false);
    encodePrimitive(out, static_cast<TypeCode>(code), withoutCell("Real"), true);
  }
  EXPECT_THAT(bytesOf(out), IsEmpty());
}

TEST(ByteBuffer, GrowsWithoutLosingAByte) {
  ByteBuffer buffer;
  Bytes expected;
  for (int i = 0; i < 5000; ++i) {
    const auto byte = static_cast<std::uint8_t>(i * 7);
    const Bytes piece(static_cast<std::size_t>(i % 5), byte);
    buffer.append(byte);
    buffer.append(piece.data(), piece.size());
    expected.push_back(byte);
    expected.insert(expected.end(), piece.begin(), piece.end());
  }
  EXPECT_THAT(bytesOf(buffer), ElementsAreArray(expected));
}

TEST(ByteBuffer, KeepsItsMemoryWhenCleared) {
  ByteBuffer buffer;
  buffer.reserve(1000);
  buffer.append(1);
  buffer.clear();
  EXPECT_EQ(buffer.size(), 0u);
  EXPECT_GE(buffer.capacity(), 1000u);
}

TEST(ByteBuffer, TakesOnlyWhatWasWrittenIntoItsRoom) {
  ByteBuffer buffer;
  std::uint8_t* out = buffer.makeRoom(10);
  *out++ = 1;
  *out++ = 2;
  buffer.setEnd(out);
  EXPECT_THAT(bytesOf(buffer), ElementsAre(1, 2));
}

TEST(ByteBuffer, StaysAsLargeWhereLessIsReserved) {
  ByteBuffer buffer;
  buffer.reserve(1000);
  const std::uint8_t* const before = buffer.data();
  buffer.reserve(10);
  EXPECT_GE(buffer.capacity(), 1000u);
  EXPECT_EQ(buffer.data(), before);
}

TEST(ByteBuffer, KeepsItsBytesWhereThereIsNoMemoryForMore) {
  ByteBuffer buffer;
  buffer.append(1);
  const std::size_t before = buffer.capacity();
  EXPECT_THROW(buffer.reserve(std::numeric_limits<std::size_t>::max() / 2), std::bad_alloc);
  EXPECT_EQ(buffer.capacity(), before);
  EXPECT_THAT(bytesOf(buffer), ElementsAre(1));
}

TEST(ByteBuffer, RefusesWhatNoMemoryHolds) {
  ByteBuffer buffer;
  buffer.append(1);
  EXPECT_THROW(buffer.makeRoom(std::numeric_limits<std::size_t>::max()), std::bad_alloc);
  EXPECT_THAT(bytesOf(buffer), ElementsAre(1));
}

}  // namespace kr::zero::io::values
