/// @file
/// The tagged format beside CBOR and MessagePack, over the same tree.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "TreeEvents.h"

namespace kr::zero::bench {

/// One tree as events and in each format. MessagePack is empty where its library is not installed.
struct Trees {
  /// @throws std::runtime_error where a form, read back, holds another tree.
  explicit Trees(const Model& model);

  TreeEvents events;
  nlohmann::json json;
  std::string tagged;
  std::vector<std::uint8_t> cbor;
  std::string messagePack;
};

/// Adds the rows to the benchmarks to run. `trees` must stay.
void registerTreeBenchmarks(const Trees& trees);

}  // namespace kr::zero::bench
