/// @file
/// Repeatable chance: the same seed gives the same numbers on every machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kr::zero::test {

/// The splitmix64 sequence.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }
  /// 0 to bound - 1; bound must not be 0. The slight bias of the remainder does no harm here.
  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(next() % bound); }
  /// low to high, both included.
  std::size_t between(std::size_t low, std::size_t high) { return low + below(high - low + 1); }
  bool percent(unsigned chance) { return below(100) < chance; }
  template <class T>
  const T& pick(const std::vector<T>& from) {
    return from[below(from.size())];
  }

 private:
  std::uint64_t state_;
};

}  // namespace kr::zero::test
