/// @file
/// Repeatable chance: the same seed gives the same numbers on every machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kr::zero::test {

/// The splitmix64 sequence.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}
  /// Takes what it gives from `choices`, which must outlive it: a byte where there are up to 256
  /// possibilities, else eight. Behind their end it goes on by itself.
  explicit Random(std::span<const std::uint8_t> choices) : state_(choices.size()), choices_(choices) {}

  std::uint64_t next() {
    if (!choices_.empty()) return take(8);
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }
  /// 0 to bound - 1; bound must not be 0. The slight bias of the remainder does no harm here.
  std::size_t below(std::size_t bound) {
    const std::uint64_t number = choices_.empty() || bound > 256 ? next() : take(1);
    return static_cast<std::size_t>(number % bound);
  }
  /// low to high, both included.
  std::size_t between(std::size_t low, std::size_t high) { return low + below(high - low + 1); }
  bool percent(unsigned chance) { return below(100) < chance; }
  template <class T>
  const T& pick(const std::vector<T>& from) {
    return from[below(from.size())];
  }

 private:
  // Up to `width` bytes, the low one first.
  std::uint64_t take(std::size_t width) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < width && !choices_.empty(); ++i, choices_ = choices_.subspan(1))
      number |= std::uint64_t{choices_.front()} << (8 * i);
    return number;
  }

  std::uint64_t state_;
  std::span<const std::uint8_t> choices_;
};

}  // namespace kr::zero::test
