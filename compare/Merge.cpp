#include "kr/zero/compare/Merge.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>

#include "Assembly.h"
#include "Comparison.h"
#include "MergeLists.h"
#include "MergePlaces.h"
#include "Nodes.h"
#include "kr/zero/TextHash.h"

namespace kr::zero::compare {

namespace {

class Merger {
 public:
  Merger(const Model& base, const Model& ours, const Model& theirs, const CompareOptions& options)
      : nodes_(base, ours, theirs, options), places_(nodes_), assembly_(ours.getRegistry(), nodes_.size()) {}

  MergeResult run() {
    for (NodeId node = 1; node < nodes_.size(); ++node) {
      const Version version = nodes_.has(node, kOurs) ? kOurs : kTheirs;
      if (nodes_.has(node, version))
        assembly_.setPart(node, nodes_.outline(version), nodes_.at(node, version));
    }
    for (NodeId node = 0; node < nodes_.size(); ++node) {
      noteDisputes(node);
      if (node == 0 || places_.isAlive(node)) placeChildren(node);
    }
    assembly_.makeElements();
    for (const NodeId node : assembly_.made()) fill(node);
    std::stable_sort(conflicts_.begin(), conflicts_.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    MergeResult result{assembly_.take(), {}};
    for (auto& [node, conflict] : conflicts_) result.conflicts.push_back(std::move(conflict));
    return result;
  }

 private:
  using Texts = std::array<std::string, 3>;

  void note(ConflictKind kind, NodeId node, std::string property, Texts texts) {
    Version version = kOurs;
    if (!nodes_.has(node, version)) version = nodes_.has(node, kBase) ? kBase : kTheirs;
    conflicts_.emplace_back(
        node, Conflict{kind, nodes_.outline(version).path(nodes_.at(node, version)), std::move(property),
                       std::move(texts[kBase]), std::move(texts[kOurs]), std::move(texts[kTheirs])});
  }

  /// Something in words about an element in each version, where it has it.
  template <class Describe>
  Texts describe(NodeId node, Describe describe) const {
    Texts texts;
    for (const Version version : {kBase, kOurs, kTheirs})
      if (nodes_.has(node, version)) texts[version] = describe(version);
    return texts;
  }

  void noteDisputes(NodeId node) {
    if (places_.isRemovalDisputed(node)) noteRemoval(node);
    if (places_.isPlaceDisputed(node)) {
      note(ConflictKind::place, node, {}, describe(node, [&](Version version) {
             return nodes_.outline(version).path(nodes_.at(node, version));
           }));
    }
  }

  void noteRemoval(NodeId node) {
    const auto word = [&](Version version, Version other) -> std::string {
      if (!nodes_.has(node, version)) return nodes_.has(node, kBase) ? "removed" : "removed what contains it";
      if (!nodes_.has(node, kBase)) return "added";
      return nodes_.has(node, other) || nodes_.isChanged(node, version) ? "changed" : "uses it";
    };
    Texts texts;
    if (nodes_.has(node, kBase)) texts[kBase] = nodes_.record(node, kBase)->use->type->qualifiedName();
    texts[kOurs] = word(kOurs, kTheirs);
    texts[kTheirs] = word(kTheirs, kOurs);
    note(ConflictKind::removal, node, {}, std::move(texts));
  }

  void placeChildren(NodeId node) {
    std::map<std::uint16_t, std::array<ListEntries, 3>> lists;  // by slot
    for (const Version version : {kBase, kOurs, kTheirs}) {
      if (!nodes_.has(node, version)) continue;
      const Outline& outline = nodes_.outline(version);
      const Ordinal at = nodes_.at(node, version);
      for (Ordinal child = at + 1; child < outline.end(at); child = outline.end(child)) {
        const NodeId id = nodes_.idOf(version, child);
        const NodePlace here{node, outline.slot(child)};
        if (places_.isAlive(id) && places_.place(id) == here) lists[here.slot][version].push_back(id);
      }
    }
    std::vector<Assembly::Child>& children = assembly_.childrenOf(node);
    for (const auto& [slot, list] : lists) {
      const MergedList merged = mergeLists(list[kBase], list[kOurs], list[kTheirs]);
      if (merged.isOrderDisputed) noteOrder(node, slot, list);
      for (const NodeId child : merged.entries) children.push_back({slot, child});
    }
  }

  void noteOrder(NodeId node, std::uint16_t slot, const std::array<ListEntries, 3>& list) {
    const Version version = nodes_.has(node, kOurs) ? kOurs : kTheirs;
    const std::string name =
        node == 0 ? std::string() : nodes_.record(node, version)->use->property(slot).name();
    Texts texts;
    for (const Version each : {kBase, kOurs, kTheirs}) {
      const std::vector<NodeId> inBase = sorted(list[kBase]);
      texts[each] = "[";
      for (const NodeId child : list[each]) {
        if (!std::binary_search(inBase.begin(), inBase.end(), child)) continue;
        if (texts[each].size() > 1) texts[each] += ", ";
        texts[each] += std::to_string(nodes_.outline(kBase).position(nodes_.at(child, kBase)));
      }
      texts[each] += ']';
    }
    note(ConflictKind::order, node, name, std::move(texts));
  }

  static ListEntries sorted(ListEntries list) {
    std::sort(list.begin(), list.end());
    return list;
  }

  void fill(NodeId node) {
    fillIdentity(node);
    const bool isInBoth = nodes_.has(node, kOurs) && nodes_.has(node, kTheirs);
    const Version only = nodes_.has(node, kOurs) ? kOurs : kTheirs;
    listSlots(nodes_.record(node, only), nodes_.record(node, isInBoth ? kTheirs : only), slots_);
    for (const std::uint16_t slot : std::vector<std::uint16_t>(slots_))
      if (isInBoth)
        mergeValues(node, slot);
      else
        copy(node, slot, only);
  }

  void fillIdentity(NodeId node) {
    Element made = assembly_.elementOf(node);
    if (!nodes_.has(node, kOurs)) return copyIdentity(nodes_.record(node, kTheirs), made);
    const ElementRecord* const ours = nodes_.record(node, kOurs);
    if (!nodes_.has(node, kTheirs)) return copyIdentity(ours, made);
    const ElementRecord* const theirs = nodes_.record(node, kTheirs);
    if (haveSameIdentity(ours, theirs)) return copyIdentity(ours, made);
    const auto isAsInBase = [&](const ElementRecord* record) {
      return nodes_.has(node, kBase) ? haveSameIdentity(record, nodes_.record(node, kBase))
                                     : record->identity == nullptr;
    };
    if (isAsInBase(ours)) return copyIdentity(theirs, made);
    copyIdentity(ours, made);
    if (isAsInBase(theirs)) return;
    note(ConflictKind::identity, node, {},
         describe(node, [&](Version version) { return identityText(nodes_.record(node, version)); }));
  }

  void mergeValues(NodeId node, std::uint16_t slot) {
    const SlotValues ours = nodes_.values(node, kOurs, slot);
    const SlotValues theirs = nodes_.values(node, kTheirs, slot);
    if (areEqual(nodes_.side(kOurs), ours, nodes_.side(kTheirs), theirs) ||
        nodes_.isAsInBase(node, kTheirs, slot))
      return copy(node, slot, kOurs);
    if (nodes_.isAsInBase(node, kOurs, slot)) return copy(node, slot, kTheirs);
    if (ours.property->isMany() && mergeItems(node, slot)) return;
    noteValues(ConflictKind::value, node, slot);
    copy(node, slot, kOurs);
  }

  void noteValues(ConflictKind kind, NodeId node, std::uint16_t slot) {
    const meta::Property property(nodes_.values(node, kOurs, slot).property);
    note(kind, node, property->name(), describe(node, [&](Version version) {
           return textOf(nodes_.outline(version), nodes_.at(node, version), property);
         }));
  }

  void copy(NodeId node, std::uint16_t slot, Version version) {
    copyValues(nodes_.values(node, version, slot), assembly_.elementOf(node), targetOf(node, slot, version));
  }

  /// Leads references to the elements that are made. One to what is gone is left out; that is a conflict
  /// where base does not have it.
  TargetOf targetOf(NodeId node, std::uint16_t slot, Version version) {
    return [this, node, slot, version](cells::Cell reference) {
      const NodeId target = nodes_.side(version).idOf(reference);
      const Element made = assembly_.elementOf(target);
      if (!made && !isInBase(node, slot, target)) noteValues(ConflictKind::reference, node, slot);
      return made;
    };
  }

  bool isInBase(NodeId node, std::uint16_t slot, NodeId target) const {
    const SlotValues base = nodes_.values(node, kBase, slot);
    for (std::uint32_t k = 0; k < base.size; ++k)
      if (!base.isUnresolved(k) && nodes_.side(kBase).idOf(base.items[k]) == target) return true;
    return false;
  }

  /// An item of a list, by where it stands first.
  struct Item {
    Version version;
    std::uint32_t position;
  };

  /// The items of a list, each as a number that equal ones share: the first of equal ones with the first, and
  /// so on.
  class ItemNumbers {
   public:
    explicit ItemNumbers(const Nodes& nodes) : nodes_(nodes) {}

    ListEntries of(const SlotValues& values, Version version) {
      std::unordered_map<std::string, std::uint32_t, TextHash, std::equal_to<>> seen;
      ListEntries numbers;
      for (std::uint32_t k = 0; k < values.size; ++k) {
        std::string key = keyIn(values, version, k);
        const std::uint32_t times = seen[key]++;
        key += '#' + std::to_string(times);
        const auto [place, isNew] =
            numbers_.try_emplace(std::move(key), static_cast<std::uint32_t>(items_.size()));
        if (isNew) items_.push_back({version, k});
        numbers.push_back(place->second);
      }
      return numbers;
    }
    const Item& item(std::uint32_t number) const { return items_[number]; }

   private:
    std::string keyIn(const SlotValues& values, Version version, std::uint32_t k) const {
      if (!values.isReference() || values.isUnresolved(k)) return 'v' + keyOf(values, k);
      return '>' + std::to_string(nodes_.side(version).idOf(values.items[k]));
    }

    const Nodes& nodes_;
    std::vector<Item> items_;
    std::unordered_map<std::string, std::uint32_t, TextHash, std::equal_to<>> numbers_;
  };

  /// @return false where the sides replaced something by different things.
  bool mergeItems(NodeId node, std::uint16_t slot) {
    ItemNumbers numbers(nodes_);
    std::array<ListEntries, 3> lists;
    for (const Version version : {kOurs, kTheirs, kBase})
      lists[version] = numbers.of(nodes_.values(node, version, slot), version);
    const std::array<ListEntries, 3> all = {sorted(lists[kBase]), sorted(lists[kOurs]),
                                            sorted(lists[kTheirs])};
    const auto isIn = [&](Version version, std::uint32_t entry) {
      return std::binary_search(all[version].begin(), all[version].end(), entry);
    };
    if (isReplacedTwice(lists, isIn)) return false;
    for (ListEntries& list : lists)
      std::erase_if(list, [&](std::uint32_t entry) {
        return isIn(kBase, entry) && !(isIn(kOurs, entry) && isIn(kTheirs, entry));
      });
    const MergedList merged = mergeLists(lists[kBase], lists[kOurs], lists[kTheirs]);
    if (merged.isOrderDisputed) noteValues(ConflictKind::order, node, slot);
    Element made = assembly_.elementOf(node);
    for (const std::uint32_t entry : merged.entries) {
      const Item item = numbers.item(entry);
      copyItem(nodes_.values(node, item.version, slot), item.position, made,
               targetOf(node, slot, item.version));
    }
    const meta::Property property(nodes_.values(node, kOurs, slot).property);
    const bool canBeEmpty = property->getKind() != meta::PropertyKind::datatype;
    if (!made.isSet(property) && canBeEmpty) made.setEmpty(property);
    return true;
  }

  template <class IsIn>
  static bool isReplacedTwice(const std::array<ListEntries, 3>& lists, IsIn isIn) {
    const auto hasOwn = [&](Version version, Version other) {
      return std::any_of(lists[version].begin(), lists[version].end(),
                         [&](std::uint32_t entry) { return !isIn(kBase, entry) && !isIn(other, entry); });
    };
    const bool isRemovedByBoth =
        std::any_of(lists[kBase].begin(), lists[kBase].end(),
                    [&](std::uint32_t entry) { return !isIn(kOurs, entry) && !isIn(kTheirs, entry); });
    return isRemovedByBoth && hasOwn(kOurs, kTheirs) && hasOwn(kTheirs, kOurs);
  }

  Nodes nodes_;
  MergePlaces places_;
  Assembly assembly_;
  std::vector<std::uint16_t> slots_;
  std::vector<std::pair<NodeId, Conflict>> conflicts_;
};

}  // namespace

std::string_view nameOf(ConflictKind kind) noexcept {
  switch (kind) {
    case ConflictKind::value:
      return "value";
    case ConflictKind::identity:
      return "identity";
    case ConflictKind::place:
      return "place";
    case ConflictKind::order:
      return "order";
    case ConflictKind::removal:
      return "removal";
    case ConflictKind::reference:
      break;
  }
  return "reference";
}

std::string Conflict::sentence() const {
  const auto shown = [](const std::string& text) { return text.empty() ? std::string("nothing") : text; };
  return std::string(nameOf(kind)) + ' ' + path + (property.empty() ? "" : "." + property) + ": base " +
         shown(base) + ", ours " + shown(ours) + ", theirs " + shown(theirs);
}

MergeResult mergeModels(const Model& base, const Model& ours, const Model& theirs,
                        const CompareOptions& options) {
  requireOneRegistry(base, ours);
  requireOneRegistry(base, theirs);
  return Merger(base, ours, theirs, options).run();
}

}  // namespace kr::zero::compare
