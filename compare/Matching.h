/// @file
/// Internal: which element of one model is which of another.
///
/// What is certain comes first: identities, then from the top down the elements of matching containers whose
/// content is the same, by name and by values. Then what is the same wherever it stands, and only then what
/// is similar. Lists are gone through side by side as long as they agree; what is left is sorted by its
/// marks, so that no step holds each element against each other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "Outline.h"

namespace kr::zero::compare {

class Matching {
 public:
  Matching(const Outline& a, const Outline& b);

  /// The partner of an element, or kNone. The models themselves are partners.
  Ordinal inB(Ordinal a) const noexcept { return inB_[a]; }
  Ordinal inA(Ordinal b) const noexcept { return inA_[b]; }
  const std::vector<Ordinal>& allInB() const noexcept { return inB_; }
  const std::vector<Ordinal>& allInA() const noexcept { return inA_; }

 private:
  friend class Matcher;
  std::vector<Ordinal> inB_;
  std::vector<Ordinal> inA_;
};

/// Goes through two lists side by side: places with equal marks, growing in both lists. As many as can be,
/// where the lists differ by a few entries at a time; where they differ by more, some may be missed.
/// @return places in the one and in the other. An entry whose mark is 0 equals none.
std::vector<std::pair<std::size_t, std::size_t>> alignMarks(const std::vector<Mark>& a,
                                                            const std::vector<Mark>& b);

/// Pairs what has equal keys, each once and in order; in both lists that remains which has no partner.
/// @param key gives the Mark of an entry of either list; 0: it has none.
/// @param pair is called with an entry of each.
template <class Entry, class KeyA, class KeyB, class Pair>
void pairByKey(std::vector<Entry>& listA, std::vector<Entry>& listB, KeyA keyA, KeyB keyB, Pair pair);

/// The same for lists that mostly agree: no sorting where they do.
template <class Entry, class KeyA, class KeyB, class Pair>
void pairAlong(std::vector<Entry>& listA, std::vector<Entry>& listB, KeyA keyA, KeyB keyB, Pair pair);

}  // namespace kr::zero::compare

#include "Pairing.h"
