#include "kr/zero/TextHash.h"

#include <chrono>
#include <cstring>
#include <random>

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
  __extension__ using Wide = unsigned __int128;
  const Wide product = Wide{x} * y;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

std::uint64_t load(const unsigned char* bytes, std::size_t size) noexcept {
  std::uint64_t block = 0;
  std::memcpy(&block, bytes, size);
  return block;
}

}  // namespace

std::size_t hashBytes(const void* bytes, std::size_t size) noexcept {
  static const Key key = drawKey();
  const auto* next = static_cast<const unsigned char*>(bytes);
  std::uint64_t hash = key.a ^ size;
  std::size_t left = size;
  for (; left >= 8; left -= 8, next += 8) hash = fold(hash ^ load(next, 8), key.b);
  if (left > 0) hash = fold(hash ^ load(next, left), key.b);
  return static_cast<std::size_t>(fold(hash, key.a | 1));
}

}  // namespace kr::zero
