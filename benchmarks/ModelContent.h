/// @file
/// The benchmark's content as a model.
#pragma once

#include "Content.h"
#include "kr/zero/Model.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::bench {

/// Adds the package "library" with the classes "Catalog" and "Item" and the enumeration "Genre".
void registerLibrary(meta::MetaRegistry& registry);

/// A catalog that holds the items.
/// @param registry one that registerLibrary was called with; must outlive the model.
Model makeModel(const Content& content, const meta::MetaRegistry& registry);

/// The inverse of makeModel.
Content contentOf(const Model& model);

}  // namespace kr::zero::bench
