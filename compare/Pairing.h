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
  constexpr std::size_t kWindow = 16;  // so many additions or removals in a row are got over
  std::vector<Entry> restA;
  std::vector<Entry> restB;
  std::size_t a = 0;
  std::size_t b = 0;
  const auto isPair = [&](std::size_t i, std::size_t j) {
    if (i >= listA.size() || j >= listB.size()) return false;
    const Mark key = keyA(listA[i]);
    return key != 0 && key == keyB(listB[j]);
  };
  while (a < listA.size() && b < listB.size()) {
    if (isPair(a, b) && pair(listA[a], listB[b])) {
      ++a, ++b;
      continue;
    }
    std::size_t skipA = 1;
    std::size_t skipB = 1;
    for (std::size_t n = 1; n <= kWindow; ++n) {
      if (isPair(a + n, b + n)) {
        skipA = skipB = n;
        break;
      }
      if (isPair(a + n, b)) {
        skipA = n, skipB = 0;
        break;
      }
      if (isPair(a, b + n)) {
        skipA = 0, skipB = n;
        break;
      }
    }
    while (skipA-- > 0 && a < listA.size()) restA.push_back(listA[a++]);
    while (skipB-- > 0 && b < listB.size()) restB.push_back(listB[b++]);
  }
  restA.insert(restA.end(), listA.begin() + static_cast<std::ptrdiff_t>(a), listA.end());
  restB.insert(restB.end(), listB.begin() + static_cast<std::ptrdiff_t>(b), listB.end());
  listA = std::move(restA);
  listB = std::move(restB);
  pairByKey(listA, listB, keyA, keyB, pair);
}

}  // namespace kr::zero::compare
