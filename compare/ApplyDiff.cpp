#include <algorithm>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

#include "Assembly.h"
#include "Comparison.h"

namespace kr::zero::compare {

namespace {

using Id = Assembly::Id;

/// Carries out what the differences say, and looks at nothing else of the second model. Elements that stay
/// have their numbers in the first model, those that are added have numbers behind these.
class Patch {
 public:
  Patch(const ModelDiff::Impl& diff, const Outline& a)
      : diff_(diff),
        a_(a),
        b_(diff.b),
        isPlaced_(a.size()),
        isGone_(a.size()),
        isMoved_(a.size()),
        changesOf_(a.size(), 0),
        idOfB_(diff.matching.allInA()) {}

  Model run() {
    noteDifferences();
    for (Ordinal a = 1; a < a_.size(); ++a)
      if (isGone_[a_.container(a)] && !isMoved_[a]) isGone_[a] = true;
    Assembly assembly(a_.model().getRegistry(), a_.size() + added_.size());
    for (Ordinal a = 1; a < a_.size(); ++a) assembly.setPart(a, a_, a);
    for (std::size_t i = 0; i < added_.size(); ++i)
      assembly.setPart(static_cast<Id>(a_.size() + i), b_, added_[i]);
    placeChildren(assembly);
    assembly.makeElements();
    for (const Id id : assembly.made()) fill(assembly, id);
    return assembly.take();
  }

 private:
  /// Something that is put between children that stay.
  struct Insertion {
    Id container;
    std::uint16_t slot;
    std::uint32_t position;
    Id id;
    friend bool operator<(const Insertion& x, const Insertion& y) noexcept {
      return std::tie(x.container, x.slot, x.position) < std::tie(y.container, y.slot, y.position);
    }
  };
  struct Change {
    Ordinal a;
    Ordinal b;
    std::uint32_t slot;  // kIdentity: the identity
  };
  static constexpr std::uint32_t kIdentity = UINT32_MAX;

  void noteDifferences() {
    for (const Difference& difference : diff_.differences)
      if (difference.kind == DifferenceKind::moved) isMoved_[diff_.a.find(difference.before)] = true;
    for (const Difference& difference : diff_.differences)
      if (difference.kind == DifferenceKind::added) noteAdded(b_.find(difference.after));
    for (const Difference& difference : diff_.differences) {
      const Ordinal a = difference.before ? diff_.a.find(difference.before) : kNone;
      const Ordinal b = difference.after ? b_.find(difference.after) : kNone;
      switch (difference.kind) {
        case DifferenceKind::added:
          break;
        case DifferenceKind::removed:
          isGone_[a] = true;
          break;
        case DifferenceKind::moved:
        case DifferenceKind::reordered:
          isPlaced_[a] = true;
          insert(b, a);
          break;
        case DifferenceKind::identity:
          noteChange({a, b, kIdentity});
          break;
        case DifferenceKind::changed:
          noteChange(
              {a, b, static_cast<std::uint32_t>(b_.record(b)->use->type->slotOf(difference.property))});
      }
    }
    std::sort(insertions_.begin(), insertions_.end());
  }

  /// Changes of one element stand together: differences come in the order of elements.
  void noteChange(const Change& change) {
    if (changesOf_[change.a] == 0) changesOf_[change.a] = static_cast<std::uint32_t>(changes_.size() + 1);
    changes_.push_back(change);
  }

  void noteAdded(Ordinal b) {
    const Ordinal end = b_.end(b);
    for (Ordinal at = b; at < end;) {
      if (const Ordinal moved = idOfB_[at]; moved != kNone) {
        at = b_.end(at);  // moved here, which is a difference of its own
        continue;
      }
      const Id id = static_cast<Id>(a_.size() + added_.size());
      idOfB_[at] = id;
      added_.push_back(at);
      insert(at, id);
      ++at;
    }
  }

  void insert(Ordinal b, Id id) {
    insertions_.push_back({idOfB_[b_.container(b)], b_.slot(b), b_.position(b), id});
  }

  void placeChildren(Assembly& assembly) {
    auto next = insertions_.begin();
    for (Id id = 0; id < a_.size() + added_.size(); ++id) {
      std::vector<Assembly::Child>& children = assembly.childrenOf(id);
      const auto first = next;
      while (next != insertions_.end() && next->container == id) ++next;
      if (id < a_.size() && !isGone_[id]) keepChildren(id, children);
      if (first != next) insertAll(first, next, children);
    }
  }

  void keepChildren(Ordinal a, std::vector<Assembly::Child>& children) const {
    for (Ordinal child = a + 1; child < a_.end(a); child = a_.end(child))
      if (!isGone_[child] && !isPlaced_[child]) children.push_back({a_.slot(child), child});
  }

  template <class Iterator>
  static void insertAll(Iterator first, Iterator last, std::vector<Assembly::Child>& children) {
    const std::vector<Assembly::Child> kept = std::exchange(children, {});
    auto next = kept.begin();
    std::size_t inSlot = 0;  // so many of the slot of the insertion are there
    std::uint16_t slot = 0;
    const auto keepBefore = [&](std::uint16_t other, std::size_t position) {
      if (other != slot) inSlot = 0;
      slot = other;
      for (; next != kept.end() && (next->slot < slot || (next->slot == slot && inSlot < position)); ++next) {
        inSlot += next->slot == slot;
        children.push_back(*next);
      }
    };
    for (; first != last; ++first) {
      keepBefore(first->slot, first->position);
      children.push_back({first->slot, first->id});
      ++inSlot;
    }
    children.insert(children.end(), next, kept.end());
  }

  void fill(Assembly& assembly, Id id) {
    const Element made = assembly.elementOf(id);
    const auto fromA = [&](cells::Cell reference) {
      return assembly.elementOf(a_.ordinalOfIndex(cells::targetIndex(reference)));
    };
    const auto fromB = [&](cells::Cell reference) {
      const Id target = idOfB_[b_.ordinalOfIndex(cells::targetIndex(reference))];
      return target == kNone ? Element() : assembly.elementOf(target);
    };
    if (id >= a_.size()) {
      const ElementRecord* const record = b_.record(added_[id - a_.size()]);
      copyIdentity(record, made);
      copyAll(record, made, fromB, {});
      return;
    }
    slots_.clear();
    const ElementRecord* const record = a_.record(id);
    const ElementRecord* identity = record;
    for (std::size_t i = changesOf_[id]; i != 0 && i <= changes_.size() && changes_[i - 1].a == id; ++i) {
      const Change& change = changes_[i - 1];
      if (change.slot == kIdentity) {
        identity = b_.record(change.b);
        continue;
      }
      slots_.push_back(static_cast<std::uint16_t>(change.slot));
      copyValues(valuesIn(b_.record(change.b), change.slot), made, fromB);
    }
    copyIdentity(identity, made);
    copyAll(record, made, fromA, slots_);
  }

  static void copyAll(const ElementRecord* record, Element made, const TargetOf& targetOf,
                      const std::vector<std::uint16_t>& otherwise) {
    for (std::uint16_t i = 0; i < record->count; ++i) {
      const SlotValues values = valuesAt(record, i);
      if (!isValue(values)) continue;
      const auto slot = static_cast<std::uint16_t>(cells::slotOf(record->slots()[i]));
      if (std::find(otherwise.begin(), otherwise.end(), slot) == otherwise.end())
        copyValues(values, made, targetOf);
    }
  }

  const ModelDiff::Impl& diff_;
  const Outline& a_;
  const Outline& b_;
  std::vector<bool> isPlaced_;  // where an insertion says
  std::vector<bool> isGone_;
  std::vector<bool> isMoved_;
  std::vector<std::uint32_t> changesOf_;  // by element: the first of its changes, counted from 1
  std::vector<Change> changes_;
  std::vector<Ordinal> added_;
  std::vector<Id> idOfB_;
  std::vector<Insertion> insertions_;
  std::vector<std::uint16_t> slots_;
};

void requireSame(const Outline& first, const Outline& given) {
  bool isSame = first.size() == given.size();
  for (Ordinal at = 1; isSame && at < first.size(); ++at)
    isSame = first.container(at) == given.container(at) &&
             first.record(at)->use->type == given.record(at)->use->type;
  if (!isSame) throw ModelError("the differences are those of another model");
}

}  // namespace

Model applyDiff(const ModelDiff& diff, const Model& before) {
  const ModelDiff::Impl& impl = diff.impl();
  if (&impl.a.model() == &before) return Patch(impl, impl.a).run();
  requireOneRegistry(impl.a.model(), before);
  const Outline given(before, {});
  requireSame(impl.a, given);
  return Patch(impl, given).run();
}

}  // namespace kr::zero::compare
