/// @file
/// The model as tree events, and the same tree in the forms of others.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "kr/zero/Model.h"
#include "modeling/sylvan/SylvanEventCode.h"
#include "modeling/sylvan/SylvanEventProcessor.h"

namespace kr::zero::bench {

/// An event as plain data, so that sending it costs next to nothing.
struct TreeEvent {
  modeling::sylvan::SylvanEventCode code = modeling::sylvan::SylvanEventCode::writePrimitive;
  /// Entries or items of what starts here: formats that put a count in front need it.
  std::uint32_t items = 0;
  modeling::sylvan::SylvanPrimitive value = nullptr;
};
using TreeEvents = std::vector<TreeEvent>;

/// The events of writing a model.
TreeEvents eventsOf(const Model& model);

void send(const TreeEvents& events, modeling::sylvan::SylvanEventProcessor<void>& target);

/// The same tree as a JSON document: structs and metadata are objects, sequences and the document arrays,
/// and an entry of several items has an array of them.
nlohmann::json toJson(const TreeEvents& events);

}  // namespace kr::zero::bench
