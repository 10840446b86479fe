#include "kr/zero/compare/ModelDiff.h"

#include <algorithm>
#include <utility>

#include "Comparison.h"
#include "Values.h"

namespace kr::zero::compare {

namespace {

/// Numbers of the elements of the second model that have no partner, where those of the first one are used.
constexpr std::uint32_t kOnlyInB = 0x80000000;

class DifferenceFinder {
 public:
  explicit DifferenceFinder(ModelDiff::Impl& result)
      : result_(result), a_(result.a), b_(result.b), matching_(result.matching) {
    idsB_.resize(b_.size());
    for (Ordinal b = 0; b < b_.size(); ++b)
      idsB_[b] = matching_.inA(b) != kNone ? matching_.inA(b) : b | kOnlyInB;
  }

  void run() {
    findReordered();
    comparePair(0, 0);
    for (Ordinal a = 1; a < a_.size(); ++a) {
      const Ordinal b = matching_.inB(a);
      if (b != kNone)
        comparePair(a, b);
      else if (matching_.inB(a_.container(a)) != kNone)
        noteRemoved(a);
    }
  }

 private:
  bool isAtPlace(Ordinal a, Ordinal b) const {
    return matching_.inB(a_.container(a)) == b_.container(b) && a_.slot(a) == b_.slot(b);
  }

  /// Of the children that stay in one property, as few as possible count as reordered.
  void findReordered() {
    isReordered_.resize(a_.size());
    std::vector<Ordinal> staying;
    std::vector<std::uint32_t> positions;
    const auto settle = [&] {
      if (!std::is_sorted(positions.begin(), positions.end())) {
        const std::vector<bool> stays = longestIncreasing(positions);
        for (std::size_t i = 0; i < staying.size(); ++i) isReordered_[staying[i]] = !stays[i];
      }
      staying.clear();
      positions.clear();
    };
    for (Ordinal a = 0; a < a_.size(); ++a) {
      if (matching_.inB(a) == kNone) continue;
      for (Ordinal child = a + 1; child < a_.end(a); child = a_.end(child)) {
        const Ordinal partner = matching_.inB(child);
        if (partner == kNone || !isAtPlace(child, partner)) continue;
        if (!staying.empty() && a_.slot(staying.back()) != a_.slot(child)) settle();
        staying.push_back(child);
        positions.push_back(b_.position(partner));
      }
      settle();
    }
  }

  void comparePair(Ordinal a, Ordinal b) {
    if (a != 0) {
      if (!isAtPlace(a, b))
        notePlace(DifferenceKind::moved, a, b);
      else if (isReordered_[a])
        notePlace(DifferenceKind::reordered, a, b);
      compareIdentities(a, b);
      compareValues(a, b);
    }
    for (Ordinal child = b + 1; child < b_.end(b); child = b_.end(child))
      if (matching_.inA(child) == kNone) noteAdded(child);
  }

  void compareIdentities(Ordinal a, Ordinal b) {
    if (haveSameIdentity(a_.record(a), b_.record(b))) return;
    Difference& difference = note(DifferenceKind::identity, a, b);
    difference.valueBefore = identityText(a_.record(a));
    difference.valueAfter = identityText(b_.record(b));
  }

  void compareValues(Ordinal a, Ordinal b) {
    listSlots(a_.record(a), b_.record(b), slots_);
    for (const std::uint16_t slot : slots_) {
      const SlotValues before = valuesIn(a_.record(a), slot);
      const SlotValues after = valuesIn(b_.record(b), slot);
      if (areEqual({&a_, nullptr}, before, {&b_, &idsB_}, after)) continue;
      if (before.isReference() && isLeftByRemoval(before, after)) continue;
      Difference& difference = note(DifferenceKind::changed, a, b);
      difference.property = meta::Property(before.property);
      difference.valueBefore = textOf(a_, a, difference.property);
      difference.valueAfter = textOf(b_, b, difference.property);
    }
  }

  /// Whether references are just what is left when those to removed elements go.
  bool isLeftByRemoval(const SlotValues& before, const SlotValues& after) {
    kept_.clear();
    bool isLess = false;
    for (std::uint32_t k = 0; k < before.size; ++k) {
      const bool isGone = !before.isUnresolved(k) &&
                          matching_.inB(a_.ordinalOfIndex(cells::targetIndex(before.items[k]))) == kNone;
      isLess = isLess || isGone;
      if (!isGone) kept_.push_back(before.items[k]);
    }
    if (!isLess) return false;
    SlotValues left = before;
    left.items = kept_.data();
    left.size = static_cast<std::uint32_t>(kept_.size());
    if (kept_.empty()) left.state = before.property->isMany() ? PropertyState::empty : PropertyState::unset;
    return areEqual({&a_, nullptr}, left, {&b_, &idsB_}, after);
  }

  Difference& note(DifferenceKind kind, Ordinal a, Ordinal b) {
    Difference& difference = result_.differences.emplace_back();
    difference.kind = kind;
    if (a != kNone) {
      difference.before = a_.element(a);
      difference.pathBefore = a_.path(a);
    }
    if (b != kNone) {
      difference.after = b_.element(b);
      difference.pathAfter = b_.path(b);
    }
    return difference;
  }

  void notePlace(DifferenceKind kind, Ordinal a, Ordinal b) {
    Difference& difference = note(kind, a, b);
    difference.property = b_.containingProperty(b);
    difference.position = b_.position(b);
  }

  void noteRemoved(Ordinal a) {
    Difference& difference = note(DifferenceKind::removed, a, kNone);
    difference.property = a_.containingProperty(a);
    difference.elements = countAlone(a_, a, matching_.allInB());
  }

  void noteAdded(Ordinal b) {
    Difference& difference = note(DifferenceKind::added, kNone, b);
    difference.property = b_.containingProperty(b);
    difference.position = b_.position(b);
    difference.elements = countAlone(b_, b, matching_.allInA());
  }

  /// An element and what goes or comes with it: all below it down to what has a partner.
  static std::size_t countAlone(const Outline& outline, Ordinal at, const std::vector<Ordinal>& partners) {
    std::size_t count = 0;
    const Ordinal end = outline.end(at);
    while (at < end) {
      if (partners[at] != kNone) {
        at = outline.end(at);
        continue;
      }
      ++count;
      ++at;
    }
    return count;
  }

  ModelDiff::Impl& result_;
  const Outline& a_;
  const Outline& b_;
  const Matching& matching_;
  std::vector<std::uint32_t> idsB_;
  std::vector<bool> isReordered_;
  std::vector<std::uint16_t> slots_;
  std::vector<cells::Cell> kept_;
};

std::string named(const std::string& path, const ConstElement& element) {
  return path + " (" + element.getType()->qualifiedName();
}

std::string withSize(std::size_t elements) {
  return elements == 1 ? ")" : ", " + std::to_string(elements) + " elements)";
}

}  // namespace

std::string_view nameOf(DifferenceKind kind) noexcept {
  switch (kind) {
    case DifferenceKind::added:
      return "added";
    case DifferenceKind::removed:
      return "removed";
    case DifferenceKind::moved:
      return "moved";
    case DifferenceKind::reordered:
      return "reordered";
    case DifferenceKind::identity:
      return "identity";
    case DifferenceKind::changed:
      break;
  }
  return "changed";
}

std::string Difference::sentence() const {
  const std::string word = std::string(nameOf(kind)) + ' ';
  switch (kind) {
    case DifferenceKind::added:
      return word + named(pathAfter, after) + withSize(elements);
    case DifferenceKind::removed:
      return word + named(pathBefore, before) + withSize(elements);
    case DifferenceKind::moved:
    case DifferenceKind::reordered:
      return word + pathBefore + " -> " + pathAfter;
    case DifferenceKind::identity:
      return word + pathBefore + ": " + valueBefore + " -> " + valueAfter;
    case DifferenceKind::changed:
      break;
  }
  return word + pathBefore + '.' + property->name() + ": " + valueBefore + " -> " + valueAfter;
}

const std::vector<Difference>& ModelDiff::differences() const& noexcept { return impl_->differences; }

ConstElement ModelDiff::afterOf(ConstElement before) const {
  const Ordinal at = impl_->a.find(before);
  return at == kNone ? ConstElement() : impl_->b.element(impl_->matching.inB(at));
}

ConstElement ModelDiff::beforeOf(ConstElement after) const {
  const Ordinal at = impl_->b.find(after);
  return at == kNone ? ConstElement() : impl_->a.element(impl_->matching.inA(at));
}

std::vector<bool> longestIncreasing(const std::vector<std::uint32_t>& numbers) {
  std::vector<std::size_t> tails;  // of the increasing sequence of each length, that with the lowest end
  std::vector<std::size_t> previous(numbers.size());
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const auto place = std::lower_bound(tails.begin(), tails.end(), numbers[i],
                                        [&](std::size_t at, std::uint32_t n) { return numbers[at] < n; });
    previous[i] = place == tails.begin() ? numbers.size() : *(place - 1);
    if (place == tails.end())
      tails.push_back(i);
    else
      *place = i;
  }
  std::vector<bool> stays(numbers.size());
  for (std::size_t at = tails.empty() ? numbers.size() : tails.back(); at < numbers.size(); at = previous[at])
    stays[at] = true;
  return stays;
}

void requireOneRegistry(const Model& a, const Model& b) {
  if (&a.getRegistry() != &b.getRegistry())
    throw ModelError("the models live by two registries of meta models; read both by one");
}

ModelDiff compareModels(const Model& before, const Model& after, const CompareOptions& options) {
  requireOneRegistry(before, after);
  auto result = std::make_shared<ModelDiff::Impl>(before, after, options);
  DifferenceFinder(*result).run();
  return ModelDiff(std::move(result));
}

}  // namespace kr::zero::compare
