#include "kr/zero/Validate.h"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <unordered_set>

#include "kr/zero/TextHash.h"
#include "model/DocumentOrder.h"
#include "model/Path.h"
#include "model/Store.h"

namespace kr::zero {

namespace {

using internal::asElement;
using internal::asText;
using internal::asUnresolved;
using internal::ChildPlace;
using internal::ElementRecord;
using internal::ModelStore;
using internal::PropertyKind;
using internal::PropertyRecord;
using internal::TypeUse;
using internal::Values;

/// That one element refers to another by a property.
struct Link {
  std::uint32_t source;
  std::uint32_t target;
  std::uint32_t property;
  friend bool operator==(const Link&, const Link&) = default;
};
struct LinkHash {
  std::size_t operator()(const Link& link) const noexcept {
    const std::uint64_t ends = std::uint64_t{link.source} << 32 | link.target;
    return NumberHash{}(static_cast<std::int64_t>(ends)) * 31 + link.property;
  }
};

bool isAssociation(const PropertyRecord& property) { return property.getKind() == PropertyKind::association; }

bool isResolved(const Values& values, std::size_t i) {
  return !values.unresolvedSingle && !cells::isUnresolved(values.items[i]);
}

/// All links by properties that have an opposite which is stored as references too.
std::unordered_set<Link, LinkHash> linksWithOpposite(const ModelStore& store) {
  std::unordered_set<Link, LinkHash> links;
  for (std::uint32_t index = 0; index < store.recordCount(); ++index) {
    const ElementRecord* record = store.record(index);
    if (record->removed || !record->use->type->hasAssociations()) continue;
    for (std::uint16_t at = 0; at < record->count; ++at) {
      const PropertyRecord& property = record->use->property(cells::slotOf(record->slots()[at]));
      if (!isAssociation(property) || !property.getOpposite()) continue;
      const Values values = ModelStore::valuesAt(record, at);
      for (std::size_t i = 0; i < values.size; ++i)
        if (isResolved(values, i))
          links.insert({index, cells::targetIndex(values.items[i]), property.getIndex()});
    }
  }
  return links;
}

class Validation {
 public:
  Validation(const ModelStore& store, std::size_t limit)
      : store_(store), limit_(limit), links_(linksWithOpposite(store)) {}

  std::vector<Violation> run() {
    for (std::size_t i = 0; i < store_.roots().size() && !isFull(); ++i) walk(store_.roots()[i], i);
    return std::move(violations_);
  }

 private:
  /// An element or datatype value that the walk is in.
  struct Frame {
    ElementRecord* record;
    std::size_t position;  // among the values of its container's property
    ChildPlace place;      // of the next one to visit in it
  };

  bool isFull() const { return violations_.size() >= limit_; }

  void walk(ElementRecord* root, std::size_t position) {
    enter(root, position);
    while (!frames_.empty() && !isFull()) {
      Frame& frame = frames_.back();
      ElementRecord* next =
          findContained(frame.record, frame.place, internal::Contained::childrenAndDatatypes);
      if (next == nullptr)
        frames_.pop_back();
      else
        enter(next, frame.place.position++);
    }
    frames_.clear();
  }

  void enter(ElementRecord* record, std::size_t position) {
    frames_.push_back({record, position, {}});
    checkIdentity(record);
    checkWhatMustBeSet(record);
    for (std::uint16_t at = 0; at < record->count; ++at) checkEntry(record, at);
  }

  void checkIdentity(ElementRecord* record) {
    if (record->identity == nullptr || record->identity->first->view() == "#") return;
    if (const ElementRecord* other = identities_.add(record); other != nullptr)
      add("", Rule::identity,
          "the identity \"" + std::string(record->identity->first->view()) + "\", \"" +
              std::string(record->identity->second->view()) + "\" is that of " + pathOfOther(other) + " too");
  }

  // --- How many values there are -----------------------------------------------------------------

  void checkWhatMustBeSet(const ElementRecord* record) {
    for (const std::size_t slot : demandedOf(*record->use)) {
      if (record->find(slot) >= 0) continue;
      add(record->use->property(slot).name(), Rule::required, "is required and not set");
    }
  }

  /// The slots that must be set in instances of a type.
  const std::vector<std::size_t>& demandedOf(const TypeUse& use) {
    const auto [place, isNew] = demanded_.try_emplace(&use);
    const auto& properties = use.type->getAllProperties();
    for (std::size_t slot = 0; isNew && slot < properties.size(); ++slot) {
      const PropertyRecord& property = use.property(slot);
      if (property.isStored() && property.getLower() > 0 && !property.getDefaultText())
        place->second.push_back(slot);
    }
    return place->second;
  }

  void checkCount(const PropertyRecord& property, std::size_t size) {
    const auto few = [&](std::size_t asked, const char* which) {
      add(property.name(), Rule::bounds,
          "has " + std::to_string(size) + (size == 1 ? " value" : " values") + ", and " + which + " " +
              std::to_string(asked) + " are asked for");
    };
    if (size < property.getLower()) few(property.getLower(), "at least");
    if (property.getUpper() >= 0 && size > static_cast<std::size_t>(property.getUpper()))
      few(static_cast<std::size_t>(property.getUpper()), "at most");
  }

  // --- The values --------------------------------------------------------------------------------

  void checkEntry(const ElementRecord* record, std::uint16_t at) {
    const PropertyRecord& property = record->use->property(cells::slotOf(record->slots()[at]));
    const Values values = ModelStore::valuesAt(record, at);
    checkCount(property, values.size);
    for (std::size_t i = 0; i < values.size && !isFull(); ++i) checkValue(record, property, values, i);
    if (property.isMany() && property.isUnique() && values.size > 1) checkUnique(property, values);
  }

  void checkValue(const ElementRecord* record, const PropertyRecord& property, const Values& values,
                  std::size_t i) {
    switch (property.getKind()) {
      case PropertyKind::enumeration:
        return checkLiteral(property, static_cast<std::int64_t>(values.items[i]), i);
      case PropertyKind::composition:
      case PropertyKind::datatype:
        return checkType(property, asElement(values.items[i]), "child", i);
      case PropertyKind::association:
        if (!isResolved(values, i)) return addUnresolved(property, values.items[i], i);
        checkType(property, store_.target(values.items[i]), "target", i);
        return checkOpposite(record, property, store_.target(values.items[i]), i);
      default:
        return;
    }
  }

  void checkLiteral(const PropertyRecord& property, std::int64_t number, std::size_t i) {
    if (meta::Enum(property.getType())->hasLiteral(number)) return;
    add(property.name(), Rule::literal,
        "the number " + std::to_string(number) + at(property, i) + " is that of no literal of " +
            property.getType()->qualifiedName());
  }

  void checkType(const PropertyRecord& property, const ElementRecord* other, const char* role,
                 std::size_t i) {
    const bool fits = property.getKind() == PropertyKind::datatype
                          ? other->use->type == property.getType()
                          : ModelStore::fits(property, other->use->cls);
    if (fits) return;
    add(property.name(), Rule::type,
        "the " + std::string(role) + at(property, i) + " is of type " + other->use->type->qualifiedName() +
            ", which does not fit " + property.getType()->qualifiedName());
  }

  void addUnresolved(const PropertyRecord& property, cells::Cell item, std::size_t i) {
    std::string text = "the reference" + at(property, i);
    if (const cells::ReferenceTexts* reference = asUnresolved(item); reference != nullptr)
      text += " to " + std::string(reference->targetType->view()) + " \"" +
              std::string(reference->id1->view()) + "\", \"" + std::string(reference->id2->view()) + "\"";
    add(property.name(), Rule::resolved, text + " leads to no element of the model");
  }

  void checkOpposite(const ElementRecord* record, const PropertyRecord& property, const ElementRecord* target,
                     std::size_t i) {
    const meta::Property opposite = property.getOpposite();
    if (!opposite) return;
    const std::size_t slot = target->use->type->slotOf(opposite);
    if (slot == meta::StructuredType::Impl::npos) return;
    switch (opposite->getKind()) {
      case PropertyKind::association:
        if (links_.contains({target->index, record->index, opposite->getIndex()})) return;
        return addOneSided(property, target, " does not refer back by ", opposite, i);
      case PropertyKind::composition:
        if (record->container == target && record->containerSlot == slot) return;
        return addOneSided(property, target, " does not contain it in ", opposite, i);
      default:
        return;
    }
  }

  void addOneSided(const PropertyRecord& property, const ElementRecord* target, const char* what,
                   meta::Property opposite, std::size_t i) {
    add(property.name(), Rule::opposite,
        "the target" + at(property, i) + ", " + pathOfOther(target) + "," + what + "\"" + opposite->name() +
            "\"");
  }

  void checkUnique(const PropertyRecord& property, const Values& values) {
    switch (property.getKind()) {
      case PropertyKind::text:
      case PropertyKind::dateTime:
        return checkUniqueTexts(property, values, [](cells::Cell item) { return asText(item)->view(); });
      case PropertyKind::uuid:
        return checkUniqueTexts(property, values, [](cells::Cell item) {
          return std::string_view(reinterpret_cast<const char*>(item), sizeof(Uuid));
        });
      case PropertyKind::composition:
      case PropertyKind::datatype:
        return;
      default:
        return checkUniqueCells(property, values);
    }
  }

  template <class View>
  void checkUniqueTexts(const PropertyRecord& property, const Values& values, View view) {
    std::unordered_map<std::string_view, std::size_t, TextHash> seen;
    for (std::size_t i = 0; i < values.size && !isFull(); ++i)
      if (const auto [first, isNew] = seen.try_emplace(view(values.items[i]), i); !isNew)
        addTwice(property, first->second, i);
  }

  void checkUniqueCells(const PropertyRecord& property, const Values& values) {
    std::unordered_map<std::int64_t, std::size_t, NumberHash> seen;
    for (std::size_t i = 0; i < values.size && !isFull(); ++i) {
      if (isAssociation(property) && !isResolved(values, i)) continue;
      const auto [first, isNew] = seen.try_emplace(static_cast<std::int64_t>(values.items[i]), i);
      if (!isNew) addTwice(property, first->second, i);
    }
  }

  void addTwice(const PropertyRecord& property, std::size_t first, std::size_t second) {
    add(property.name(), Rule::unique,
        "the value at position " + std::to_string(second) + " is the one at position " +
            std::to_string(first) + " again");
  }

  // --- Telling it --------------------------------------------------------------------------------

  void add(std::string property, Rule rule, std::string text) {
    if (isFull()) return;
    violations_.push_back({path(), std::move(property), rule, std::move(text)});
  }

  static std::string at(const PropertyRecord& property, std::size_t position) {
    return property.isMany() ? " at position " + std::to_string(position) : "";
  }

  /// Path of the one that the walk is in.
  std::string path() const {
    return internal::joinSegments(frames_.size(), [&](std::size_t i) {
      return segmentOf(store_, frames_[i].record, frames_[i].position);
    });
  }

  /// The end of another one's path: all of it where it is not deep. Going up further would cost as much as
  /// the model is deep, each time.
  std::string pathOfOther(const ElementRecord* record) {
    if (positions_.empty()) positions_ = internal::positionsIn(store_);
    std::array<const ElementRecord*, internal::kShownSegments> chain;
    std::size_t size = 0;
    for (; record != nullptr && size < chain.size(); record = record->container) chain[size++] = record;
    std::string text = record == nullptr ? "" : "/...";
    while (size-- > 0) text += "/" + segmentOf(store_, chain[size], positions_[chain[size]->index]);
    return text;
  }

  const ModelStore& store_;
  const std::size_t limit_;
  const std::unordered_set<Link, LinkHash> links_;
  std::vector<Violation> violations_;
  std::vector<Frame> frames_;
  internal::IdentityIndex identities_;
  std::unordered_map<const TypeUse*, std::vector<std::size_t>> demanded_;
  std::vector<std::uint32_t> positions_;  // by index; empty until a path needs them
};

}  // namespace

std::vector<Violation> validate(const Model& model, std::size_t limit) {
  return Validation(internal::ModelStore::of(model), limit).run();
}

}  // namespace kr::zero
