#include "model/Path.h"

#include <algorithm>

namespace kr::zero::internal {

namespace {

std::string lowerFirst(std::string name) {
  if (!name.empty() && name[0] >= 'A' && name[0] <= 'Z') name[0] = static_cast<char>(name[0] - 'A' + 'a');
  return name;
}

}  // namespace

std::string rootName(const meta::StructuredType& type) { return lowerFirst(type->name()); }

std::size_t positionOf(const ModelStore& store, const ElementRecord* record) {
  if (record->container == nullptr) {
    const auto& roots = store.roots();
    return static_cast<std::size_t>(std::find(roots.begin(), roots.end(), record) - roots.begin());
  }
  const Values values = ModelStore::values(record->container, record->containerSlot);
  const std::uint64_t* const end = values.items + values.size;
  return static_cast<std::size_t>(std::find(values.items, end, asPayload(record)) - values.items);
}

std::vector<std::uint32_t> positionsIn(const ModelStore& store) {
  std::vector<std::uint32_t> positions(store.recordCount());
  for (std::size_t i = 0; i < store.roots().size(); ++i)
    positions[store.roots()[i]->index] = static_cast<std::uint32_t>(i);
  for (std::uint32_t i = 0; i < store.recordCount(); ++i) {
    ChildPlace place;
    while (const ElementRecord* child =
               findContained(store.record(i), place, Contained::childrenAndDatatypes)) {
      if (!child->removed) positions[child->index] = place.position;
      ++place.position;
    }
  }
  return positions;
}

std::string segmentOf(const ModelStore& store, const ElementRecord* record, std::size_t position) {
  const auto numbered = [&](std::string name) {
    return std::move(name) + "[" + std::to_string(position) + "]";
  };
  if (record->container == nullptr) {
    std::string name = rootName(record->use->type);
    return store.roots().size() < 2 ? name : numbered(std::move(name));
  }
  const PropertyRecord& slot = record->container->use->property(record->containerSlot);
  return slot.isMany() ? numbered(slot.name()) : slot.name();
}

std::string pathOf(const ModelStore& store, const ElementRecord* record) {
  std::vector<const ElementRecord*> chain;
  for (; record != nullptr; record = record->container) chain.push_back(record);
  std::reverse(chain.begin(), chain.end());
  return joinSegments(chain.size(),
                      [&](std::size_t i) { return segmentOf(store, chain[i], positionOf(store, chain[i])); });
}

}  // namespace kr::zero::internal
