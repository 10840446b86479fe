#include "kr/zero/meta/EmbeddedMetaModel.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "meta/Failure.h"

namespace kr::zero::meta {

namespace {

using Packages = std::vector<PackageDefinition>;

/// Takes packages in document order and puts each into the one around it.
class Nesting {
 public:
  /// @param depth 0, or at most one more than that of the package before.
  void add(std::size_t depth, PackageDefinition package) {
    close(depth);
    open_.push_back(std::move(package));
  }
  Packages finish() {
    close(0);
    return std::move(roots_);
  }

 private:
  void close(std::size_t depth) {
    while (open_.size() > depth) {
      PackageDefinition whole = std::move(open_.back());
      open_.pop_back();
      (open_.empty() ? roots_ : open_.back().packages).push_back(std::move(whole));
    }
  }

  Packages open_;
  Packages roots_;
};

/// Takes the next `count` items from a table.
template <class T>
std::span<const T> take(std::span<const T>& rest, std::size_t count) {
  const std::span<const T> taken = rest.first(std::min(count, rest.size()));
  rest = rest.subspan(taken.size());
  return taken;
}

constexpr bool has(std::uint32_t flags, std::uint32_t flag) { return (flags & flag) != 0; }

PropertyDefinition definitionOf(const EmbeddedProperty& property) {
  PropertyDefinition made;
  made.name = property.name;
  made.type = property.type;
  if (property.identifier != 0) made.identifier = property.identifier;
  made.lower = property.lower;
  made.upper = property.upper;
  made.composite = has(property.flags, EmbeddedFlag::kComposite);
  made.ordered = has(property.flags, EmbeddedFlag::kOrdered);
  made.unique = has(property.flags, EmbeddedFlag::kUnique);
  made.derived = has(property.flags, EmbeddedFlag::kDerived);
  made.isStatic = has(property.flags, EmbeddedFlag::kStatic);
  made.isTransient = has(property.flags, EmbeddedFlag::kTransient);
  made.opposite = property.opposite;
  if (has(property.flags, EmbeddedFlag::kHasDefault)) made.defaultText = property.defaultText;
  return made;
}

TypeDefinition definitionOf(const EmbeddedType& type, EmbeddedMetaModel& rest) {
  TypeDefinition made;
  made.kind = type.kind;
  made.name = type.name;
  made.isAbstract = has(type.flags, EmbeddedFlag::kAbstract);
  made.isUniversal = has(type.flags, EmbeddedFlag::kUniversal);
  for (const std::string_view name : take(rest.supertypes, type.supertypes))
    made.supertypes.emplace_back(name);
  for (const EmbeddedLiteral& literal : take(rest.literals, type.literals))
    made.literals.push_back({std::string(literal.name), std::string(literal.text), literal.number});
  for (const EmbeddedProperty& property : take(rest.properties, type.properties))
    made.properties.push_back(definitionOf(property));
  return made;
}

PropertyDefinition definitionOf(Property property) {
  PropertyDefinition made;
  made.name = property->name();
  made.type = property->getType()->qualifiedName();
  if (property->getIdentifier() != 0) made.identifier = property->getIdentifier();
  made.lower = property->getLower();
  made.upper = property->getUpper();
  made.composite = property->isComposite();
  made.ordered = property->isOrdered();
  made.unique = property->isUnique();
  made.derived = property->isDerived();
  made.isStatic = property->isStatic();
  made.isTransient = property->isTransient();
  if (const Property opposite = property->getOpposite()) made.opposite = opposite->name();
  made.defaultText = property->getDefaultText();
  return made;
}

TypeDefinition definitionOf(Type type) {
  using Kind = TypeDefinition::Kind;
  TypeDefinition made;
  made.name = type->name();
  made.kind = Kind::primitive;
  if (const Enum enumeration(type); enumeration) {
    made.kind = Kind::enumeration;
    made.literals = enumeration->getLiterals();
  }
  if (const StructuredType structured(type); structured) {
    made.kind = Kind::datatype;
    for (const Property property : structured->getOwnedAttributes())
      made.properties.push_back(definitionOf(property));
  }
  if (const Class cls(type); cls) {
    made.kind = Kind::classType;
    made.isAbstract = cls->isAbstract();
    made.isUniversal = cls->isUniversal();
    for (const Class supertype : cls->getSupertypes()) made.supertypes.push_back(supertype->qualifiedName());
  }
  return made;
}

bool isSame(const PropertyDefinition& a, const PropertyDefinition& b) {
  const auto facts = [](const PropertyDefinition& of) {
    return std::tie(of.name, of.type, of.identifier, of.lower, of.upper, of.composite, of.ordered, of.unique,
                    of.derived, of.isStatic, of.isTransient, of.opposite, of.defaultText);
  };
  return facts(a) == facts(b);
}

bool isSame(const EnumLiteral& a, const EnumLiteral& b) {
  return a.name == b.name && a.text == b.text && a.number == b.number;
}

template <class T>
bool areSame(const std::vector<T>& a, const std::vector<T>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const T& one, const T& other) { return isSame(one, other); });
}

bool isSame(const TypeDefinition& a, const TypeDefinition& b) {
  return std::tie(a.kind, a.name, a.isAbstract, a.isUniversal, a.supertypes) ==
             std::tie(b.kind, b.name, b.isAbstract, b.isUniversal, b.supertypes) &&
         areSame(a.literals, b.literals) && areSame(a.properties, b.properties);
}

/// "class Book", or nothing where two packages hold the same; nested packages are not looked at.
std::optional<std::string> findDifference(const PackageDefinition& a, const PackageDefinition& b) {
  if (a.name != b.name) return "its name";
  if (a.packages.size() != b.packages.size()) return "the packages in it";
  const std::size_t both = std::min(a.types.size(), b.types.size());
  for (std::size_t i = 0; i < both; ++i)
    if (!isSame(a.types[i], b.types[i])) return "its type " + inQuotes(a.types[i].name);
  if (a.types.size() != b.types.size()) return "the number of its types";
  return std::nullopt;
}

/// A package and all in it, each before those in it. Pointers into it.
std::vector<const PackageDefinition*> flatten(const PackageDefinition& root) {
  std::vector<const PackageDefinition*> waiting{&root}, all;
  while (!waiting.empty()) {
    const PackageDefinition* next = waiting.back();
    waiting.pop_back();
    all.push_back(next);
    for (auto it = next->packages.rbegin(); it != next->packages.rend(); ++it) waiting.push_back(&*it);
  }
  return all;
}

const PackageDefinition* findByUri(const Packages& packages, std::string_view uri) {
  const auto it = std::find_if(packages.begin(), packages.end(),
                               [&](const PackageDefinition& package) { return package.uri == uri; });
  return it == packages.end() ? nullptr : &*it;
}

void requireSame(const PackageDefinition& wanted, const PackageDefinition& known) {
  const auto ours = flatten(wanted);
  const auto theirs = flatten(known);
  for (std::size_t i = 0; i < std::min(ours.size(), theirs.size()); ++i) {
    if (ours[i]->uri != theirs[i]->uri)
      fail("package " + wanted.name, "the packages in it differ from those that the registry knows");
    if (const auto what = findDifference(*ours[i], *theirs[i]))
      fail("package " + ours[i]->name,
           "the registry has one with the URI " + inQuotes(ours[i]->uri) + " that differs in " + *what);
  }
}

/// Those whose URI the registry does not know; the others must be the same there.
Packages findMissing(const Packages& wanted, const MetaRegistry& registry) {
  const auto isKnown = [&](const PackageDefinition& package) { return registry.hasPackage(package.uri); };
  const bool anyKnown = std::any_of(wanted.begin(), wanted.end(), isKnown);
  const Packages known = anyKnown ? definitionsOf(registry) : Packages();
  Packages missing;
  for (const PackageDefinition& package : wanted) {
    if (const PackageDefinition* there = findByUri(known, package.uri))
      requireSame(package, *there);
    else
      missing.push_back(package);
  }
  return missing;
}

}  // namespace

std::vector<PackageDefinition> definitionsOf(const EmbeddedMetaModel& metaModel) {
  EmbeddedMetaModel rest = metaModel;
  Nesting nesting;
  for (const EmbeddedPackage& package : metaModel.packages) {
    PackageDefinition made;
    made.uri = package.uri;
    made.name = package.name;
    for (const EmbeddedType& type : take(rest.types, package.types))
      made.types.push_back(definitionOf(type, rest));
    nesting.add(package.depth, std::move(made));
  }
  return nesting.finish();
}

std::vector<PackageDefinition> definitionsOf(const MetaRegistry& registry) {
  Nesting nesting;
  std::vector<std::string> around;  // qualified names of the packages that are open
  for (const PackageInfo& package : registry.getPackages()) {
    const std::size_t outer = package.qualifiedName.size() - package.name.size();
    const std::string_view parent =
        std::string_view(package.qualifiedName).substr(0, outer == 0 ? 0 : outer - 1);
    while (!around.empty() && (outer == 0 || around.back() != parent)) around.pop_back();
    PackageDefinition made;
    made.uri = package.uri;
    made.name = package.name;
    for (const Type type : package.types) made.types.push_back(definitionOf(type));
    nesting.add(around.size(), std::move(made));
    around.push_back(package.qualifiedName);
  }
  return nesting.finish();
}

void registerOnce(const EmbeddedMetaModel& metaModel, MetaRegistry& registry) {
  const Packages wanted = definitionsOf(metaModel);
  const Packages missing = findMissing(wanted, registry);
  if (missing.empty()) return;
  try {
    registry.add(missing);
  } catch (const MetaError&) {
    // Another thread may have added them in the meantime.
    if (!findMissing(wanted, registry).empty()) throw;
  }
}

}  // namespace kr::zero::meta
