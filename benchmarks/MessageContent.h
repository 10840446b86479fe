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

}  // namespace kr::zero::bench
