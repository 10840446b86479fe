/// @file
/// Internal: three versions of a model as one set of elements.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "Matching.h"
#include "Outline.h"
#include "Values.h"

namespace kr::zero::compare {

/// The versions of a merge.
enum Version : std::uint8_t { kBase = 0, kOurs = 1, kTheirs = 2 };

/// An element with its number in each version, kNone where it is not there. Node 0 is the model.
using Node = std::array<Ordinal, 3>;
using NodeId = std::uint32_t;

/// Where an element stands; a root stands in node 0.
struct NodePlace {
  NodeId container = kNone;
  std::uint16_t slot = 0;
  bool isThere() const noexcept { return container != kNone; }
  friend bool operator==(const NodePlace&, const NodePlace&) = default;
};

/// Base's elements come first and in their order, then those that ours added, then those of theirs. Those
/// that both added are one where identity, name or content say so.
class Nodes {
 public:
  Nodes(const Model& base, const Model& ours, const Model& theirs, const CompareOptions& options);

  std::size_t size() const noexcept { return nodes_.size(); }
  const Outline& outline(Version version) const noexcept { return outlines_[version]; }
  Side side(Version version) const noexcept { return {&outlines_[version], &ids_[version]}; }
  Ordinal at(NodeId node, Version version) const noexcept { return nodes_[node][version]; }
  bool has(NodeId node, Version version) const noexcept { return nodes_[node][version] != kNone; }
  NodeId idOf(Version version, Ordinal at) const noexcept { return ids_[version][at]; }
  NodePlace place(NodeId node, Version version) const noexcept;
  const ElementRecord* record(NodeId node, Version version) const noexcept {
    return outlines_[version].record(nodes_[node][version]);
  }
  /// What a version says in a slot; unset where it has no such element.
  SlotValues values(NodeId node, Version version, std::size_t slot) const noexcept;

  /// Whether a version says the same as base in a slot, but for references to what it removed.
  bool isAsInBase(NodeId node, Version version, std::size_t slot) const;
  /// Whether a version changed an element: place, identity, values, or what is put into it.
  bool isChanged(NodeId node, Version version) const;

 private:
  void addOurs();
  void addTheirs();
  std::vector<Ordinal> pairAdditions() const;

  std::array<Outline, 3> outlines_;
  std::array<Matching, 2> matchings_;  // of base with ours, and with theirs
  std::array<std::vector<NodeId>, 3> ids_;
  std::vector<Node> nodes_;
};

}  // namespace kr::zero::compare
