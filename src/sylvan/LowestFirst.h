/// @file
/// Internal: loads a number of the tagged format.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "sylvan/TaggedFormat.h"
#include "values/Endianness.h"

namespace kr::zero::io::tagged {

/// Eight bytes of which the first is the lowest.
inline std::uint64_t loadLowestFirst(const char* bytes) noexcept {
  std::array<std::uint8_t, kWidestNumber> number;
  std::memcpy(number.data(), bytes, number.size());
  return std::bit_cast<std::uint64_t>(values::swapUnlessLittleEndian(number));
}

}  // namespace kr::zero::io::tagged
