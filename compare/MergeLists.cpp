#include "MergeLists.h"

#include <algorithm>
#include <cstddef>
#include <unordered_map>
#include <unordered_set>

namespace kr::zero::compare {

namespace {

using Entries = std::unordered_set<std::uint32_t>;

Entries setOf(const ListEntries& list) { return {list.begin(), list.end()}; }

/// What of a list is in both sets, in its order.
ListEntries common(const ListEntries& list, const Entries& first, const Entries& second) {
  ListEntries result;
  for (const std::uint32_t entry : list)
    if (first.contains(entry) && second.contains(entry)) result.push_back(entry);
  return result;
}

/// Puts what only `other` has into the order of `list`, each behind what it stands behind in `other`.
/// @param isLast whether it goes behind what only `list` has there.
ListEntries weave(const ListEntries& list, const ListEntries& other, bool isLast) {
  const Entries known = setOf(list);
  const Entries shared = setOf(other);
  std::unordered_map<std::uint32_t, ListEntries> behind;  // what follows an entry of `list`, or the start
  constexpr std::uint32_t kStart = 0xFFFFFFFF;
  std::uint32_t anchor = kStart;
  for (const std::uint32_t entry : other)
    if (known.contains(entry))
      anchor = entry;
    else
      behind[anchor].push_back(entry);
  ListEntries result;
  ListEntries waiting;
  const auto release = [&] {
    result.insert(result.end(), waiting.begin(), waiting.end());
    waiting.clear();
  };
  const auto arrive = [&](std::uint32_t entry) {
    const auto found = behind.find(entry);
    if (found != behind.end()) waiting = found->second;
    if (!isLast) release();
  };
  arrive(kStart);
  for (const std::uint32_t entry : list) {
    if (shared.contains(entry)) release();
    result.push_back(entry);
    if (shared.contains(entry)) arrive(entry);
  }
  release();
  return result;
}

}  // namespace

MergedList mergeLists(const ListEntries& base, const ListEntries& ours, const ListEntries& theirs) {
  if (ours == theirs) return {ours, false};
  const Entries inBase = setOf(base);
  const Entries inOurs = setOf(ours);
  const Entries inTheirs = setOf(theirs);
  const ListEntries before = common(base, inOurs, inTheirs);
  const ListEntries orderOfOurs = common(ours, inBase, inTheirs);
  const ListEntries orderOfTheirs = common(theirs, inBase, inOurs);
  const bool isOrderOfTheirs = orderOfOurs == before && orderOfTheirs != before;
  if (isOrderOfTheirs) return {weave(theirs, ours, false), false};
  return {weave(ours, theirs, true), orderOfTheirs != before && orderOfTheirs != orderOfOurs};
}

}  // namespace kr::zero::compare
