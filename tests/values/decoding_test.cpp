// Fixed-width values from bytes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "kr/zero/io/Errors.h"
#include "support/DirectBytes.h"
#include "support/RecordingParseProcessor.h"
#include "values/PrimitiveDecoding.h"
#include "values/ValuesModel.h"

namespace kr::zero::io::values {

namespace {

using test::Bytes;
using test::Recorder;
using test::typeNamed;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kInvalidInput = "Invalid input of decodePrimitiveFromBinaryInLittleEndian";

template <class T>
class EveryNumber : public testing::Test {};
using Numbers = testing::Types<std::int8_t, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t,
                               std::uint32_t, double, std::int64_t, std::uint64_t>;
TYPED_TEST_SUITE(EveryNumber, Numbers);

template <class T>
std::vector<T> someNumbers() {
  using Limits = std::numeric_limits<T>;
  return {T(0), T(1), T(2), T(0x7F), Limits::min(), Limits::max(), Limits::lowest(), static_cast<T>(-1)};
}

Bytes followed(const Bytes& bytes) {
  Bytes longer = bytes;
  longer.push_back(0xAA);
  return longer;
}

// The text of the std::runtime_error that `read` raises, and no other exception.
template <class Read>
std::string failureOf(const Read& read) {
  try {
    read();
  } catch (const std::runtime_error& e) {
    EXPECT_EQ(typeid(e), typeid(std::runtime_error));
    return e.what();
  }
  return "nothing was raised";
}

template <class T>
T decode(const Bytes& bytes) {
  const std::uint8_t* cursor = bytes.data();
  return decodePrimitiveFromBinaryInLittleEndian<T>(cursor, bytes.data() + bytes.size(), sizeof(T));
}

}  // namespace

TYPED_TEST(EveryNumber, IsReadLowByteFirst) {
  for (const TypeParam number : someNumbers<TypeParam>())
    EXPECT_EQ(decode<TypeParam>(followed(test::DirectBytes().fixed(number))), number);
}

TYPED_TEST(EveryNumber, MovesTheCursorByItsWidth) {
  const Bytes bytes = followed(test::DirectBytes().fixed(TypeParam(1)));
  const std::uint8_t* cursor = bytes.data();
  decodePrimitiveFromBinaryInLittleEndian<TypeParam>(cursor, bytes.data() + bytes.size(), sizeof(TypeParam));
  EXPECT_EQ(cursor, bytes.data() + sizeof(TypeParam));
}

TYPED_TEST(EveryNumber, MustEndBeforeTheBoundNotAtIt) {
  const Bytes bytes(sizeof(TypeParam) + 1);
  for (std::size_t size = 0; size <= bytes.size(); ++size) {
    const std::uint8_t* cursor = bytes.data();
    const auto read = [&] {
      decodePrimitiveFromBinaryInLittleEndian<TypeParam>(cursor, bytes.data() + size, sizeof(TypeParam));
    };
    if (size > sizeof(TypeParam)) {
      EXPECT_NO_THROW(read());
      continue;
    }
    EXPECT_EQ(failureOf(read), kInvalidInput) << size;
    EXPECT_EQ(cursor, bytes.data()) << "the cursor has moved";
  }
}

TYPED_TEST(EveryNumber, IsRefusedInAnyOtherWidth) {
  const Bytes bytes(32);
  for (std::size_t width = 0; width <= 16; ++width) {
    if (width == sizeof(TypeParam)) continue;
    const std::uint8_t* cursor = bytes.data();
    EXPECT_EQ(failureOf([&] {
                decodePrimitiveFromBinaryInLittleEndian<TypeParam>(cursor, bytes.data() + bytes.size(),
                                                                   width);
              }),
              kInvalidInput)
        << width;
    EXPECT_EQ(cursor, bytes.data());
  }
}

TEST(Decoding, ACursorBehindTheBoundIsRefused) {
  const Bytes bytes(4);
  const std::uint8_t* cursor = bytes.data() + 2;
  EXPECT_EQ(
      failureOf([&] { decodePrimitiveFromBinaryInLittleEndian<std::uint8_t>(cursor, bytes.data() + 1, 1); }),
      kInvalidInput);
}

TEST(Decoding, NoBytesAtAllAreRefused) {
  const std::uint8_t* cursor = nullptr;
  EXPECT_EQ(failureOf([&] { decodePrimitiveFromBinaryInLittleEndian<std::uint8_t>(cursor, nullptr, 1); }),
            kInvalidInput);
}

TEST(Decoding, AFourByteNaturalIsNeverNegative) {
  EXPECT_EQ(decode<std::uint32_t>({0xFF, 0xFF, 0xFF, 0xFF, 0}), 4294967295u);
  EXPECT_EQ(decode<std::int32_t>({0xFF, 0xFF, 0xFF, 0xFF, 0}), -1);
}

TEST(Decoding, ARealIsADouble) { EXPECT_EQ(decode<double>({0, 0, 0, 0, 0, 0, 0x29, 0x40, 0}), 12.5); }

namespace {

// What reaches the processor when a value of a row is read for a property "p" of a type.
template <class Row>
test::Calls callsOf(const Bytes& bytes, std::string_view type) {
  Recorder recorder(test::valuesRegistry());
  ParseState state{&recorder.processor, bytes.data(), bytes.data() + bytes.size()};
  decodeAndSetPrimitive<Row>(state, u"p", typeNamed(type));
  EXPECT_EQ(state.position, bytes.data() + sizeof(typename Row::Number));
  for (const Value& value : recorder.processor.values)
    EXPECT_EQ(value.getMeta().getFlags(), ValueFlags::single);
  return recorder.calls;
}

}  // namespace

TEST(DecodeAndSet, HandsOverAValueOfThePropertysType) {
  EXPECT_THAT(callsOf<Integer8>({0x80, 0}, "Integer8"), ElementsAre("value p = Integer8 -128"));
  EXPECT_THAT(callsOf<UInteger8>({0x80, 0}, "UInteger8"), ElementsAre("value p = UInteger8 128"));
  EXPECT_THAT(callsOf<Integer16>({0, 0x80, 0}, "Integer16"), ElementsAre("value p = Integer16 -32768"));
  EXPECT_THAT(callsOf<UInteger16>({0, 0x80, 0}, "UInteger16"), ElementsAre("value p = UInteger16 32768"));
  EXPECT_THAT(callsOf<Integer>({0, 0, 0, 0x80, 0}, "Integer"), ElementsAre("value p = Integer -2147483648"));
  EXPECT_THAT(callsOf<UnlimitedNatural>({0, 0, 0, 0x80, 0}, "UnlimitedNatural"),
              ElementsAre("value p = UnlimitedNatural 2147483648"));
  EXPECT_THAT(callsOf<Integer64>({0, 0, 0, 0, 0, 0, 0, 0x80, 0}, "Integer64"),
              ElementsAre("value p = Integer64 -9223372036854775808"));
  EXPECT_THAT(callsOf<UInteger64>({0, 0, 0, 0, 0, 0, 0, 0x80, 0}, "UInteger64"),
              ElementsAre("value p = UInteger64 9223372036854775808"));
  EXPECT_THAT(callsOf<Real>({0, 0, 0, 0, 0, 0, 0x29, 0x40, 0}, "Real"),
              ElementsAre("value p = Real 12.500000"));
}

TEST(DecodeAndSet, ACellIsAsWideAsItsType) {
  Recorder recorder(test::valuesRegistry());
  const Bytes bytes(16);
  ParseState state{&recorder.processor, bytes.data(), bytes.data() + bytes.size()};
  decodeAndSetPrimitive<Integer8>(state, u"p", typeNamed("Integer8"));
  decodeAndSetPrimitive<UInteger16>(state, u"p", typeNamed("UInteger16"));
  decodeAndSetPrimitive<Integer>(state, u"p", typeNamed("Integer"));
  decodeAndSetPrimitive<Real>(state, u"p", typeNamed("Real"));
  std::vector<std::size_t> widths;
  for (const Value& value : recorder.processor.values) widths.push_back(value.getWidth());
  EXPECT_THAT(widths, ElementsAre(1u, 2u, 4u, 8u));
}

TEST(DecodeAndSet, ASignedNumberOfAnEnumerationIsExtendedWithItsSign) {
  EXPECT_THAT(callsOf<Integer8>({0xFF, 0}, "v.Kind"), ElementsAre("value p = v.Kind -1 (8 bytes)"));
  EXPECT_THAT(callsOf<Integer16>({0xFF, 0xFF, 0}, "v.Kind"), ElementsAre("value p = v.Kind -1 (8 bytes)"));
  EXPECT_THAT(callsOf<Integer>({0xFF, 0xFF, 0xFF, 0xFF, 0}, "v.Kind"),
              ElementsAre("value p = v.Kind -1 (8 bytes)"));
}

TEST(DecodeAndSet, AnUnsignedNumberOfAnEnumerationIsExtendedWithZeros) {
  EXPECT_THAT(callsOf<UInteger8>({0xFF, 0}, "v.Kind"), ElementsAre("value p = v.Kind 255 (8 bytes)"));
  EXPECT_THAT(callsOf<UInteger16>({0xFF, 0xFF, 0}, "v.Kind"),
              ElementsAre("value p = v.Kind 65535 (8 bytes)"));
  EXPECT_THAT(callsOf<UnlimitedNatural>({0xFF, 0xFF, 0xFF, 0xFF, 0}, "v.Kind"),
              ElementsAre("value p = v.Kind 4294967295 (8 bytes)"));
}

TEST(DecodeAndSet, AnEightByteNumberOfAnEnumerationIsTakenAsItIs) {
  const Bytes ones(9, 0xFF);
  EXPECT_THAT(callsOf<Integer64>(ones, "v.Kind"), ElementsAre("value p = v.Kind -1 (8 bytes)"));
  EXPECT_THAT(callsOf<UInteger64>(ones, "v.Kind"), ElementsAre("value p = v.Kind -1 (8 bytes)"));
}

TEST(DecodeAndSet, ARealIsNoEnumeration) {
  Recorder recorder(test::valuesRegistry());
  const Bytes bytes(9);
  ParseState state{&recorder.processor, bytes.data(), bytes.data() + bytes.size()};
  try {
    decodeAndSetPrimitive<Real>(state, u"p", typeNamed("v.Kind"));
    ADD_FAILURE() << "nothing was refused";
  } catch (const Error<kr0::messages::CannotCastIncompatibleTypes>& e) {
    EXPECT_THAT(e.GetMsgID().getArguments(), ElementsAre(resource_core::MsgArgument(u"v.Kind")));
  }
  EXPECT_THAT(recorder.calls, IsEmpty());
}

TEST(DecodeAndSet, ATypeOfOnesOwnIsNoIntegerEvenByThatName) {
  Recorder recorder(test::valuesRegistry());
  const Bytes bytes(9);
  ParseState state{&recorder.processor, bytes.data(), bytes.data() + bytes.size()};
  EXPECT_THROW(decodeAndSetPrimitive<Integer>(state, u"p", typeNamed("v.Integer")),
               Error<kr0::messages::CannotCastIncompatibleTypes>);
  EXPECT_THAT(recorder.calls, IsEmpty());
}

TEST(DecodeAndSet, APropertyWithoutATypeTakesNoNumber) {
  Recorder recorder(test::valuesRegistry());
  const Bytes bytes(9);
  ParseState state{&recorder.processor, bytes.data(), bytes.data() + bytes.size()};
  EXPECT_THROW(decodeAndSetPrimitive<Integer>(state, u"p", meta::Type()),
               Error<kr0::messages::CannotCastIncompatibleTypes>);
  EXPECT_THAT(recorder.calls, IsEmpty());
}

TEST(DecodeAndSet, ACutValueReachesNobodyAndMovesNothing) {
  Recorder recorder(test::valuesRegistry());
  const Bytes bytes{1};
  ParseState state{&recorder.processor, bytes.data(), bytes.data() + bytes.size()};
  EXPECT_EQ(failureOf([&] { decodeAndSetPrimitive<Integer8>(state, u"p", typeNamed("Integer8")); }),
            kInvalidInput);
  EXPECT_EQ(state.position, bytes.data());
  EXPECT_THAT(recorder.calls, IsEmpty());
}

}  // namespace kr::zero::io::values
