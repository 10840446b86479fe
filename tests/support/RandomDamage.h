/// @file
/// Documents damaged at random, the same ones for the same seed.
#pragma once

#include <cstdint>
#include <vector>

#include "support/DirectBytes.h"
#include "support/Random.h"

namespace kr::zero::test {

/// Turns over one bit, counted from the lowest of the first byte.
void turnBit(Bytes& bytes, std::size_t bit);

/// Damages one of some documents by one to three small operations: a byte set, a bit turned, runs inserted,
/// doubled and taken out, the end cut, another document's end in its place, a number that no length should
/// be.
class RandomDamage {
 public:
  /// @param documents none of them empty.
  RandomDamage(std::vector<Bytes> documents, std::uint64_t seed)
      : documents_(std::move(documents)), random_(seed) {}

  Bytes next();

 private:
  using Position = Bytes::iterator;

  void damage(Bytes& bytes);
  Position somewhere(Bytes& bytes);
  void insertRun(Bytes& bytes, const Bytes& run);
  std::pair<Position, Position> someRun(Bytes& bytes);
  void duplicateRun(Bytes& bytes);
  void eraseRun(Bytes& bytes);
  void splice(Bytes& bytes);
  Bytes someNumber();

  std::vector<Bytes> documents_;
  Random random_;
};

}  // namespace kr::zero::test
