// Base-128 numbers, against a slow reader of them.
#include "direct/Numbers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <bitset>
#include <optional>

#include "support/DirectBytes.h"
#include "support/Random.h"

namespace kr::zero::io::direct {

namespace {

using test::Bytes;
using testing::ElementsAre;

struct Decoded {
  std::uint64_t number;
  std::size_t size;
  friend bool operator==(const Decoded&, const Decoded&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Decoded& decoded) {
    return out << decoded.number << " of " << decoded.size << " bytes";
  }
};

// Bit by bit: the i-th bit of group g stands for bit (7 g) mod 64 + i, where there is one.
std::optional<Decoded> decodeSlowly(const Bytes& bytes) {
  std::bitset<64> bits;
  for (std::size_t g = 0; g < bytes.size(); ++g) {
    for (std::size_t i = 0; i < 7; ++i) {
      const std::size_t at = 7 * g % 64 + i;
      if ((bytes[g] >> i & 1) != 0 && at < 64) bits.set(at);
    }
    if (bytes[g] < 128) return Decoded{bits.to_ullong(), g + 1};
  }
  return std::nullopt;
}

std::optional<Decoded> decode(const Bytes& bytes) {
  std::uint64_t number = 0;
  const std::uint8_t* const behind = decodeNumber(bytes.data(), bytes.data() + bytes.size(), number);
  if (behind == nullptr) return std::nullopt;
  return Decoded{number, static_cast<std::size_t>(behind - bytes.data())};
}

Bytes encode(std::uint64_t number) {
  std::array<std::uint8_t, kMostNumberBytes> out;
  return {out.data(), encodeNumber(number, out.data())};
}

// What stands on either side of every border: of groups, of bytes, of the usual widths.
std::vector<std::uint64_t> borders() {
  std::vector<std::uint64_t> numbers;
  const auto around = [&](std::uint64_t number) {
    for (std::uint64_t d = 0; d <= 4; ++d) numbers.push_back(number + d - 2);  // wraps around at 2^64
  };
  for (unsigned bits = 0; bits < 64; bits += 7) around(std::uint64_t{1} << bits);
  for (unsigned bits = 0; bits < 64; bits += 8) around(std::uint64_t{1} << bits);
  for (unsigned bits : {31u, 32u, 63u}) around(std::uint64_t{1} << bits);
  around(0);
  return numbers;
}

}  // namespace

TEST(Numbers, EveryStringOfUpToThreeBytesReadsAsTheSlowReaderSays) {
  for (std::uint32_t size = 0; size <= 3; ++size) {
    for (std::uint32_t content = 0; content < 1u << (8 * size); ++content) {
      Bytes bytes;
      for (std::uint32_t i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(content >> (8 * i)));
      ASSERT_EQ(decode(bytes), decodeSlowly(bytes)) << size << " bytes, " << content;
    }
  }
}

TEST(Numbers, LongStringsReadAsTheSlowReaderSays) {
  test::Random random(1);
  for (int i = 0; i < 20000; ++i) {
    Bytes bytes(1 + random.below(200));
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(0x80 | random.below(128));
    if (random.below(4) != 0) bytes[random.below(bytes.size())] &= 0x7F;
    ASSERT_EQ(decode(bytes), decodeSlowly(bytes));
  }
}

TEST(Numbers, ReadBackAsTheyWereWrittenAroundEveryBorder) {
  for (const std::uint64_t number : borders()) {
    const Bytes bytes = encode(number);
    ASSERT_EQ(decode(bytes), (Decoded{number, bytes.size()}));
    ASSERT_EQ(decodeSlowly(bytes), (Decoded{number, bytes.size()}));
  }
}

TEST(Numbers, AreWrittenInTheShortestForm) {
  for (const std::uint64_t number : borders()) {
    std::size_t groups = 1;
    for (std::uint64_t rest = number >> 7; rest != 0; rest >>= 7) ++groups;
    EXPECT_EQ(encode(number).size(), groups) << number;
  }
}

TEST(Numbers, HaveTheBytesOfTheFormat) {
  EXPECT_THAT(encode(0), ElementsAre(0x00));
  EXPECT_THAT(encode(1), ElementsAre(0x01));
  EXPECT_THAT(encode(127), ElementsAre(0x7F));
  EXPECT_THAT(encode(128), ElementsAre(0x80, 0x01));
  EXPECT_THAT(encode(300), ElementsAre(0xAC, 0x02));
  EXPECT_THAT(encode(16383), ElementsAre(0xFF, 0x7F));
  EXPECT_THAT(encode(16384), ElementsAre(0x80, 0x80, 0x01));
  EXPECT_THAT(encode(~std::uint64_t{0}),
              ElementsAre(0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01));
}

TEST(Numbers, LongerFormsMeanTheSame) {
  for (std::size_t more = 0; more < 9; ++more) {
    Bytes bytes{0x85};
    bytes.insert(bytes.end(), more, 0x80);
    bytes.push_back(0x00);
    EXPECT_EQ(decode(bytes), (Decoded{5, bytes.size()}));
  }
}

TEST(Numbers, GroupsBeyondTheSixtyFourthBitStartOverAtTheLowest) {
  // The tenth group stands for bit 63; the eleventh, 70 bits up, for bit 6.
  Bytes bytes(10, 0x80);
  bytes.push_back(0x01);
  EXPECT_EQ(decode(bytes), (Decoded{64, 11}));
}

TEST(Numbers, AreRefusedWhereTheBytesEndFirst) {
  EXPECT_EQ(decode({}), std::nullopt);
  EXPECT_EQ(decode({0x80}), std::nullopt);
  EXPECT_EQ(decode(Bytes(1000, 0xFF)), std::nullopt);
}

TEST(Numbers, AreRefusedWithoutTouchingTheResult) {
  std::uint64_t number = 42;
  const Bytes bytes{0xFF, 0xFF};
  EXPECT_EQ(decodeNumber(bytes.data(), bytes.data() + bytes.size(), number), nullptr);
  EXPECT_EQ(number, 42u);
}

}  // namespace kr::zero::io::direct
