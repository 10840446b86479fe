#include "Nodes.h"

#include <numeric>
#include <utility>

namespace kr::zero::compare {

Nodes::Nodes(const Model& base, const Model& ours, const Model& theirs, const CompareOptions& options)
    : outlines_{Outline(base, options), Outline(ours, options), Outline(theirs, options)},
      matchings_{Matching(outlines_[kBase], outlines_[kOurs]),
                 Matching(outlines_[kBase], outlines_[kTheirs])} {
  ids_[kBase].resize(outlines_[kBase].size());
  std::iota(ids_[kBase].begin(), ids_[kBase].end(), 0);
  for (Ordinal at = 0; at < outlines_[kBase].size(); ++at)
    nodes_.push_back({at, matchings_[0].inB(at), matchings_[1].inB(at)});
  ids_[kOurs] = matchings_[0].allInA();
  ids_[kTheirs] = matchings_[1].allInA();
  addOurs();
  addTheirs();
}

void Nodes::addOurs() {
  for (Ordinal at = 1; at < outlines_[kOurs].size(); ++at) {
    if (ids_[kOurs][at] != kNone) continue;
    ids_[kOurs][at] = static_cast<NodeId>(nodes_.size());
    nodes_.push_back({kNone, at, kNone});
  }
}

void Nodes::addTheirs() {
  const std::vector<Ordinal> twins = pairAdditions();
  for (Ordinal at = 1; at < outlines_[kTheirs].size(); ++at) {
    if (ids_[kTheirs][at] != kNone) continue;
    if (twins[at] != kNone) {
      ids_[kTheirs][at] = ids_[kOurs][twins[at]];
      nodes_[ids_[kTheirs][at]][kTheirs] = at;
      continue;
    }
    ids_[kTheirs][at] = static_cast<NodeId>(nodes_.size());
    nodes_.push_back({kNone, kNone, at});
  }
}

/// Finds what both added: of each of theirs the one of ours, or kNone.
std::vector<Ordinal> Nodes::pairAdditions() const {
  const Outline& ours = outlines_[kOurs];
  const Outline& theirs = outlines_[kTheirs];
  std::vector<Ordinal> twins(theirs.size(), kNone);
  std::vector<bool> isTaken(ours.size());
  std::vector<std::pair<Ordinal, Ordinal>> containers;  // those whose additions are to be looked at
  const auto pair = [&](Ordinal x, Ordinal y) {
    if (isTaken[x] || twins[y] != kNone || ours.record(x)->use->type != theirs.record(y)->use->type)
      return false;
    isTaken[x] = true;
    twins[y] = x;
    containers.emplace_back(x, y);
    return true;
  };
  std::vector<Ordinal> newOurs;
  std::vector<Ordinal> newTheirs;
  for (Ordinal at = 1; at < ours.size(); ++at)
    if (matchings_[0].inA(at) == kNone) newOurs.push_back(at);
  Ordinal last = kNone;
  for (Ordinal at = 1; at < theirs.size(); ++at) {
    if (matchings_[1].inA(at) != kNone) continue;
    newTheirs.push_back(at);
    const Ordinal container = theirs.container(at);
    const Ordinal inBase = matchings_[1].inA(container);
    if (inBase == kNone || matchings_[0].inB(inBase) == kNone || container == last) continue;
    last = container;
    containers.emplace_back(matchings_[0].inB(inBase), container);
  }
  pairByKey(
      newOurs, newTheirs, [&](Ordinal at) { return ours.marks(at).strong; },
      [&](Ordinal at) { return theirs.marks(at).strong; }, pair);
  for (std::size_t next = 0; next < containers.size(); ++next) {
    const auto [x, y] = containers[next];
    std::vector<Ordinal> childrenX;
    std::vector<Ordinal> childrenY;
    for (Ordinal child = x + 1; child < ours.end(x); child = ours.end(child))
      if (matchings_[0].inA(child) == kNone && !isTaken[child]) childrenX.push_back(child);
    for (Ordinal child = y + 1; child < theirs.end(y); child = theirs.end(child))
      if (matchings_[1].inA(child) == kNone && twins[child] == kNone) childrenY.push_back(child);
    for (const auto mark : {&Marks::tree, &Marks::name}) {
      const auto keyIn = [mark](const Outline& outline) {
        return [&outline, mark](Ordinal at) {
          const Mark own = outline.marks(at).*mark;
          return own == 0 ? own : mixed(own, outline.slot(at));
        };
      };
      pairByKey(childrenX, childrenY, keyIn(ours), keyIn(theirs), pair);
    }
  }
  return twins;
}

NodePlace Nodes::place(NodeId node, Version version) const noexcept {
  const Ordinal at = nodes_[node][version];
  if (at == kNone || at == 0) return {};
  return {ids_[version][outlines_[version].container(at)], outlines_[version].slot(at)};
}

SlotValues Nodes::values(NodeId node, Version version, std::size_t slot) const noexcept {
  if (has(node, version)) return valuesIn(record(node, version), slot);
  for (const Version other : {kOurs, kTheirs, kBase}) {
    if (!has(node, other)) continue;
    SlotValues unset;
    unset.property = &record(node, other)->use->property(slot);
    return unset;
  }
  return {};
}

bool Nodes::isAsInBase(NodeId node, Version version, std::size_t slot) const {
  const SlotValues before = values(node, kBase, slot);
  const SlotValues after = values(node, version, slot);
  if (areEqual(side(kBase), before, side(version), after)) return true;
  if (!before.isReference()) return false;
  std::vector<cells::Cell> kept;
  for (std::uint32_t k = 0; k < before.size; ++k)
    if (before.isUnresolved(k) || has(side(kBase).idOf(before.items[k]), version))
      kept.push_back(before.items[k]);
  if (kept.size() == before.size) return false;
  SlotValues left = before;
  left.items = kept.data();
  left.size = static_cast<std::uint32_t>(kept.size());
  if (kept.empty()) left.state = before.property->isMany() ? PropertyState::empty : PropertyState::unset;
  return areEqual(side(kBase), left, side(version), after);
}

bool Nodes::isChanged(NodeId node, Version version) const {
  if (place(node, kBase) != place(node, version)) return true;
  if (!haveSameIdentity(record(node, kBase), record(node, version))) return true;
  std::vector<std::uint16_t> slots;
  listSlots(record(node, kBase), record(node, version), slots);
  for (const std::uint16_t slot : slots)
    if (!isAsInBase(node, version, slot)) return true;
  const Outline& outline = outlines_[version];
  const Ordinal at = nodes_[node][version];
  for (Ordinal child = at + 1; child < outline.end(at); child = outline.end(child))
    if (place(ids_[version][child], kBase) != place(ids_[version][child], version)) return true;
  return false;
}

}  // namespace kr::zero::compare
