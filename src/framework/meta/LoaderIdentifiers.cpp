#include <algorithm>
#include <string>
#include <unordered_set>
#include <vector>

#include "meta/Failure.h"
#include "meta/IdentifierSet.h"
#include "meta/RegistryLoader.h"

namespace kr::zero::meta {

// Cost: the entries of the bottom tables once, and per class one pass over the bottom tables below it.
void RegistryLoader::numberProperties() {
  Bottom bottom = collectBottom();
  for (std::size_t i = 0; i < types_.size(); ++i)
    if (types_[i].structured != nullptr) numberPropertiesOf(types_[i], bottom.below[i], bottom.taken);
}

RegistryLoader::Bottom RegistryLoader::collectBottom() const {
  Bottom bottom;
  bottom.below.resize(types_.size());
  std::unordered_set<const PropertyTable*> seen;
  for (std::size_t i = 0; i < types_.size(); ++i) {
    if (types_[i].structured == nullptr || hasSubclass_[i]) continue;
    const PropertyTable& table = *types_[i].structured->table_;
    if (seen.insert(&table).second) collectTaken(table, bottom);
  }
  return bottom;
}

void RegistryLoader::collectTaken(const PropertyTable& table, Bottom& bottom) const {
  const std::size_t position = bottom.taken.size();
  IdentifierSet& taken = bottom.taken.emplace_back();
  StructuredType owner;
  for (const Property property : table.getAll()) {
    if (property->identifier_ != 0 && !taken.insert(property->identifier_))
      failSharedIdentifier(table, property->identifier_);
    if (property->getOwner() == owner) continue;  // an owner's properties stand together
    owner = property->getOwner();
    if (const std::size_t index = newIndexOf(owner); index != kNone) bottom.below[index].push_back(position);
  }
}

void RegistryLoader::numberPropertiesOf(const NewType& type, const std::vector<std::size_t>& below,
                                        std::vector<IdentifierSet>& taken) {
  std::vector<Property::Impl*> waiting;
  for (std::size_t i = 0; i < type.definition->properties.size(); ++i) {
    Property::Impl& property = made_.properties.front()[type.firstProperty + i];
    if (property.isStored() && property.identifier_ == 0) waiting.push_back(&property);
  }
  if (waiting.empty()) return;

  IdentifierSet met;
  for (const std::size_t position : below) met.insertAll(taken[position]);
  IdentifierSet given;
  std::uint32_t last = 0;
  for (Property::Impl* property : waiting) {
    last = met.smallestFree(last + 1);
    if (last > kMostIdentifier)
      fail(describe(type), "no identifier is left for property " + inQuotes(property->nameUtf8_) +
                               ": properties that meet it have all " + std::to_string(kMostIdentifier));
    property->identifier_ = last;
    given.insert(last);
  }
  for (const std::size_t position : below) taken[position].insertAll(given);
}

// Names the first class, supertypes first, that holds two properties of that identifier. There is one: the
// class that the table is of.
void RegistryLoader::failSharedIdentifier(const PropertyTable& table, std::uint32_t identifier) const {
  std::vector<Property> two;
  for (const Property property : table.getAll())
    if (property->identifier_ == identifier && two.size() < 2) two.push_back(property);
  const auto holds = [this](std::uint32_t index, Property property) {
    const StructuredType::Impl* type = types_[index].structured;
    return type != nullptr && type->slotOf(property) != StructuredType::Impl::npos;
  };
  const NewType& first = types_[*std::find_if(order_.begin(), order_.end(), [&](std::uint32_t index) {
    return holds(index, two.front()) && holds(index, two.back());
  })];
  const auto name = [&first](Property property) {
    const StructuredType owner = property->getOwner();
    const std::string own = inQuotes(property->name());
    return owner.get() == first.type ? own : own + " (from " + owner->qualifiedName() + ')';
  };
  fail(describe(first), "properties " + name(two.front()) + " and " + name(two.back()) +
                            " both have identifier " + std::to_string(identifier));
}

}  // namespace kr::zero::meta
