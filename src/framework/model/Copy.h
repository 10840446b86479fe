/// @file
/// Internal: deep copies.
#pragma once

#include "model/Store.h"

namespace kr::zero::internal {

/// Copies everything into an empty store of the same registry.
void copyAll(const ModelStore& from, ModelStore& to);

/// Copies a record and all below it to the end of another store's (or the same store's) roots, without
/// identities. References that leave the copied part keep their target where both stores are one, and
/// are left out where they are not: an element cannot refer into another model.
ElementRecord* copySubtree(const ModelStore& from, const ElementRecord* record, ModelStore& to);

}  // namespace kr::zero::internal
