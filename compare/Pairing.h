/// @file
/// Internal: the bodies of the templates of Matching.h.
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "Matching.h"

namespace kr::zero::compare {

namespace pairing {

/// An entry of a list with its key: sorted, equal ones stand together and in order.
struct Keyed {
  Mark key;
  std::size_t place;
  friend bool operator<(const Keyed& a, const Keyed& b) noexcept {
    return a.key != b.key ? a.key < b.key : a.place < b.place;
  }
};

template <class Entry, class Key>
std::vector<Keyed> sortByKey(const std::vector<Entry>& list, Key key) {
  std::vector<Keyed> sorted;
  sorted.reserve(list.size());
  for (std::size_t i = 0; i < list.size(); ++i)
    if (const Mark mark = key(list[i]); mark != 0) sorted.push_back({mark, i});
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}

template <class Entry>
void keepOthers(std::vector<Entry>& list, const std::vector<bool>& taken) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < list.size(); ++i)
    if (!taken[i]) list[kept++] = list[i];
  list.resize(kept);
}

}  // namespace pairing

template <class Entry, class KeyA, class KeyB, class Pair>
void pairByKey(std::vector<Entry>& listA, std::vector<Entry>& listB, KeyA keyA, KeyB keyB, Pair pair) {
  if (listA.empty() || listB.empty()) return;
  const auto sortedA = pairing::sortByKey(listA, keyA);
  const auto sortedB = pairing::sortByKey(listB, keyB);
  std::vector<std::pair<std::size_t, std::size_t>> pairs;
  for (auto a = sortedA.begin(), b = sortedB.begin(); a != sortedA.end() && b != sortedB.end();) {
    if (a->key == b->key)
      pairs.emplace_back((a++)->place, (b++)->place);
    else if (a->key < b->key)
      ++a;
    else
      ++b;
  }
  if (pairs.empty()) return;
  std::sort(pairs.begin(), pairs.end());  // keys differ from run to run, what is found does not
  std::vector<bool> takenA(listA.size());
  std::vector<bool> takenB(listB.size());
  for (const auto& [a, b] : pairs) {
    if (!pair(listA[a], listB[b])) continue;
    takenA[a] = takenB[b] = true;
  }
  pairing::keepOthers(listA, takenA);
  pairing::keepOthers(listB, takenB);
}

template <class Entry, class KeyA, class KeyB, class Pair>
void pairAlong(std::vector<Entry>& listA, std::vector<Entry>& listB, KeyA keyA, KeyB keyB, Pair pair) {
  std::vector<Mark> marksA;
  std::vector<Mark> marksB;
  marksA.reserve(listA.size());
  marksB.reserve(listB.size());
  for (const Entry& entry : listA) marksA.push_back(keyA(entry));
  for (const Entry& entry : listB) marksB.push_back(keyB(entry));
  std::vector<bool> takenA(listA.size());
  std::vector<bool> takenB(listB.size());
  for (const auto& [a, b] : alignMarks(marksA, marksB))
    if (pair(listA[a], listB[b])) takenA[a] = takenB[b] = true;
  pairing::keepOthers(listA, takenA);
  pairing::keepOthers(listB, takenB);
  pairByKey(listA, listB, keyA, keyB, pair);
}

}  // namespace kr::zero::compare
