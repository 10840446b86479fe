#include "Matching.h"

#include <array>

#include "Values.h"

namespace kr::zero::compare {

namespace {

/// Children, properties and candidates looked at to tell how alike two elements are.
constexpr std::size_t kSample = 16;
/// So many candidates are held against an element.
constexpr std::size_t kCandidates = 8;

/// How alike two elements of one class are.
struct Likeness {
  std::size_t same = 0;
  std::size_t different = 0;
  /// @param isOnlyPlace whether just one element has room where these stand.
  bool isEnough(bool isOnlyPlace) const noexcept {
    return different <= 1 || same >= different || (isOnlyPlace && same > 0);
  }
  /// Also for elements that stand in places that have nothing to do with each other.
  bool isStriking() const noexcept { return same >= 2 && same > different; }
  friend bool operator>(const Likeness& a, const Likeness& b) noexcept {
    const auto weight = [](const Likeness& l) {
      return static_cast<std::int64_t>(l.same) - static_cast<std::int64_t>(l.different);
    };
    return weight(a) > weight(b);
  }
};

/// A child without a partner, with what stands before it.
struct Loose {
  Ordinal at;
  std::uint32_t slot;
  Ordinal before;  // the last one before it that has a partner among the children of the other container
};

}  // namespace

class Matcher {
 public:
  Matcher(const Outline& a, const Outline& b, Matching& matching)
      : a_(a), b_(b), inB_(matching.inB_), inA_(matching.inA_), isVisited_(a.size()) {
    inB_.assign(a.size(), kNone);
    inA_.assign(b.size(), kNone);
  }

  void run() {
    inB_[0] = 0;
    inA_[0] = 0;
    matchNamedForGood();
    push(0);
    visitAll();
    matchOnlyRoot();
    matchEqualAnywhere();
    visitAll();
    matchAroundChildren();
    visitAll();
    useLikeness_ = true;
    for (const Ordinal at : std::vector<Ordinal>(std::move(unfinished_))) push(at);
    visitAll();
    matchAroundChildren();
    visitAll();
    matchAlikeAnywhere();
    visitAll();
    matchAroundChildren();
    visitAll();
  }

 private:
  bool isFree(Ordinal a, Ordinal b) const noexcept { return inB_[a] == kNone && inA_[b] == kNone; }
  bool haveOneType(Ordinal a, Ordinal b) const noexcept {
    return a_.record(a)->use->type == b_.record(b)->use->type;
  }

  bool match(Ordinal a, Ordinal b) {
    if (!isFree(a, b) || !haveOneType(a, b)) return false;
    inB_[a] = b;
    inA_[b] = a;
    return true;
  }

  void push(Ordinal a) {
    isVisited_[a] = true;
    pending_.push_back(a);
  }

  /// Identities, wherever they are.
  void matchNamedForGood() {
    std::vector<Ordinal> namedA = listStrong(a_);
    std::vector<Ordinal> namedB = listStrong(b_);
    pairAlong(
        namedA, namedB, [&](Ordinal at) { return a_.marks(at).strong; },
        [&](Ordinal at) { return b_.marks(at).strong; }, [&](Ordinal a, Ordinal b) { return match(a, b); });
  }

  static std::vector<Ordinal> listStrong(const Outline& outline) {
    std::vector<Ordinal> named;
    for (Ordinal at = 1; at < outline.size(); ++at)
      if (outline.marks(at).strong != 0) named.push_back(at);
    return named;
  }

  /// Goes through all pairs that were not visited, and what is below them.
  void visitAll() {
    visitPending();
    for (Ordinal at = 1; at < a_.size(); ++at) {
      if (isVisited_[at] || inB_[at] == kNone) continue;
      push(at);
      visitPending();
    }
  }

  void visitPending() {
    while (!pending_.empty()) {
      const Ordinal at = pending_.back();
      pending_.pop_back();
      visit(at, inB_[at]);
    }
  }

  void visit(Ordinal a, Ordinal b) {
    if (a != 0 && a_.marks(a).tree == b_.marks(b).tree && matchWhole(a, b)) return;
    std::vector<Ordinal> looseA = listLoose(a_, a, inB_);
    std::vector<Ordinal> looseB = listLoose(b_, b, inA_);
    if (!looseA.empty() && !looseB.empty()) matchChildren(a, b, looseA, looseB);
    for (Ordinal child = a + 1; child < a_.end(a); child = a_.end(child))
      if (inB_[child] != kNone && !isVisited_[child]) push(child);
  }

  /// Two trees that say the same, side by side.
  bool matchWhole(Ordinal a, Ordinal b) {
    const Ordinal size = a_.end(a) - a;
    if (b_.end(b) - b != size) return false;
    for (Ordinal i = 1; i < size; ++i)
      if (a_.container(a + i) - a != b_.container(b + i) - b) return false;
    bool isWhole = true;
    for (Ordinal i = 1; i < size; ++i) {
      if (inB_[a + i] == b + i || match(a + i, b + i))
        isVisited_[a + i] = true;
      else
        isWhole = false;
    }
    return isWhole;
  }

  static std::vector<Ordinal> listLoose(const Outline& outline, Ordinal at,
                                        const std::vector<Ordinal>& partners) {
    std::vector<Ordinal> loose;
    for (Ordinal child = at + 1; child < outline.end(at); child = outline.end(child))
      if (partners[child] == kNone) loose.push_back(child);
    return loose;
  }

  void matchChildren(Ordinal a, Ordinal b, std::vector<Ordinal>& looseA, std::vector<Ordinal>& looseB) {
    const auto key = [](const Outline& outline) {
      return [&outline](Ordinal at) {
        return mixed(mixed(outline.marks(at).tree, outline.incoming(at)), outline.slot(at));
      };
    };
    pairAlong(looseA, looseB, key(a_), key(b_), [&](Ordinal x, Ordinal y) { return match(x, y); });
    if (looseA.empty() || looseB.empty()) return;
    matchBy(&Marks::tree, a, b, looseA, looseB);
    matchBy(&Marks::name, a, b, looseA, looseB);
    matchBy(&Marks::content, a, b, looseA, looseB);
    if (useLikeness_) {
      matchAlike(a, b, looseA, looseB, true);
      matchAlike(a, b, looseA, looseB, false);
    } else if (!looseA.empty() && !looseB.empty()) {
      unfinished_.push_back(a);
    }
  }

  /// Pairs by a mark: first those that stand behind the same one, then all others.
  void matchBy(Mark Marks::*mark, Ordinal a, Ordinal b, std::vector<Ordinal>& looseA,
               std::vector<Ordinal>& looseB) {
    for (const bool isNear : {true, false}) {
      if (looseA.empty() || looseB.empty()) return;
      std::vector<Loose> listA = withNeighbours(a_, a, looseA, b, b_, inB_, false);
      std::vector<Loose> listB = withNeighbours(b_, b, looseB, a, a_, inA_, true);
      const auto key = [&](const Outline& outline) {
        return [&outline, mark, isNear](const Loose& loose) {
          const Mark own = outline.marks(loose.at).*mark;
          if (own == 0 || (mark == &Marks::content && !hasContent(outline, loose.at))) return Mark{0};
          return mixed(mixed(own, loose.slot), isNear ? loose.before : kNone);
        };
      };
      pairByKey(listA, listB, key(a_), key(b_),
                [&](const Loose& x, const Loose& y) { return match(x.at, y.at); });
      keepLoose(listA, looseA);
      keepLoose(listB, looseB);
    }
  }

  static void keepLoose(const std::vector<Loose>& from, std::vector<Ordinal>& loose) {
    loose.clear();
    for (const Loose& each : from) loose.push_back(each.at);
  }

  /// Whether an element says enough of its own to be known by it.
  static bool hasContent(const Outline& outline, Ordinal at) {
    const ElementRecord* const record = outline.record(at);
    for (std::uint16_t i = 0; i < record->count; ++i)
      if (isValue(valuesAt(record, i))) return true;
    return false;
  }

  /// @param loose children of `at`, in order.
  /// @param isSecond whether this is the side that names what stands before, so that both use one name.
  static std::vector<Loose> withNeighbours(const Outline& outline, Ordinal at,
                                           const std::vector<Ordinal>& loose, Ordinal other,
                                           const Outline& otherOutline, const std::vector<Ordinal>& partners,
                                           bool isSecond) {
    std::vector<Loose> list;
    list.reserve(loose.size());
    Ordinal before = 0;
    std::uint32_t slot = UINT32_MAX;
    std::size_t next = 0;
    for (Ordinal child = at + 1; child < outline.end(at) && next < loose.size(); child = outline.end(child)) {
      if (outline.slot(child) != slot) {
        slot = outline.slot(child);
        before = 0;
      }
      if (child == loose[next]) {
        list.push_back({child, slot, before});
        ++next;
        continue;
      }
      const Ordinal partner = partners[child];
      if (partner == kNone || otherOutline.container(partner) != other || otherOutline.slot(partner) != slot)
        continue;
      before = isSecond ? child : partner;
    }
    return list;
  }

  /// Pairs what is similar among loose children: of each, the candidates nearest in order are looked at.
  void matchAlike(Ordinal a, Ordinal b, std::vector<Ordinal>& looseA, std::vector<Ordinal>& looseB,
                  bool isNear) {
    if (looseA.empty() || looseB.empty()) return;
    const std::vector<Loose> listA = withNeighbours(a_, a, looseA, b, b_, inB_, false);
    const std::vector<Loose> listB = withNeighbours(b_, b, looseB, a, a_, inA_, true);
    const auto key = [&](const Outline& outline) {
      return [&outline, isNear](const Loose& loose) {
        const Mark type = mixed(7, outline.record(loose.at)->use->type->getIndex());
        return mixed(mixed(type, loose.slot), isNear ? loose.before : kNone);
      };
    };
    const auto sortedA = pairing::sortByKey(listA, key(a_));
    const auto sortedB = pairing::sortByKey(listB, key(b_));
    std::vector<std::pair<Ordinal, Ordinal>> found;
    for (auto x = sortedA.begin(), y = sortedB.begin(); x != sortedA.end() && y != sortedB.end();) {
      if (x->key != y->key) {
        x->key < y->key ? ++x : ++y;
        continue;
      }
      const Mark group = x->key;
      const auto endOf = [group](auto it, auto end) {
        while (it != end && it->key == group) ++it;
        return it;
      };
      const auto endX = endOf(x, sortedA.end());
      const auto endY = endOf(y, sortedB.end());
      std::vector<Ordinal> groupA;
      std::vector<Ordinal> groupB;
      for (; x != endX; ++x) groupA.push_back(listA[x->place].at);
      for (; y != endY; ++y) groupB.push_back(listB[y->place].at);
      const meta::Property property = a_.containingProperty(groupA.front());
      matchGroup(groupA, groupB, property && !property->isMany());
    }
    const auto drop = [](std::vector<Ordinal>& loose, const std::vector<Ordinal>& partners) {
      std::erase_if(loose, [&](Ordinal at) { return partners[at] != kNone; });
    };
    drop(looseA, inB_);
    drop(looseB, inA_);
  }

  /// Elements of one class in one place.
  void matchGroup(const std::vector<Ordinal>& groupA, const std::vector<Ordinal>& groupB, bool isOnlyPlace) {
    std::size_t first = 0;  // of those of the second group that may be free
    for (std::size_t i = 0; i < groupA.size(); ++i) {
      while (first < groupB.size() && inA_[groupB[first]] != kNone) ++first;
      Ordinal best = kNone;
      Likeness most;
      std::size_t looked = 0;
      const std::size_t from = std::max(first, i < kCandidates / 2 ? 0 : i - kCandidates / 2);
      for (std::size_t j = from; j < groupB.size() && looked < 2 * kCandidates; ++j, ++looked) {
        if (inA_[groupB[j]] != kNone) continue;
        const Likeness likeness = compare(groupA[i], groupB[j]);
        if (!likeness.isEnough(isOnlyPlace) || (best != kNone && !(likeness > most))) continue;
        best = groupB[j];
        most = likeness;
      }
      if (best != kNone) match(groupA[i], best);
    }
  }

  Likeness compare(Ordinal a, Ordinal b) {
    Likeness likeness;
    listSlots(a_.record(a), b_.record(b), slots_);
    for (const std::uint16_t slot : slots_) {
      const bool isSame = areAlike(valuesIn(a_.record(a), slot), valuesIn(b_.record(b), slot));
      ++(isSame ? likeness.same : likeness.different);
    }
    const Mark incoming = a_.incoming(a);
    if (incoming != 0 && incoming == b_.incoming(b)) likeness.same += 2;  // others hold them for the same
    compareChildren(a, b, likeness);
    return likeness;
  }

  bool areAlike(const SlotValues& a, const SlotValues& b) const {
    if (a.state != b.state || a.size != b.size) return false;
    for (std::uint32_t k = 0; k < a.size; ++k) {
      if (!a.isReference() || (a.isUnresolved(k) && b.isUnresolved(k))) {
        if (!areEqual(a, k, b, k)) return false;
      } else if (a.isUnresolved(k) || b.isUnresolved(k)) {
        return false;
      } else {
        const Ordinal targetA = a_.ordinalOfIndex(cells::targetIndex(a.items[k]));
        const Ordinal targetB = b_.ordinalOfIndex(cells::targetIndex(b.items[k]));
        if (inB_[targetA] != targetB && a_.marks(targetA).own != b_.marks(targetB).own) return false;
      }
    }
    return true;
  }

  /// The first children of each: whether they are partners, or some that are the same or have one name.
  void compareChildren(Ordinal a, Ordinal b, Likeness& likeness) {
    std::array<Mark, 2 * kSample> marks;
    std::size_t known = 0;
    std::size_t sizeB = 0;
    for (Ordinal child = b + 1; child < b_.end(b) && sizeB < kSample; child = b_.end(child), ++sizeB) {
      marks[known++] = b_.marks(child).tree;
      if (b_.marks(child).name != 0) marks[known++] = b_.marks(child).name;
    }
    const auto isKnown = [&](Mark mark) {
      return std::find(marks.begin(), marks.begin() + static_cast<std::ptrdiff_t>(known), mark) !=
             marks.begin() + static_cast<std::ptrdiff_t>(known);
    };
    std::size_t sizeA = 0;
    std::size_t same = 0;
    for (Ordinal child = a + 1; child < a_.end(a) && sizeA < kSample; child = a_.end(child), ++sizeA) {
      const Ordinal partner = inB_[child];
      if (partner != kNone)
        same += b_.container(partner) == b;
      else
        same += isKnown(a_.marks(child).tree) || isKnown(a_.marks(child).name);
    }
    likeness.same += same;
    // Half of the others: children that changed are still to be matched themselves.
    likeness.different += (std::max(sizeA, sizeB) - std::min(same, std::max(sizeA, sizeB))) / 2;
  }

  /// A model is mostly one tree: its root stays the root.
  void matchOnlyRoot() {
    const auto isOne = [](const Outline& outline) {
      return outline.size() > 1 && outline.end(1) == outline.size();
    };
    if (isOne(a_) && isOne(b_) && match(1, 1)) visitAll();
  }

  /// Elements without a partner that say enough to be told from others, the largest trees first.
  std::vector<Ordinal> listTelling(const Outline& outline, const std::vector<Ordinal>& partners) const {
    std::vector<Ordinal> list;
    for (Ordinal at = 1; at < outline.size(); ++at)
      if (partners[at] == kNone && isTelling(outline, at)) list.push_back(at);
    std::stable_sort(list.begin(), list.end(),
                     [&](Ordinal x, Ordinal y) { return outline.end(x) - x > outline.end(y) - y; });
    return list;
  }

  static bool isTelling(const Outline& outline, Ordinal at) {
    std::size_t said = outline.end(at) - at - 1;
    const ElementRecord* const record = outline.record(at);
    for (std::uint16_t i = 0; i < record->count && said < 2; ++i) said += isValue(valuesAt(record, i));
    return said >= 2;
  }

  /// What was moved: the same tree elsewhere, then the same content.
  void matchEqualAnywhere() {
    for (const auto mark : {&Marks::tree, &Marks::content}) {
      std::vector<Ordinal> listA = listTelling(a_, inB_);
      std::vector<Ordinal> listB = listTelling(b_, inA_);
      if (listA.empty() || listB.empty()) return;
      dropAmbiguous(listA, listB, mark);
      pairByKey(
          listA, listB, [&](Ordinal at) { return a_.marks(at).*mark; },
          [&](Ordinal at) { return b_.marks(at).*mark; },
          [&](Ordinal a, Ordinal b) {
            if (!match(a, b)) return false;
            if (mark == &Marks::tree) matchWhole(a, b);
            return true;
          });
    }
  }

  /// Where one side has more of the same than the other, nobody knows which is which.
  void dropAmbiguous(std::vector<Ordinal>& listA, std::vector<Ordinal>& listB, Mark Marks::*mark) const {
    const auto sortedA = pairing::sortByKey(listA, [&](Ordinal at) { return a_.marks(at).*mark; });
    const auto sortedB = pairing::sortByKey(listB, [&](Ordinal at) { return b_.marks(at).*mark; });
    std::vector<bool> isDropped(listA.size());
    std::size_t b = 0;
    for (std::size_t a = 0; a < sortedA.size();) {
      std::size_t endA = a;
      while (endA < sortedA.size() && sortedA[endA].key == sortedA[a].key) ++endA;
      while (b < sortedB.size() && sortedB[b].key < sortedA[a].key) ++b;
      std::size_t endB = b;
      while (endB < sortedB.size() && sortedB[endB].key == sortedA[a].key) ++endB;
      if (endA - a != endB - b)
        for (std::size_t i = a; i < endA; ++i) isDropped[sortedA[i].place] = true;
      a = endA;
      b = endB;
    }
    pairing::keepOthers(listA, isDropped);
  }

  /// Containers whose children went to one other container together.
  void matchAroundChildren() {
    for (Ordinal a = a_.size(); a-- > 1;) {
      if (inB_[a] != kNone || a_.end(a) == a + 1) continue;
      std::array<Ordinal, kSample> places{};
      std::size_t known = 0;
      std::size_t looked = 0;
      for (Ordinal child = a + 1; child < a_.end(a) && looked < kSample; child = a_.end(child), ++looked)
        if (inB_[child] != kNone) places[known++] = b_.container(inB_[child]);
      if (2 * known < looked || known == 0) continue;
      std::sort(places.begin(), places.begin() + static_cast<std::ptrdiff_t>(known));
      const Ordinal middle = places[known / 2];  // where most are, if most are in one place
      const auto votes =
          std::count(places.begin(), places.begin() + static_cast<std::ptrdiff_t>(known), middle);
      if (2 * static_cast<std::size_t>(votes) > known && middle != 0) match(a, middle);
    }
  }

  /// What was moved and changed: candidates are those with which an element has a rare value in common.
  void matchAlikeAnywhere() {
    const std::vector<Ordinal> listA = listTelling(a_, inB_);
    const std::vector<Ordinal> listB = listTelling(b_, inA_);
    if (listA.empty() || listB.empty()) return;
    std::vector<pairing::Keyed> index;
    std::vector<Mark> traits;
    for (std::size_t i = 0; i < listB.size(); ++i) {
      listTraits(b_, listB[i], traits);
      for (const Mark trait : traits) index.push_back({trait, i});
    }
    std::sort(index.begin(), index.end());
    for (const Ordinal a : listA) {
      if (inB_[a] != kNone) continue;
      listTraits(a_, a, traits);
      matchBest(a, traits, listB, index);
    }
  }

  void matchBest(Ordinal a, const std::vector<Mark>& traits, const std::vector<Ordinal>& listB,
                 const std::vector<pairing::Keyed>& index) {
    std::vector<std::size_t> candidates;
    for (const Mark trait : traits) {
      const auto first = std::lower_bound(index.begin(), index.end(), pairing::Keyed{trait, 0});
      auto last = first;
      while (last != index.end() && last->key == trait &&
             static_cast<std::size_t>(last - first) <= kCandidates)
        ++last;
      if (static_cast<std::size_t>(last - first) > kCandidates) continue;
      for (auto it = first; it != last; ++it) candidates.push_back(it->place);
    }
    std::sort(candidates.begin(), candidates.end());
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    Ordinal best = kNone;
    Likeness most;
    for (const std::size_t candidate : candidates) {
      const Ordinal b = listB[candidate];
      if (!isFree(a, b) || !haveOneType(a, b)) continue;
      const Likeness likeness = compare(a, b);
      if (!likeness.isStriking() || (best != kNone && !(likeness > most))) continue;
      best = b;
      most = likeness;
    }
    if (best != kNone) match(a, best);
  }

  static void listTraits(const Outline& outline, Ordinal at, std::vector<Mark>& traits) {
    traits.clear();
    const ElementRecord* const record = outline.record(at);
    const Mark type = mixed(9, record->use->type->getIndex());
    for (std::uint16_t i = 0; i < record->count && traits.size() < kSample; ++i) {
      const SlotValues values = valuesAt(record, i);
      if (!isValue(values) || values.isReference()) continue;
      Mark trait = mixed(type, record->slots()[i]);
      for (std::uint32_t k = 0; k < values.size; ++k) trait = mixed(trait, markOf(values, k));
      traits.push_back(trait);
    }
    for (Ordinal child = at + 1; child < outline.end(at) && traits.size() < 2 * kSample;
         child = outline.end(child))
      traits.push_back(mixed(type, outline.marks(child).tree));
  }

  const Outline& a_;
  const Outline& b_;
  std::vector<Ordinal>& inB_;
  std::vector<Ordinal>& inA_;
  std::vector<bool> isVisited_;      // pairs, by their element of the first model
  std::vector<Ordinal> pending_;     // pairs whose children are to be looked at
  std::vector<Ordinal> unfinished_;  // pairs with children left on both sides
  std::vector<std::uint16_t> slots_;
  bool useLikeness_ = false;
};

Matching::Matching(const Outline& a, const Outline& b) { Matcher(a, b, *this).run(); }

}  // namespace kr::zero::compare
