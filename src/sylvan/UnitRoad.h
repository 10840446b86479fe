/// @file
/// Internal: reads items of the tagged format in larger units, for a target that takes them.
#pragma once

#include <cstddef>

#include "kr/zero/io/BinaryKRGrammarTransformer.h"
#include "kr/zero/io/TreeUnitTarget.h"
#include "sylvan/StreamBytes.h"

namespace kr::zero::io::tagged {

/// Past a transformer and its grammar to the target behind it. Both are brought to the same place before
/// events follow, and nobody can tell what came as units.
class UnitRoad {
 public:
  /// Neither is owned.
  UnitRoad(TreeUnitTarget& units, BinaryKRGrammarTransformer& transformer)
      : units_(units), transformer_(transformer) {}

  /// Takes what lies in memory and fits, of numbers in little-endian order; stops before what does not.
  /// @return how many items to send as events before it pays to come back; at least one.
  std::size_t send(StreamBytes& bytes);

 private:
  TreeUnitTarget& units_;
  BinaryKRGrammarTransformer& transformer_;
};

}  // namespace kr::zero::io::tagged
