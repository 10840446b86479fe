/// @file
/// A model of 10,000 elements that can be told from each other, and what damage is done to it.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "support/DirectBytes.h"
#include "support/Random.h"

namespace kr::zero::test {

/// Shelves in shelves, books on them, chapters in books; each with a name that no other element has.
const meta::MetaRegistry& shelvesRegistry();
Model makeShelves(std::size_t elements, std::uint64_t seed);

/// What is done to a place of a document.
enum class Harm { overwrite, remove, insert };
/// @return the damaged document; `bytes` of it are harmed, from `at` on.
Bytes harm(Bytes document, Harm harm, std::size_t at, std::size_t bytes, Random& random);

/// All that an element holds, but for its children: class, values, and names of what it refers to.
std::string contentOf(ConstElement element);
/// By name; an element without name is not in it.
std::map<std::string, ConstElement> byName(const Model& model);

}  // namespace kr::zero::test
