/// @file
/// The contents that the peers store.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Content.h"

namespace kr::zero::bench {

struct Workload {
  std::string name;
  std::size_t elements;
  std::size_t repetitions;
  void (*change)(Content&) = nullptr;  ///< makes a variant of the library's content
  bool trees = false;                  ///< as the tree of its events, by those who store trees
};

const std::vector<Workload>& workloads();

/// The same for the same workload, on every machine.
Content contentFor(const Workload& workload);

}  // namespace kr::zero::bench
