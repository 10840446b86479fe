/// @file
/// The benchmark's content as Protocol Buffers messages.
#pragma once

#include <vector>

#include "Content.h"
#include "items.pb.h"

namespace kr::zero::bench {

/// An item's id is its position plus 1.
messages::Catalog makeMessages(const Content& content);

/// The inverse of makeMessages.
Content contentOf(const messages::Catalog& catalog);

/// The targets of all references in document order, found through a hash map from id to message: what a
/// program has to do before it can follow a reference.
std::vector<const messages::Item*> resolveReferences(const messages::Catalog& catalog);

}  // namespace kr::zero::bench
