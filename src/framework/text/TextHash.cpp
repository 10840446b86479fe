#include "kr/zero/TextHash.h"

#include <chrono>
#include <cstring>
#include <random>
#include <utility>

namespace kr::zero {

namespace {

struct Key {
  std::uint64_t a;
  std::uint64_t b;
};

Key drawKey() noexcept {
  try {
    std::random_device device;
    const auto draw = [&] { return std::uint64_t{device()} << 32 | device(); };
    return {draw(), draw() | 1};
  } catch (...) {  // no source of randomness: the clock is better than nothing
    const auto now = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    return {now * 0x9E3779B97F4A7C15u, (now << 17) | 1};
  }
}

// Both halves of the product folded into one: each bit of either factor reaches every bit.
std::uint64_t fold(std::uint64_t x, std::uint64_t y) noexcept {
#if defined(__SIZEOF_INT128__)
  __extension__ using Wide = unsigned __int128;
  const Wide product = Wide{x} * y;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
#else
  constexpr std::uint64_t kLow = 0xFFFFFFFF;
  const std::uint64_t low = (x & kLow) * (y & kLow);
  const std::uint64_t first = (x >> 32) * (y & kLow) + (low >> 32);
  const std::uint64_t second = (x & kLow) * (y >> 32) + (first & kLow);
  const std::uint64_t high = (x >> 32) * (y >> 32) + (first >> 32) + (second >> 32);
  return (second << 32 | (low & kLow)) ^ high;
#endif
}

template <class Word>
std::uint64_t load(const unsigned char* bytes) noexcept {
  Word word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

/// Up to 16 bytes, by loads that may overlap; the size tells apart what they do not.
std::pair<std::uint64_t, std::uint64_t> loadEnds(const unsigned char* bytes, std::size_t size) noexcept {
  const unsigned char* const end = bytes + size;
  if (size >= 8) return {load<std::uint64_t>(bytes), load<std::uint64_t>(end - 8)};
  if (size >= 4) return {load<std::uint32_t>(bytes), load<std::uint32_t>(end - 4)};
  if (size == 0) return {0, 0};
  return {bytes[0], std::uint64_t{bytes[size / 2]} << 8 | end[-1]};
}

}  // namespace

std::size_t hashBytes(const void* bytes, std::size_t size) noexcept {
  static const Key key = drawKey();
  constexpr std::size_t kBlock = 16;
  const auto* next = static_cast<const unsigned char*>(bytes);
  std::uint64_t hash = key.a ^ size;
  std::size_t left = size;
  for (; left > kBlock; left -= kBlock, next += kBlock)
    hash = fold(hash ^ load<std::uint64_t>(next), key.b ^ load<std::uint64_t>(next + 8));
  const auto [first, last] = loadEnds(next, left);
  hash = fold(hash ^ first, key.b ^ last);
  return static_cast<std::size_t>(fold(hash, key.a | 1));
}

}  // namespace kr::zero
