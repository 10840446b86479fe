/// @file
/// Internal: what is left of three versions, and where it stands.
#pragma once

#include <cstdint>
#include <vector>

#include "Nodes.h"

namespace kr::zero::compare {

/// Decides for every node whether it stays, and which version says where it stands.
class MergePlaces {
 public:
  explicit MergePlaces(const Nodes& nodes);

  bool isAlive(NodeId node) const noexcept { return isAlive_[node]; }
  NodePlace place(NodeId node) const noexcept { return nodes_.place(node, version_[node]); }
  /// Whether one side removed what the other changed.
  bool isRemovalDisputed(NodeId node) const noexcept { return isRemovalDisputed_[node]; }
  /// Whether the sides put it into different places, or its place of theirs is not to be had.
  bool isPlaceDisputed(NodeId node) const noexcept { return isPlaceDisputed_[node]; }

 private:
  void choosePlaces();
  void keepWhatIsReferred();
  void noteReferred(NodeId node);
  void decideRemovals();
  bool fallBackToOurs(NodeId node);
  bool settleTheirs();
  bool settleOurs();
  bool settleCircles();
  bool isTaken(NodeId node) const;

  const Nodes& nodes_;
  std::vector<bool> isAlive_;
  std::vector<Version> version_;  // whose place
  std::vector<bool> isNeeded_;    // by a reference that only ours has
  std::vector<bool> isRemovalDisputed_;
  std::vector<bool> isPlaceDisputed_;
};

}  // namespace kr::zero::compare
