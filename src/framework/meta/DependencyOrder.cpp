#include "meta/DependencyOrder.h"

#include <algorithm>
#include <cstddef>

namespace kr::zero::meta {

std::vector<std::uint32_t> orderByDependencies(const Dependencies& needs) {
  Dependencies neededBy(needs.size());
  std::vector<std::size_t> missing(needs.size());
  std::vector<std::uint32_t> order;
  order.reserve(needs.size());
  for (std::uint32_t i = 0; i < needs.size(); ++i) {
    missing[i] = needs[i].size();
    for (const std::uint32_t needed : needs[i]) neededBy[needed].push_back(i);
    if (missing[i] == 0) order.push_back(i);
  }
  for (std::size_t done = 0; done < order.size(); ++done)
    for (const std::uint32_t waiting : neededBy[order[done]])
      if (--missing[waiting] == 0) order.push_back(waiting);
  return order;
}

std::vector<std::uint32_t> findCircle(const Dependencies& needs, const std::vector<std::uint32_t>& order) {
  std::vector<bool> left(needs.size(), true);
  for (const std::uint32_t i : order) left[i] = false;
  const auto first = std::find(left.begin(), left.end(), true);
  if (first == left.end()) return {};

  // Whatever is left needs something that is left: going on from there must come back.
  constexpr std::size_t kUnseen = static_cast<std::size_t>(-1);
  std::vector<std::size_t> seenAt(needs.size(), kUnseen);
  std::vector<std::uint32_t> path;
  auto current = static_cast<std::uint32_t>(first - left.begin());
  while (seenAt[current] == kUnseen) {
    seenAt[current] = path.size();
    path.push_back(current);
    current = *std::find_if(needs[current].begin(), needs[current].end(),
                            [&left](std::uint32_t needed) { return left[needed]; });
  }
  path.erase(path.begin(), path.begin() + static_cast<std::ptrdiff_t>(seenAt[current]));
  return path;
}

}  // namespace kr::zero::meta
