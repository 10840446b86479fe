/// @file
/// A small meta model of everything that models are compared by, and a model of it.
#pragma once

#include <string>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/compare/Merge.h"
#include "kr/zero/compare/ModelDiff.h"

namespace kr::zero::test {

/// "shelf": a Shelf holds books, a box and authors; a Book has values of each kind, chapters, references and
/// an attribute that is an id; a Chapter has a text and nothing that is like a name.
const meta::MetaRegistry& shelfRegistry();

/// One shelf with three books named b0 to b2 with two chapters each, and two authors.
Model makeShelf();

/// Handles into a model of that kind.
Element shelfOf(Model& model);
Element bookOf(Model& model, std::size_t position);
Element chapterOf(Model& model, std::size_t book, std::size_t position);

/// The differences in words, in their order.
std::vector<std::string> differences(const Model& before, const Model& after,
                                     const compare::CompareOptions& options = {});
/// The conflicts of a merge in words.
std::vector<std::string> conflicts(const compare::MergeResult& result);

}  // namespace kr::zero::test
