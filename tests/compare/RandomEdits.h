/// @file
/// Random edits of models, as people and programs make them.
#pragma once

#include <cstddef>

#include "kr/zero/Model.h"
#include "support/Random.h"

namespace kr::zero::test {

/// Inserts, deletes, moves, reorders, sets, unsets and empties, points references elsewhere, gives and takes
/// identities.
/// @return how many edits were made of those asked for; fewer where a model has nothing to edit.
std::size_t editAtRandom(Model& model, std::size_t edits, Random& random);

}  // namespace kr::zero::test
