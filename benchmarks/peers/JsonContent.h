/// @file
/// The content as a JSON document, which CBOR can store: objects with a name for every member that is set.
#pragma once

#include <nlohmann/json.hpp>

#include "Content.h"

namespace kr::zero::bench {

nlohmann::json makeJson(const Content& content);

/// The inverse of makeJson.
Content contentOf(const nlohmann::json& catalog);

}  // namespace kr::zero::bench
