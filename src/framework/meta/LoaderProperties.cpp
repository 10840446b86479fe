#include <unordered_set>
#include <utility>

#include "meta/Failure.h"
#include "meta/IdentifierSet.h"
#include "meta/RegistryLoader.h"

namespace kr::zero::meta {

namespace {

// Classes that hold the same properties share one table, so no real meta model comes near. What does is
// a chain of classes so long that listing what each inherits would take gigabytes.
constexpr std::size_t kMostTableEntries = std::size_t{1} << 23;
// Those of all supertypes of all classes, where a class has several; a second's work.
constexpr std::size_t kMostPropertiesMet = std::size_t{1} << 25;

std::string from(Property property) { return property->getOwner()->qualifiedName(); }

PropertyKind kindOf(const StandardTypeInfo& info) {
  if (info.isNumber()) return PropertyKind::number;
  if (info.kind == StandardKind::uuid) return PropertyKind::uuid;
  return info.kind == StandardKind::dateTime ? PropertyKind::dateTime : PropertyKind::text;
}

/// What a stored property of a type holds.
PropertyKind kindOf(Type type, bool composite) {
  if (Class(type)) return composite ? PropertyKind::composition : PropertyKind::association;
  if (StructuredType(type)) return PropertyKind::datatype;
  if (Enum(type)) return PropertyKind::enumeration;
  return kindOf(infoOf(PrimitiveType(type)->getStandardType()));
}

}  // namespace

void RegistryLoader::createProperties() {
  std::size_t count = 0;
  for (NewType& type : types_) {
    type.firstProperty = count;
    count += type.definition->properties.size();
  }
  // A registry may live as long as the process, and tools that look for leaks find no owner of an array of
  // nothing.
  std::unique_ptr<Property::Impl[]> made(count != 0 ? new Property::Impl[count] : nullptr);
  propertyDefinitions_.reserve(count);
  for (const NewType& type : types_)
    for (const PropertyDefinition& definition : type.definition->properties) {
      Property::Impl& property = made[propertyDefinitions_.size()];
      property.index_ = static_cast<std::uint32_t>(known_.propertyCount + propertyDefinitions_.size());
      createProperty(type, definition, property);
      propertyDefinitions_.push_back(&definition);
    }
  made_.propertyCount = count;
  made_.properties.push_back(std::move(made));
}

void RegistryLoader::createProperty(const NewType& owner, const PropertyDefinition& definition,
                                    Property::Impl& made) {
  made.name_ = checkedName(definition.name, describe(owner), "the name of a property");
  made.nameUtf8_ = definition.name;
  PropertyTable::hashNames(made);
  const Type type = resolve(definition.type, owner.package);
  checkProperty(owner, definition, type);
  made.type_ = type;
  made.owner_ = owner.structured;
  made.identifier_ = definition.identifier.value_or(0);
  made.lower_ = definition.lower;
  made.upper_ = definition.upper;
  made.composite_ = definition.composite && Class(type);
  made.ordered_ = definition.ordered;
  made.unique_ = definition.unique;
  made.derived_ = definition.derived;
  made.static_ = definition.isStatic;
  made.transient_ = definition.isTransient;
  made.defaultText_ = definition.defaultText;
  if (made.isStored()) made.kind_ = kindOf(type, definition.composite);
  if (const PrimitiveType primitive(type); primitive) made.standard_ = primitive->getStandardType();
  made.categoryMask_ = categoryBitOf(made.kind_) << (made.isMany() ? kCollectionShift : 0);
  if (made.kind_ == PropertyKind::number) made.numberInfo_ = &infoOf(made.standard_);
  if (made.kind_ == PropertyKind::enumeration) made.numberInfo_ = &infoOf(StandardType::integer);
  owner.structured->owned_.push_back(Property(&made));
}

void RegistryLoader::checkProperty(const NewType& owner, const PropertyDefinition& definition,
                                   Type type) const {
  const auto demand = [&](bool fits, const auto& what) {
    if (!fits) fail(describe(owner, definition), what());
  };
  const bool stored = !definition.derived && !definition.isStatic;
  // Readers that compare names with the marks of a document would take these for marks.
  demand(definition.name != " S" && definition.name != " E",
         [] { return std::string("documents mark the start and the end of an element with this name"); });
  demand(bool(type), [&] { return "there is no type " + inQuotes(definition.type); });
  demand(definition.upper == -1 || definition.upper > 0, [&] {
    return "the upper bound " + std::to_string(definition.upper) + " is neither positive nor -1";
  });
  demand(definition.upper == -1 || definition.lower <= static_cast<std::uint32_t>(definition.upper), [&] {
    return "the lower bound " + std::to_string(definition.lower) + " is above the upper bound " +
           std::to_string(definition.upper);
  });
  demand(definition.identifier.value_or(0) <= kMostIdentifier, [&] {
    return "the identifier " + std::to_string(*definition.identifier) + " is above " +
           std::to_string(kMostIdentifier);
  });
  demand(!stored || definition.identifier != 0u,
         [] { return std::string("the identifier 0 is for derived and static properties only"); });
  demand(!definition.composite || bool(StructuredType(type)),
         [&] { return "it is composite, but its type " + inQuotes(definition.type) + " is not a class"; });
  demand(owner.classType != nullptr || !Class(type),
         [&] { return "a datatype cannot hold the class " + inQuotes(definition.type); });
  if (definition.defaultText)
    checkedText(*definition.defaultText, describe(owner, definition), "the default text");
}

void RegistryLoader::buildTables() {
  for (const std::uint32_t index : order_) {
    const NewType& type = types_[index];
    if (type.structured == nullptr) continue;
    type.structured->setTable(buildTable(type));
  }
}

// A class starts with the table of its first supertype, and keeps that very table where nothing is added.
std::shared_ptr<const PropertyTable> RegistryLoader::buildTable(const NewType& type) {
  const std::vector<Property>& owned = type.structured->owned_;
  const std::vector<Class> supertypes =
      type.classType == nullptr ? std::vector<Class>() : type.classType->supertypes_;
  if (supertypes.size() == 1 && owned.empty()) return supertypes.front()->table_;

  auto inherited = supertypes.empty() ? std::make_shared<const PropertyTable>() : supertypes.front()->table_;
  if (inherited->size() + owned.size() > kMostTableEntries - made_.tableEntryCount - known_.tableEntryCount)
    fail(describe(type), "the classes up to here inherit too many properties, more than " +
                             std::to_string(kMostTableEntries) + " in all");
  auto table = std::make_shared<PropertyTable>(*inherited);
  std::unordered_set<const PropertyTable*> seen{inherited.get()};
  for (const Class supertype : supertypes) {
    if (!seen.insert(supertype->table_.get()).second) continue;
    propertiesMet_ += supertype->table_->size();
    if (propertiesMet_ > kMostPropertiesMet)
      fail(describe(type), "the classes up to here inherit the same properties in too many ways");
    insertAll(type, supertype->getAllProperties(), *table);
  }
  notePositions(type, table->size());
  insertAll(type, owned, *table);
  if (table->size() == inherited->size()) return inherited;
  made_.tableEntryCount += table->size();
  newTables_.push_back(table);
  return table;
}

// A type's own properties follow those that it inherits.
void RegistryLoader::notePositions(const NewType& type, std::size_t inherited) {
  Property::Impl* const own = made_.properties.front().get() + type.firstProperty;
  for (std::size_t i = 0; i < type.structured->owned_.size(); ++i)
    own[i].position_ = static_cast<std::uint32_t>(inherited + i);
}

// When all have got theirs.
void RegistryLoader::indexIdentifiers() {
  for (const auto& table : newTables_) table->indexIdentifiers();
  for (const NewType& type : types_)
    if (type.structured != nullptr) type.structured->useIdentifiers();
}

void RegistryLoader::insertAll(const NewType& type, const std::vector<Property>& properties,
                               PropertyTable& table) const {
  for (const Property property : properties) {
    const Property there = table.insert(property);
    if (!there || there == property) continue;
    const std::string name = inQuotes(property->name());
    if (from(there) == type.type->qualifiedName())
      fail(describe(type), "two properties have the name " + name);
    if (from(property) == type.type->qualifiedName())
      fail(describe(type), "property " + name + " is inherited already, from " + from(there));
    fail(describe(type),
         "properties of " + from(there) + " and of " + from(property) + " have one name, " + name);
  }
  if (table.getNumberedCount() > kMostIdentifier)
    fail(describe(type), "it has more than " + std::to_string(kMostIdentifier) + " stored properties");
}

void RegistryLoader::linkOpposites() {
  for (const NewType& type : types_) {
    if (type.structured == nullptr) continue;
    for (std::size_t i = 0; i < type.structured->owned_.size(); ++i) {
      Property::Impl& property = made_.properties.front()[type.firstProperty + i];
      const PropertyDefinition& definition = type.definition->properties[i];
      if (!definition.opposite.empty())
        property.opposite_ = findOpposite(type, definition, Property(&property));
    }
  }
}

Property RegistryLoader::findOpposite(const NewType& owner, const PropertyDefinition& definition,
                                      Property property) const {
  const std::string where = describe(owner, definition);
  const std::string name = inQuotes(definition.opposite);
  const Class target(property->getType());
  if (!target) fail(where, "it has the opposite " + name + ", but its type is not a class");
  const std::string& targetName = target->qualifiedName();
  const Property found = target->findProperty(definition.opposite);
  if (!found) fail(where, "class " + targetName + " has no property " + name + " to be its opposite");
  if (opposingName(found) != definition.name)
    fail(where, "its opposite " + name + " in " + targetName + " does not name it as opposite");
  const Class back(found->getType());
  if (!back || back->slotOf(property) == StructuredType::Impl::npos)
    fail(where, "its opposite " + name + " in " + targetName + " has the type " +
                    found->getType()->qualifiedName() + ", which does not have this property");
  if (property->isComposite() && found->isComposite())
    fail(where, "it and its opposite " + name + " in " + targetName + " are both composite");
  return found;
}

// The name that a property's definition gives as opposite. A property known from before has an
// opposite known from before, never one of the new ones.
std::string RegistryLoader::opposingName(Property property) const {
  const bool isNew = property->getIndex() >= known_.propertyCount;
  return isNew ? propertyDefinitions_[property->getIndex() - known_.propertyCount]->opposite : std::string();
}

void RegistryLoader::requireNoDatatypesInThemselves() const {
  Dependencies holds(types_.size());
  for (std::size_t i = 0; i < types_.size(); ++i) {
    if (types_[i].structured == nullptr || types_[i].classType != nullptr) continue;
    for (const Property property : types_[i].structured->owned_) {
      if (!property->isStored() || !StructuredType(property->getType())) continue;
      if (const std::size_t held = newIndexOf(property->getType()); held != kNone)
        holds[i].push_back(static_cast<std::uint32_t>(held));
    }
  }
  const auto circle = findCircle(holds, orderByDependencies(holds));
  if (!circle.empty())
    fail(describe(types_[circle.front()]), "its values contain themselves: " + describeCircle(circle));
}

}  // namespace kr::zero::meta
