/// @file
/// Internal: what a ModelDiff holds.
#pragma once

#include <memory>
#include <vector>

#include "Matching.h"
#include "Outline.h"
#include "kr/zero/compare/ModelDiff.h"

namespace kr::zero::compare {

struct ModelDiff::Impl {
  Impl(const Model& before, const Model& after, const CompareOptions& options)
      : a(before, options), b(after, options), matching(a, b) {}

  Outline a;
  Outline b;
  Matching matching;
  std::vector<Difference> differences;
};

/// Positions of a longest increasing subsequence: what may stay where it is.
std::vector<bool> longestIncreasing(const std::vector<std::uint32_t>& numbers);

/// @throws ModelError where models are of several registries.
void requireOneRegistry(const Model& a, const Model& b);

}  // namespace kr::zero::compare
