#include "Node.h"

namespace kr::zero::bench {

Nodes makeNodes(const Content& content) {
  Nodes nodes;
  // Only the last node of each level is open, and appending moves only those before it.
  std::vector<Node*> open;
  std::uint32_t id = 0;
  for (const Item& item : content) {
    open.resize(item.depth);
    Nodes& into = open.empty() ? nodes : open.back()->parts;
    into.push_back({++id, item, {}});
    open.push_back(&into.back());
  }
  return nodes;
}

Content contentOf(const Nodes& nodes) {
  Content content;
  forEachNode(nodes, [&](const Node& node, std::uint32_t depth) {
    content.push_back(node.item);
    content.back().depth = depth;
  });
  return content;
}

}  // namespace kr::zero::bench
