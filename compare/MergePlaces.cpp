#include "MergePlaces.h"

#include <algorithm>

namespace kr::zero::compare {

MergePlaces::MergePlaces(const Nodes& nodes)
    : nodes_(nodes),
      isAlive_(nodes.size(), true),
      version_(nodes.size(), kOurs),
      isNeeded_(nodes.size()),
      isRemovalDisputed_(nodes.size()),
      isPlaceDisputed_(nodes.size()) {
  choosePlaces();
  keepWhatIsReferred();
  decideRemovals();
  // Each round sends at least one element back to its place of ours, which all of ours have at once.
  while (settleTheirs() || settleOurs() || settleCircles()) {
  }
}

void MergePlaces::choosePlaces() {
  for (NodeId node = 1; node < nodes_.size(); ++node) {
    if (!nodes_.has(node, kTheirs)) continue;
    if (!nodes_.has(node, kOurs)) {
      version_[node] = kTheirs;
      continue;
    }
    const NodePlace base = nodes_.place(node, kBase);
    const NodePlace ours = nodes_.place(node, kOurs);
    const NodePlace theirs = nodes_.place(node, kTheirs);
    if (ours == theirs || theirs == base) continue;
    if (ours == base)
      version_[node] = kTheirs;
    else
      isPlaceDisputed_[node] = true;
  }
}

/// Elements that theirs removed, and that ours refers to where base does not.
void MergePlaces::keepWhatIsReferred() {
  const Outline& ours = nodes_.outline(kOurs);
  for (Ordinal at = 1; at < ours.size(); ++at)
    if (ours.record(at)->use->type->hasAssociations()) noteReferred(nodes_.idOf(kOurs, at));
}

void MergePlaces::noteReferred(NodeId node) {
  if (nodes_.has(node, kBase) && !nodes_.has(node, kTheirs)) return;  // goes itself, or counts as changed
  const ElementRecord* const record = nodes_.record(node, kOurs);
  for (std::uint16_t i = 0; i < record->count; ++i) {
    const SlotValues values = valuesAt(record, i);
    if (!isValue(values) || !values.isReference()) continue;
    for (std::uint32_t k = 0; k < values.size; ++k) {
      if (values.isUnresolved(k)) continue;
      const NodeId target = nodes_.side(kOurs).idOf(values.items[k]);
      if (target == kNone || !nodes_.has(target, kBase) || nodes_.has(target, kTheirs)) continue;
      if (!nodes_.isAsInBase(node, kOurs, cells::slotOf(record->slots()[i]))) isNeeded_[target] = true;
    }
  }
}

void MergePlaces::decideRemovals() {
  const auto isRemovedByTheirs = [&](NodeId node) {
    return nodes_.has(node, kBase) && nodes_.has(node, kOurs) && !nodes_.has(node, kTheirs);
  };
  const Outline& ours = nodes_.outline(kOurs);
  std::vector<bool> isKept(nodes_.size());
  for (Ordinal at = ours.size(); at-- > 1;) {
    const NodeId node = nodes_.idOf(kOurs, at);
    if (!isRemovedByTheirs(node)) continue;
    isRemovalDisputed_[node] = isNeeded_[node] || nodes_.isChanged(node, kOurs);
    if (isRemovalDisputed_[node]) isKept[node] = true;
    const NodeId container = nodes_.idOf(kOurs, ours.container(at));
    if (isKept[node]) isKept[container] = true;
  }
  // What is kept is kept as a whole, as ours has it.
  for (Ordinal at = 1; at < ours.size(); ++at) {
    const NodeId node = nodes_.idOf(kOurs, at);
    if (!isRemovedByTheirs(node)) continue;
    const NodeId container = nodes_.idOf(kOurs, ours.container(at));
    if (isRemovedByTheirs(container) && isKept[container]) isKept[node] = true;
    isAlive_[node] = isKept[node];
  }
  for (NodeId node = 1; node < nodes_.size(); ++node) {
    if (!nodes_.has(node, kBase) || nodes_.has(node, kOurs)) continue;
    isAlive_[node] = false;
    isRemovalDisputed_[node] = nodes_.has(node, kTheirs) && nodes_.isChanged(node, kTheirs);
  }
}

/// @return whether the element was elsewhere.
bool MergePlaces::fallBackToOurs(NodeId node) {
  isPlaceDisputed_[node] = true;
  version_[node] = kOurs;
  return true;
}

/// Whether another element has the only place that theirs put one into.
bool MergePlaces::isTaken(NodeId node) const {
  const NodePlace wanted = place(node);
  if (wanted.container == 0 || !nodes_.has(wanted.container, kOurs)) return false;
  const ElementRecord* const container = nodes_.record(wanted.container, kOurs);
  if (container->use->property(wanted.slot).isMany()) return false;
  const Outline& ours = nodes_.outline(kOurs);
  const Ordinal first = nodes_.at(wanted.container, kOurs);
  for (Ordinal child = first + 1; child < ours.end(first); child = ours.end(child)) {
    if (ours.slot(child) != wanted.slot) continue;
    const NodeId holder = nodes_.idOf(kOurs, child);
    return holder != node && isAlive_[holder] && place(holder) == wanted;
  }
  return false;
}

/// What stands where theirs has it needs a container, and room.
bool MergePlaces::settleTheirs() {
  bool isNew = false;
  const Outline& theirs = nodes_.outline(kTheirs);
  for (Ordinal at = 1; at < theirs.size(); ++at) {
    const NodeId node = nodes_.idOf(kTheirs, at);
    if (!isAlive_[node] || version_[node] != kTheirs) continue;
    const bool isPlaceless = !isAlive_[place(node).container];
    if (!isPlaceless && !isTaken(node)) continue;
    isNew = true;
    if (nodes_.has(node, kOurs)) {
      fallBackToOurs(node);
    } else {
      isAlive_[node] = false;
      const NodeId container = place(node).container;
      const bool isBelow = isPlaceless && !nodes_.has(container, kBase) && !nodes_.has(container, kOurs);
      if (!isPlaceless)
        isPlaceDisputed_[node] = true;
      else if (!isBelow)
        isRemovalDisputed_[node] = true;
    }
  }
  return isNew;
}

/// What stands where ours has it brings its containers along.
bool MergePlaces::settleOurs() {
  bool isNew = false;
  const Outline& ours = nodes_.outline(kOurs);
  for (Ordinal at = ours.size(); at-- > 1;) {
    const NodeId node = nodes_.idOf(kOurs, at);
    if (!isAlive_[node] || version_[node] != kOurs) continue;
    const NodeId container = place(node).container;
    if (isAlive_[container]) continue;
    isNew = isAlive_[container] = true;
    isRemovalDisputed_[container] = true;
  }
  return isNew;
}

/// Elements that each side alone put below each other.
bool MergePlaces::settleCircles() {
  enum Colour : std::uint8_t { kWhite, kOnWay, kReached };
  std::vector<Colour> colours(nodes_.size(), kWhite);
  colours[0] = kReached;
  bool isNew = false;
  std::vector<NodeId> way;
  for (NodeId start = 1; start < nodes_.size(); ++start) {
    if (!isAlive_[start]) continue;
    way.clear();
    NodeId node = start;
    for (; colours[node] == kWhite; node = place(node).container) {
      colours[node] = kOnWay;
      way.push_back(node);
    }
    if (colours[node] == kOnWay) {
      const auto circle = std::find(way.begin(), way.end(), node);
      std::for_each(circle, way.end(), [&](NodeId each) {
        if (version_[each] == kTheirs && nodes_.has(each, kOurs)) isNew = fallBackToOurs(each);
      });
    }
    for (const NodeId each : way) colours[each] = kReached;
  }
  return isNew;
}

}  // namespace kr::zero::compare
