#include <algorithm>
#include <cstring>

#include "model/Path.h"
#include "model/Store.h"
#include "model/TextForm.h"

namespace kr::zero {

using cells::ReferenceTexts;
using internal::asElement;
using internal::asText;
using internal::asUnresolved;
using internal::ElementRecord;
using internal::ModelStore;
using internal::PropertyKind;
using internal::PropertyRecord;
using internal::Values;

namespace {

using Difference = std::optional<std::string>;

/// Walks two models side by side. References are compared last, when it is known which element of the
/// one stands where in the other.
class Comparison {
 public:
  Comparison(ModelStore& a, ModelStore& b) : a_(a), b_(b), partner_(a.recordCount()) {}

  Difference run() {
    if (a_.roots().size() != b_.roots().size())
      return "/: " + std::to_string(a_.roots().size()) + " roots != " + std::to_string(b_.roots().size()) +
             " roots";
    for (std::size_t i = a_.roots().size(); i-- > 0;) pending_.push_back({a_.roots()[i], b_.roots()[i]});
    while (!pending_.empty()) {
      const Pair pair = pending_.back();
      pending_.pop_back();
      if (Difference difference = comparePair(pair); difference) return difference;
    }
    for (const Pair& pair : withReferences_)
      if (Difference difference = compareProperties(pair, true); difference) return difference;
    return std::nullopt;
  }

 private:
  struct Pair {
    ElementRecord* a;
    ElementRecord* b;
  };

  std::string named(const ElementRecord* record, const PropertyRecord& slot) const {
    return pathOf(a_, record) + "." + slot.name() + ": ";
  }

  std::string at(const ElementRecord* record, const PropertyRecord& slot, std::size_t position) const {
    if (!slot.isMany()) return named(record, slot);
    return pathOf(a_, record) + "." + slot.name() + "[" + std::to_string(position) + "]: ";
  }

  Difference comparePair(const Pair& pair) {
    const auto& [a, b] = pair;
    if (a->use != b->use && a->use->type->getQualifiedName() != b->use->type->getQualifiedName())
      return pathOf(a_, a) + ": class " + a->use->type->qualifiedName() + " != class " +
             b->use->type->qualifiedName();
    const std::string idA = identityOf(a_, a);
    const std::string idB = identityOf(b_, b);
    if (idA != idB) return pathOf(a_, a) + ": identity " + idA + " != " + idB;
    partner_[a->index] = b;
    if (Difference difference = compareProperties(pair, false); difference) return difference;
    if (a->use->type->hasAssociations()) withReferences_.push_back(pair);
    return std::nullopt;
  }

  static std::string identityOf(ModelStore& store, ElementRecord* record) {
    const auto identity = store.handle(record).getIdentity();
    if (!identity) return "none";
    return "\"" + std::string(identity->first) + "\", \"" + std::string(identity->second) + "\"";
  }

  /// The slot of the other element's property of the same name, or npos.
  static std::size_t counterpart(const ElementRecord* a, std::size_t slot, const ElementRecord* b) {
    if (a->use->type == b->use->type) return slot;
    return b->use->type->findSlot(a->use->property(slot).getName(), slot);
  }

  Difference compareProperties(const Pair& pair, bool references) {
    const auto& [a, b] = pair;
    const std::size_t firstPending = pending_.size();
    for (std::uint16_t i = 0; i < a->count; ++i) {
      const std::size_t slot = a->slots()[i] & cells::kSlotMask;
      if ((a->use->property(slot).getKind() == PropertyKind::association) != references) continue;
      const std::size_t other = counterpart(a, slot, b);
      if (Difference difference = compareProperty(pair, slot, other); difference) return difference;
    }
    // What only the other side has set.
    for (std::uint16_t i = 0; i < b->count; ++i) {
      const std::size_t other = b->slots()[i] & cells::kSlotMask;
      if ((b->use->property(other).getKind() == PropertyKind::association) != references) continue;
      const std::size_t slot = counterpart(b, other, a);
      if (slot != meta::StructuredType::Impl::npos && ModelStore::state(a, slot) != PropertyState::unset)
        continue;
      return pathOf(a_, a) + "." + b->use->property(other).name() + ": unset != " + shown(b, other);
    }
    std::reverse(pending_.begin() + static_cast<std::ptrdiff_t>(firstPending), pending_.end());
    return std::nullopt;
  }

  Difference compareProperty(const Pair& pair, std::size_t slot, std::size_t other) {
    const auto& [a, b] = pair;
    const PropertyRecord& property = a->use->property(slot);
    const bool missing = other == meta::StructuredType::Impl::npos;
    const PropertyState stateB = missing ? PropertyState::unset : ModelStore::state(b, other);
    if (ModelStore::state(a, slot) != stateB)
      return named(a, property) + shown(a, slot) + " != " + (missing ? "no such property" : shown(b, other));
    const PropertyRecord& propertyB = b->use->property(other);
    if (property.getKind() != propertyB.getKind() || property.isMany() != propertyB.isMany() ||
        property.getStandardType() != propertyB.getStandardType())
      return named(a, property) + "the two meta models define it differently";
    const Values valuesA = ModelStore::values(a, slot);
    const Values valuesB = ModelStore::values(b, other);
    if (valuesA.size != valuesB.size)
      return named(a, property) + std::to_string(valuesA.size) +
             " values != " + std::to_string(valuesB.size) + " values";
    for (std::size_t k = 0; k < valuesA.size; ++k)
      if (Difference difference = compareItem(pair, slot, other, k); difference) return difference;
    return std::nullopt;
  }

  Difference compareItem(const Pair& pair, std::size_t slot, std::size_t other, std::size_t k) {
    const auto& [a, b] = pair;
    const PropertyRecord& property = a->use->property(slot);
    const Values valuesA = ModelStore::values(a, slot);
    const Values valuesB = ModelStore::values(b, other);
    const std::uint64_t itemA = valuesA.items[k];
    const std::uint64_t itemB = valuesB.items[k];
    switch (property.getKind()) {
      case PropertyKind::composition:
      case PropertyKind::datatype:
        pending_.push_back({asElement(itemA), asElement(itemB)});
        return std::nullopt;
      case PropertyKind::association:
        return compareReference(pair, slot, other, k);
      case PropertyKind::text:
      case PropertyKind::dateTime:
        if (asText(itemA)->view() == asText(itemB)->view()) return std::nullopt;
        break;
      case PropertyKind::uuid:
        if (std::memcmp(reinterpret_cast<const void*>(itemA), reinterpret_cast<const void*>(itemB), 16) == 0)
          return std::nullopt;
        break;
      default:
        if (itemA == itemB) return std::nullopt;
    }
    return at(a, property, k) + "\"" + internal::toTextForm(property, itemA) + "\" != \"" +
           internal::toTextForm(b->use->property(other), itemB) + "\"";
  }

  Difference compareReference(const Pair& pair, std::size_t slot, std::size_t other, std::size_t k) {
    const auto& [a, b] = pair;
    const Values valuesA = ModelStore::values(a, slot);
    const Values valuesB = ModelStore::values(b, other);
    const ElementRecord* targetA = targetOf(a_, valuesA, k);
    const ElementRecord* targetB = targetOf(b_, valuesB, k);
    if (targetA != nullptr && targetB != nullptr) {
      if (partner_[targetA->index] == targetB) return std::nullopt;
    } else if (targetA == nullptr && targetB == nullptr) {
      const std::string textsA = textsOf(asUnresolved(valuesA.items[k]));
      const std::string textsB = textsOf(asUnresolved(valuesB.items[k]));
      if (textsA == textsB) return std::nullopt;
      return at(a, a->use->property(slot), k) + "reference to " + textsA + " != reference to " + textsB;
    }
    const auto name = [](const ModelStore& store, const ElementRecord* target) {
      return target != nullptr ? pathOf(store, target) : std::string("something unresolved");
    };
    return at(a, a->use->property(slot), k) + "reference to " + name(a_, targetA) + " != reference to " +
           name(b_, targetB);
  }

  static const ElementRecord* targetOf(const ModelStore& store, const Values& values, std::size_t k) {
    if (values.unresolvedSingle || internal::isUnresolved(values.items[k])) return nullptr;
    return store.target(values.items[k]);
  }

  static std::string textsOf(const ReferenceTexts* record) {
    if (record == nullptr) return "nothing";
    std::string texts = "(";
    for (const internal::Text* text : {record->targetType, record->id1, record->id2})
      texts += "\"" + std::string(text->view()) + "\", ";
    texts +=
        record->qualifier == nullptr ? "no qualifier" : "\"" + std::string(record->qualifier->view()) + "\"";
    return texts + ")";
  }

  static std::string shown(const ElementRecord* record, std::size_t slot) {
    switch (ModelStore::state(record, slot)) {
      case PropertyState::unset:
        return "unset";
      case PropertyState::empty:
        return "empty";
      default:
        return "set";
    }
  }

  ModelStore& a_;
  ModelStore& b_;
  std::vector<Pair> pending_;
  std::vector<Pair> withReferences_;
  std::vector<ElementRecord*> partner_;  // by index in a: the element at the same place of b
};

}  // namespace

std::optional<std::string> findDifference(const Model& a, const Model& b) {
  return Comparison(ModelStore::of(a), ModelStore::of(b)).run();
}

}  // namespace kr::zero
