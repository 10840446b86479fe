/// @file
/// The content as a program would declare it that has no library for models: structs that hold their parts.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "Content.h"

namespace kr::zero::bench {

struct Node {
  std::uint32_t id = 0;  ///< the item's position plus 1; `item.original` and `item.related` hold positions
  Item item;             ///< its depth is not stored: it follows from where the node is
  std::vector<Node> parts;
};
using Nodes = std::vector<Node>;

Nodes makeNodes(const Content& content);

/// The inverse of makeNodes.
Content contentOf(const Nodes& nodes);

/// Calls visit(node, depth) for every node in document order. Parts are found in `node.parts`.
template <class Visit>
void forEachNode(const Nodes& nodes, Visit visit) {
  struct Open {
    const Nodes* nodes;
    std::size_t next;
  };
  std::vector<Open> open{{&nodes, 0}};
  while (!open.empty()) {
    Open& innermost = open.back();
    if (innermost.next == innermost.nodes->size()) {
      open.pop_back();
      continue;
    }
    const Node& node = (*innermost.nodes)[innermost.next++];
    visit(node, static_cast<std::uint32_t>(open.size() - 1));
    open.push_back({&node.parts, 0});
  }
}

}  // namespace kr::zero::bench
