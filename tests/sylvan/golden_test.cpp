// Each golden document reads as its events and is what these events are written as.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "Tagged.h"
#include "support/Random.h"

namespace kr::zero::test {
namespace {

TEST(GoldenTaggedDocuments, ReadAsTheirEvents) {
  for (const GoldenTagged& document : goldenTagged()) {
    modeling::sylvan::EventRecorder recorder;
    io::BinaryAssembler(&recorder).visitString(document.bytes);
    const modeling::sylvan::EventRecorder expected = record(document.produce);
    EXPECT_TRUE(recorder == expected) << document.name << "\n" << print(recorder) << print(expected);
  }
}

TEST(GoldenTaggedDocuments, AreWrittenFromTheirEvents) {
  for (const GoldenTagged& document : goldenTagged()) {
    const std::string bytes = write(document.produce);
    EXPECT_EQ(toHex(bytes) == toHex(document.bytes), document.isWritten) << document.name << "\n"
                                                                         << toHex(bytes);
  }
}

TEST(TaggedIntegers, TakeTheirSmallestWidth) {
  EXPECT_EQ(writeOne(u(0)), "13");
  EXPECT_EQ(writeOne(u(1)), "20 01");
  EXPECT_EQ(writeOne(u(255)), "20 ff");
  EXPECT_EQ(writeOne(u(256)), "21 00 01");
  EXPECT_EQ(writeOne(u(65535)), "21 ff ff");
  EXPECT_EQ(writeOne(u(65536)), "22 00 00 01");
  EXPECT_EQ(writeOne(u((std::uint64_t{1} << 56) - 1)), "26 ff ff ff ff ff ff ff");
  EXPECT_EQ(writeOne(u(std::uint64_t{1} << 56)), "27 00 00 00 00 00 00 00 01");
  EXPECT_EQ(writeOne(u(~std::uint64_t{0})), "27 ff ff ff ff ff ff ff ff");
}

TEST(TaggedIntegers, AreNegatedMagnitudesBelowZero) {
  EXPECT_EQ(writeOne(s(-1)), "28 01");
  EXPECT_EQ(writeOne(s(-256)), "29 00 01");
  EXPECT_EQ(writeOne(s(std::numeric_limits<std::int64_t>::min())), "2f 00 00 00 00 00 00 00 80");
}

// The plainest way to the same bytes, with none of the library's means.
std::string slowInteger(std::uint64_t magnitude, unsigned firstTag) {
  if (magnitude == 0) return "13";
  std::string bytes;
  for (; magnitude != 0; magnitude /= 256) bytes += static_cast<char>(magnitude % 256);
  return toHex(static_cast<char>(firstTag + bytes.size() - 1) + bytes);
}

std::vector<std::uint64_t> numbersAtBorders() {
  std::vector<std::uint64_t> numbers;
  for (unsigned bit = 0; bit < 64; ++bit)
    for (const std::uint64_t offset :
         {~std::uint64_t{1}, ~std::uint64_t{0}, std::uint64_t{0}, std::uint64_t{1}})
      numbers.push_back((std::uint64_t{1} << bit) + offset);
  return numbers;
}

TEST(TaggedIntegers, OfBothKindsAreRightAtEveryBorder) {
  for (const std::uint64_t number : numbersAtBorders()) {
    EXPECT_EQ(writeOne(u(number)), slowInteger(number, 0x20)) << number;
    const auto asSigned = static_cast<std::int64_t>(number);
    EXPECT_EQ(writeOne(s(asSigned)), asSigned < 0 ? slowInteger(0 - number, 0x28) : slowInteger(number, 0x20))
        << asSigned;
  }
}

TEST(TaggedIntegers, ReadBackWithTheirValue) {
  for (const std::uint64_t number : numbersAtBorders()) {
    const auto asSigned = static_cast<std::int64_t>(number);
    const std::string body = writeBody([&](Events& to) {
      to.writePrimitive(u(number));
      to.writePrimitive(s(asSigned));
    });
    const auto mark = [](bool isSigned) { return isSigned ? std::string("s ") : std::string("u "); };
    EXPECT_EQ(readBody(body).events, mark(number == 0) + std::to_string(number) + "\n" + mark(asSigned <= 0) +
                                         std::to_string(asSigned) + "\n");
  }
}

TEST(TaggedIntegers, OfEveryWidthReadInBothOrders) {
  for (unsigned width = 1; width <= 8; ++width) {
    std::string lowestFirst;
    std::uint64_t value = 0;
    for (unsigned i = 0; i < width; ++i) {
      lowestFirst += static_cast<char>(0x81 + i);
      value |= std::uint64_t{0x81 + i} << (8 * i);
    }
    const std::string highestFirst(lowestFirst.rbegin(), lowestFirst.rend());
    const std::string tag(1, static_cast<char>(0x1F + width));
    const std::string negativeTag(1, static_cast<char>(0x27 + width));
    const std::string expected =
        "u " + std::to_string(value) + "\ns " + std::to_string(static_cast<std::int64_t>(0 - value)) + "\n";
    EXPECT_EQ(readBody(tag + lowestFirst + negativeTag + lowestFirst).events, expected);
    EXPECT_EQ(readBody(tag + highestFirst + negativeTag + highestFirst, bigHeader).events, expected);
  }
}

TEST(TaggedLosses, AnUnsignedZeroComesBackSigned) {
  EXPECT_EQ(readBody(writeBody([](Events& to) { to.writePrimitive(u(0)); })).events, "s 0\n");
}

TEST(TaggedLosses, APositiveSignedIntegerComesBackUnsigned) {
  EXPECT_EQ(writeOne(s(300)), "21 2c 01");
  EXPECT_EQ(readBody(fromHex("21 2c 01")).events, "u 300\n");
}

TEST(TaggedLosses, ANegativeZeroRealComesBackWithoutSign) {
  EXPECT_EQ(writeOne(-0.0), "15");
  EXPECT_EQ(readBody(fromHex("15")).events, "r 0\n");
}

TEST(TaggedReals, OtherThanZeroKeepTheirBits) {
  Random random(7);
  for (int i = 0; i < 1000; ++i) {
    const std::uint64_t bits = random.next();
    std::string bytes = "\x14";
    for (unsigned k = 0; k < 8; ++k) bytes += static_cast<char>(bits >> (8 * k));
    EXPECT_EQ(writeOne(std::bit_cast<double>(bits)), toHex(bytes));
    const auto expected = record([&](Events& to) {
      to.startDocument(nullptr);
      to.writePrimitive(std::bit_cast<double>(bits));
    });
    modeling::sylvan::EventRecorder back;
    io::BinaryAssembler(&back).visitString(littleHeader + bytes);
    EXPECT_TRUE(back == expected) << std::hex << bits;
  }
}

TEST(TaggedReals, NotANumberTakesEightBytes) {
  EXPECT_EQ(writeOne(std::numeric_limits<double>::quiet_NaN()), "14 00 00 00 00 00 00 f8 7f");
}

TEST(TaggedStrings, UseTheShortFormUpTo255Bytes) {
  const std::string body(255, 'x');
  EXPECT_EQ(writeOne(text(body)), "30 ff " + toHex(body));
}

TEST(TaggedStrings, UseTheLongFormFrom256Bytes) {
  const std::string body(256, 'x');
  EXPECT_EQ(writeOne(text(body)), "31 00 01 00 00 00 00 00 00 " + toHex(body));
}

TEST(TaggedStrings, OfEveryLengthAroundTheFormsReadBack) {
  for (const std::size_t size :
       {0u, 1u, 2u, 61u, 62u, 63u, 64u, 65u, 254u, 255u, 256u, 257u, 4095u, 4096u, 4097u, 70000u}) {
    std::string content;
    for (std::size_t i = 0; i < size; ++i) content += static_cast<char>(i * 7 % 256);
    const auto produce = [&](Events& to) {
      to.startDocument(nullptr);
      to.writePrimitive(text(content));
      to.endDocument();
    };
    modeling::sylvan::EventRecorder back;
    io::BinaryAssembler(&back).visitString(write(produce));
    EXPECT_TRUE(back == record(produce)) << size;
  }
}

// Any events that are not lost on the way come back.
TEST(TaggedDocuments, OfRandomEventsReadAsWritten) {
  Random random(11);
  for (int document = 0; document < 300; ++document) {
    const std::uint64_t seed = random.next();
    const Produce produce = [seed](Events& to) {
      Random chance(seed);
      const auto primitive = [&]() -> Primitive {
        switch (chance.below(6)) {
          case 0:
            return chance.percent(50);
          case 1:
            return nullptr;
          case 2:
            return std::bit_cast<double>(chance.next() | 1);
          case 3:
            return u((chance.next() >> chance.below(64)) | 1);
          case 4:
            return s(
                static_cast<std::int64_t>((chance.next() >> chance.below(64)) | (std::uint64_t{1} << 63)));
          default:
            return text(std::string(chance.below(400), static_cast<char>(chance.below(256))));
        }
      };
      to.startDocument(nullptr);
      for (std::size_t i = chance.below(60); i != 0; --i) {
        switch (chance.below(9)) {
          case 0:
            to.startSequence();
            break;
          case 1:
            to.endSequence();
            break;
          case 2:
            to.startMetadata();
            break;
          case 3:
            to.endMetadata();
            break;
          case 4:
            to.startNamedEntry(primitive());
            break;
          case 5:
            to.endNamedEntry();
            break;
          default:
            to.writePrimitive(primitive());
            break;
        }
      }
      to.endDocument();
    };
    modeling::sylvan::EventRecorder back;
    io::BinaryAssembler(&back).visitString(write(produce));
    EXPECT_TRUE(back == record(produce)) << "seed " << seed;
  }
}

}  // namespace
}  // namespace kr::zero::test
