#include "values/Endianness.h"

#include <gtest/gtest.h>

#include <cstring>

namespace kr::zero::io::values {

TEST(Endianness, TheHostsOrderIsThatOfItsMemory) {
  const std::uint16_t number = 1;
  std::uint8_t first = 0;
  std::memcpy(&first, &number, 1);
  EXPECT_EQ(kHostIsLittleEndian, first == 1);
}

TEST(Endianness, TheMarkerOfLittleEndianDataIsInSmallLetters) {
  EXPECT_EQ(endiannessMarker(true), "kr");
  EXPECT_EQ(endiannessMarker(false), "KR");
}

TEST(Endianness, OnlySmallLettersMarkLittleEndianData) {
  EXPECT_TRUE(isLittleEndianMarker("kr"));
  for (const char* other : {"KR", "Kr", "kR", "k", "r", "", "krk", "kr ", "rk"})
    EXPECT_FALSE(isLittleEndianMarker(other)) << other;
  EXPECT_FALSE(isLittleEndianMarker(std::string_view("kr\0", 3)));
}

TEST(Endianness, BytesStayOnALittleEndianHostAndTurnAroundOnAnother) {
  const std::array<std::uint8_t, 4> bytes{1, 2, 3, 4};
  const std::array<std::uint8_t, 4> reversed{4, 3, 2, 1};
  EXPECT_EQ(swapUnlessLittleEndian(bytes, true), bytes);
  EXPECT_EQ(swapUnlessLittleEndian(bytes, false), reversed);
}

}  // namespace kr::zero::io::values
