// Random meta models, random models of them, random chains of changes: what is carried over in one step is
// what changing the model by hand, change by change, gives. KR0_CHAINS sets how many; KR0_SEED repeats a run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <set>

#include "evolution/CarryTesting.h"
#include "evolution/PlainModel.h"
#include "support/Environment.h"
#include "support/Random.h"
#include "support/RandomModel.h"

namespace kr::zero::test {

namespace {

using meta::PackageDefinition;
using meta::PropertyDefinition;
using meta::TypeDefinition;
using Kind = TypeDefinition::Kind;
using Definitions = std::vector<PackageDefinition>;

/// A type with its qualified name, and where it stands.
struct Place {
  PackageDefinition* package;
  TypeDefinition* type;
  std::string name;
};

void listTypes(PackageDefinition& package, const std::string& prefix, std::vector<Place>& places) {
  for (TypeDefinition& type : package.types)
    places.push_back({&package, &type, prefix + package.name + '.' + type.name});
  for (PackageDefinition& inner : package.packages) listTypes(inner, prefix + package.name + '.', places);
}

std::vector<Place> typesOf(Definitions& definitions) {
  std::vector<Place> places;
  for (PackageDefinition& package : definitions) listTypes(package, "", places);
  return places;
}

bool isStored(const PropertyDefinition& property) { return !property.derived && !property.isStatic; }

const std::vector<std::string>& integerTypes() {
  static const std::vector<std::string> kNames = {"Integer8", "UInteger8",        "Integer16", "UInteger16",
                                                  "Integer",  "UnlimitedNatural", "Integer64", "UInteger64"};
  return kNames;
}

bool isIntegerType(const std::string& name) {
  return std::find(integerTypes().begin(), integerTypes().end(), name) != integerTypes().end();
}

/// Whether a whole number, given as text, is one of a type: worked out from the names of the types.
bool isNumberOf(const std::string& text, const std::string& type) {
  const bool isNegative = text[0] == '-';
  const std::uint64_t size = std::strtoull(text.c_str() + (isNegative ? 1 : 0), nullptr, 10);
  if (type == "Real") {
    // 53 binary digits, and any number of zeros behind them.
    std::uint64_t digits = size;
    while (digits != 0 && digits % 2 == 0) digits /= 2;
    return digits < std::uint64_t{1} << 53;
  }
  static const std::map<std::string, std::pair<std::uint64_t, std::uint64_t>> kRanges = {
      {"Integer8", {128, 127}},
      {"UInteger8", {0, 255}},
      {"Integer16", {32768, 32767}},
      {"UInteger16", {0, 65535}},
      {"Integer", {2147483648u, 2147483647}},
      {"UnlimitedNatural", {0, 4294967295u}},
      {"Integer64", {9223372036854775808u, 9223372036854775807u}},
      {"UInteger64", {0, 18446744073709551615u}}};
  const auto& [below, above] = kRanges.at(type);
  return size <= (isNegative ? below : above);
}

/// Changes a meta model step by step, and a model of it by hand.
class Chain {
 public:
  Chain(Definitions definitions, const Model& model, Random& random)
      : random_(random), definitions_(std::move(definitions)), plain_(model) {
    noteOrigins();
  }

  /// Makes so many changes. What rules drop goes first: it takes along what later changes would lose. Those
  /// that keep one of many values come last, that of references behind that of elements: which one stays
  /// depends on what went before.
  void change(std::size_t count) {
    std::vector<std::size_t> sorts;
    for (; count > 0; --count) sorts.push_back(random_.below(kSorts));
    std::stable_sort(sorts.begin(), sorts.end(),
                     [](std::size_t a, std::size_t b) { return phaseOf(a) < phaseOf(b); });
    for (const std::size_t sort : sorts) tryToChange(sort);
  }
  /// Adds a rule that fills a property where it is unset.
  void fillSomething(const meta::MetaRegistry& registry) {
    const auto owned = someProperty([](const Place&, const PropertyDefinition& property) {
      return isIntegerType(property.type) && isStored(property);
    });
    if (!owned) return;
    const std::string& name = owned->property->name;
    map_.defaults[owned->owner.name + '.' + name] = "7";
    for (PlainNode& node : plain_.nodes()) {
      const meta::StructuredType type(registry.findType(node.type));
      if (!node.isGone && type->findProperty(name) && node.slots.count(name) == 0)
        node.slots[name].values.push_back({.text = "7"});
    }
  }

  const Definitions& definitions() const { return definitions_; }
  const PlainModel& plain() const { return plain_; }
  const ChangeMap& map() const { return map_; }
  bool hasLost() const { return hasLost_; }

 private:
  static constexpr std::size_t kSorts = 20;
  static constexpr std::size_t kManyToSingle = 16;
  static std::size_t phaseOf(std::size_t sort) { return sort >= 18 ? 0 : sort < kManyToSingle ? 1 : sort; }

  // Each name of types, properties and literals occurs once in these meta models.
  void noteOrigins() {
    for (const Place& place : typesOf(definitions_)) {
      typeOrigins_[place.name] = place.name;
      for (const PropertyDefinition& property : place.type->properties)
        memberOrigins_[property.name] = place.name + '.' + property.name;
      for (const meta::EnumLiteral& literal : place.type->literals) {
        memberOrigins_[literal.name] = place.name + '.' + literal.name;
        for (const meta::EnumLiteral& other : place.type->literals)
          if (other.name != literal.name && other.number == literal.number) sharing_.insert(literal.name);
      }
    }
  }

  /// A change that the meta model does not allow is as if it had never been tried.
  void tryToChange(std::size_t sort) {
    const Definitions before = definitions_;
    const PlainModel plain = plain_;
    const ChangeMap map = map_;
    const auto types = typeOrigins_, members = memberOrigins_;
    const auto retyped = retyped_, rebounded = rebounded_, dropped = dropped_;
    const bool hasLost = hasLost_;
    apply(sort);
    try {
      meta::MetaRegistry().add(definitions_);
    } catch (const meta::MetaError&) {
      definitions_ = before;
      plain_ = plain;
      map_ = map;
      typeOrigins_ = types, memberOrigins_ = members;
      retyped_ = retyped, rebounded_ = rebounded, dropped_ = dropped;
      hasLost_ = hasLost;
    }
  }

  void apply(std::size_t sort) {
    switch (sort) {
      case 0:
        return renameProperty();
      case 1:
        return renameType();
      case 2:
        return renameLiteral();
      case 3:
        return renumberLiterals();
      case 4:
        return renumberProperties();
      case 5:
        return reorder();
      case 6:
        return addProperty();
      case 7:
        return addType();
      case 8:
        return addLiteral();
      case 9:
        return retypeNumber();
      case 10:
        return singleToMany();
      case 11:
        return widenTarget();
      case 12:
        return pullUp();
      case 13:
        return removeProperty();
      case 14:
        return makeAbstract();
      case 15:
        return removeLiteral();
      case kManyToSingle:
        return manyToSingle(false);
      case kManyToSingle + 1:
        return manyToSingle(true);
      case 18:
        return dropProperty();
      default:
        return dropClass();
    }
  }

  std::string freshName(const char* stem) { return stem + std::to_string(++names_) + "x"; }

  std::optional<Place> someType(Kind kind) {
    std::vector<Place> places;
    for (const Place& place : typesOf(definitions_))
      if (place.type->kind == kind) places.push_back(place);
    if (places.empty()) return std::nullopt;
    return random_.pick(places);
  }

  /// A property of a class or datatype that `isWanted` takes.
  struct Owned {
    Place owner;
    PropertyDefinition* property;
  };
  template <class Wanted>
  std::optional<Owned> someProperty(Wanted isWanted) {
    std::vector<Owned> found;
    for (const Place& place : typesOf(definitions_))
      for (PropertyDefinition& property : place.type->properties)
        if (isWanted(place, property)) found.push_back({place, &property});
    if (found.empty()) return std::nullopt;
    return random_.pick(found);
  }
  std::optional<Owned> someProperty() {
    return someProperty([](const Place&, const PropertyDefinition&) { return true; });
  }

  PropertyDefinition* findProperty(const std::string& name) {
    for (const Place& place : typesOf(definitions_))
      for (PropertyDefinition& property : place.type->properties)
        if (property.name == name) return &property;
    return nullptr;
  }

  TypeDefinition* findType(const std::string& name) {
    for (const Place& place : typesOf(definitions_))
      if (place.name == name) return place.type;
    return nullptr;
  }

  bool isOf(const std::string& type, Kind kind) {
    const TypeDefinition* const found = findType(type);
    return found != nullptr && found->kind == kind;
  }

  // Names.

  void renameProperty() {
    // Of what a rule drops nothing is left to rename.
    const auto owned = someProperty([&](const Place&, const PropertyDefinition& property) {
      return fixed_.count(property.name) == 0 && !isDropped(property.name);
    });
    if (!owned) return;
    const std::string old = owned->property->name, name = freshName("renamed");
    if (!owned->property->opposite.empty()) findProperty(owned->property->opposite)->opposite = name;
    owned->property->name = name;
    moveOrigin(old, name, map_.rename);
    for (PlainNode& node : plain_.nodes()) {
      const auto found = node.slots.find(old);
      if (found == node.slots.end()) continue;
      node.slots[name] = std::move(found->second);
      node.slots.erase(old);
    }
  }

  void moveOrigin(const std::string& old, const std::string& name,
                  std::map<std::string, std::string>& rules) {
    const auto origin = memberOrigins_.find(old);
    if (origin == memberOrigins_.end()) return;
    rules[origin->second] = name;
    memberOrigins_[name] = origin->second;
    if (sharing_.count(old) != 0) sharing_.insert(name);
    memberOrigins_.erase(old);
    if (retyped_.count(old) != 0) retyped_.insert(name);
    if (rebounded_.count(old) != 0) rebounded_.insert(name);
  }

  void renameType() {
    const Place place = random_.pick(typesOf(definitions_));
    if (dropped_.count(place.name) != 0) return;
    const std::string name = freshName("Renamed");
    const std::string qualified = place.name.substr(0, place.name.size() - place.type->name.size()) + name;
    const std::string old = place.name;
    place.type->name = name;
    for (const Place& each : typesOf(definitions_)) {
      std::replace(each.type->supertypes.begin(), each.type->supertypes.end(), old, qualified);
      for (PropertyDefinition& property : each.type->properties)
        if (property.type == old) property.type = qualified;
    }
    if (const auto origin = typeOrigins_.find(old); origin != typeOrigins_.end()) {
      map_.rename[origin->second] = qualified;
      typeOrigins_[qualified] = origin->second;
      typeOrigins_.erase(old);
    }
    for (PlainNode& node : plain_.nodes()) {
      if (node.type == old) node.type = qualified;
      for (auto& [property, slot] : node.slots)
        for (PlainValue& value : slot.values)
          if (value.unresolved && value.unresolved->targetType == old)
            value.unresolved->targetType = qualified;
    }
  }

  bool isDropped(const std::string& property) const {
    return std::any_of(map_.drop.begin(), map_.drop.end(),
                       [&](const std::string& name) { return name.ends_with('.' + property); });
  }

  template <class Visit>
  void forValuesOf(const std::string& type, Visit visit) {
    for (const Place& place : typesOf(definitions_))
      for (const PropertyDefinition& property : place.type->properties)
        if (property.type == type)
          for (PlainNode& node : plain_.nodes()) visit(node, property.name);
  }

  void renameLiteral() {
    const auto place = someType(Kind::enumeration);
    if (!place) return;
    meta::EnumLiteral& literal = place->type->literals[random_.below(place->type->literals.size())];
    const std::string old = literal.name, name = freshName("literal");
    literal.name = name;
    moveOrigin(old, name, map_.literals);
    forValuesOf(place->name, [&](PlainNode& node, const std::string& property) {
      if (const auto slot = node.slots.find(property); slot != node.slots.end())
        for (PlainValue& value : slot->second.values)
          if (value.text == old) value.text = name;
    });
  }

  // What changes nothing that is said by name.

  void renumberLiterals() {
    const auto place = someType(Kind::enumeration);
    if (!place) return;
    // No two alike: a literal behind another one of its number would be lost.
    std::vector<std::int32_t> numbers(place->type->literals.size() + 4);
    std::iota(numbers.begin(), numbers.end(), -3);
    shuffle(numbers);
    for (std::size_t i = 0; i < place->type->literals.size(); ++i)
      place->type->literals[i].number = numbers[i];
  }

  void renumberProperties() {
    for (const Place& place : typesOf(definitions_))
      for (PropertyDefinition& property : place.type->properties) property.identifier.reset();
    if (const auto owned = someProperty(); owned && isStored(*owned->property))
      owned->property->identifier = 16000;
  }

  template <class Items>
  void shuffle(Items& items) {
    for (std::size_t i = items.size(); i > 1; --i) std::swap(items[i - 1], items[random_.below(i)]);
  }

  void reorder() {
    for (const Place& place : typesOf(definitions_)) {
      shuffle(place.type->properties);
      shuffle(place.type->literals);
    }
    for (PackageDefinition& package : definitions_) shuffle(package.types);
  }

  void addProperty() {
    auto place = someType(random_.percent(70) ? Kind::classType : Kind::datatype);
    if (!place) return;
    PropertyDefinition property;
    property.name = freshName("added");
    property.type = random_.pick(integerTypes());
    property.lower = random_.percent(20) ? 1 : 0;
    place->type->properties.insert(
        place->type->properties.begin() +
            static_cast<std::ptrdiff_t>(random_.below(place->type->properties.size() + 1)),
        property);
  }

  void addType() {
    TypeDefinition type;
    type.name = freshName("Added");
    PackageDefinition& package = definitions_[random_.below(definitions_.size())];
    package.types.insert(package.types.begin(), type);
  }

  void addLiteral() {
    const auto place = someType(Kind::enumeration);
    if (!place) return;
    std::int32_t number = static_cast<std::int32_t>(random_.between(0, 9)) - 3;
    const auto isTaken = [&](const meta::EnumLiteral& literal) { return literal.number == number; };
    while (std::any_of(place->type->literals.begin(), place->type->literals.end(), isTaken)) ++number;
    place->type->literals.push_back({freshName("literal"), "", number});
  }

  // Types and bounds.

  void retypeNumber() {
    const auto owned = someProperty([&](const Place&, const PropertyDefinition& property) {
      return isIntegerType(property.type) && retyped_.count(property.name) == 0;
    });
    if (!owned) return;
    const std::string type = random_.percent(20) ? "Real" : random_.pick(integerTypes());
    owned->property->type = type;
    retyped_.insert(owned->property->name);
    for (PlainNode& node : plain_.nodes())
      hasLost_ |= plain_.removeValues(node, owned->property->name, [&](const PlainValue& value, std::size_t) {
        return !isNumberOf(value.text, type);
      });
  }

  void singleToMany() {
    const auto owned = someProperty([&](const Place&, const PropertyDefinition& property) {
      return property.upper == 1 && rebounded_.count(property.name) == 0;
    });
    if (!owned) return;
    owned->property->lower = 0;
    owned->property->upper = -1;
    rebounded_.insert(owned->property->name);
  }

  void manyToSingle(bool references) {
    const auto owned = someProperty([&](const Place&, const PropertyDefinition& property) {
      const bool isReference = isOf(property.type, Kind::classType) && !property.composite;
      return property.upper != 1 && rebounded_.count(property.name) == 0 && isReference == references;
    });
    if (!owned) return;
    owned->property->lower = 0;
    owned->property->upper = 1;
    rebounded_.insert(owned->property->name);
    for (PlainNode& node : plain_.nodes()) {
      hasLost_ |= plain_.removeValues(node, owned->property->name,
                                      [](const PlainValue&, std::size_t position) { return position > 0; });
      // Of one reference "none" is what is unset.
      const auto slot = node.slots.find(owned->property->name);
      if (slot != node.slots.end() && slot->second.kind == PlainKind::reference &&
          slot->second.values.empty())
        node.slots.erase(slot);
    }
  }

  void widenTarget() {
    const auto owned = someProperty([&](const Place&, const PropertyDefinition& property) {
      const TypeDefinition* const type = findType(property.type);
      // Not every class conforms to what a universal one inherits from.
      return property.opposite.empty() && type != nullptr && !type->isUniversal && !type->supertypes.empty();
    });
    if (owned) owned->property->type = random_.pick(findType(owned->property->type)->supertypes);
  }

  void pullUp() {
    const auto owned = someProperty([](const Place& place, const PropertyDefinition& property) {
      return property.opposite.empty() && !place.type->supertypes.empty();
    });
    if (!owned) return;
    TypeDefinition* const above = findType(random_.pick(owned->owner.type->supertypes));
    const PropertyDefinition moved = *owned->property;
    std::erase_if(owned->owner.type->properties, [&](const auto& p) { return p.name == moved.name; });
    above->properties.push_back(moved);
  }

  // What takes away.

  void removeProperty() {
    const auto owned = someProperty();
    if (!owned) return;
    const PropertyDefinition removed = *owned->property;
    if (!removed.opposite.empty()) findProperty(removed.opposite)->opposite.clear();
    std::erase_if(owned->owner.type->properties, [&](const auto& p) { return p.name == removed.name; });
    dropRule(removed.name, map_.rename);
    for (PlainNode& node : plain_.nodes()) hasLost_ |= plain_.removeSlot(node, removed.name);
  }

  void dropRule(const std::string& name, std::map<std::string, std::string>& rules) {
    const auto origin = memberOrigins_.find(name);
    if (origin == memberOrigins_.end()) return;
    rules.erase(origin->second);
    memberOrigins_.erase(origin);
  }

  // What rules take away, though it might stay.

  void dropProperty() {
    const auto owned = someProperty(
        [&](const Place& place, const PropertyDefinition&) { return dropped_.count(place.name) == 0; });
    if (!owned) return;
    const auto origin = memberOrigins_.find(owned->property->name);
    if (origin == memberOrigins_.end()) return;
    map_.drop.insert(origin->second);
    memberOrigins_.erase(origin);
    for (PlainNode& node : plain_.nodes()) plain_.removeSlot(node, owned->property->name);
  }

  void dropClass() {
    const auto place = someType(Kind::classType);
    if (!place) return;
    map_.drop.insert(place->name);
    dropped_.insert(place->name);
    for (const PropertyDefinition& property : place->type->properties) fixed_.insert(property.name);
    plain_.removeNodes([&](const PlainNode& node) { return node.type == place->name; });
  }

  void makeAbstract() {
    const auto place = someType(Kind::classType);
    if (!place || place->type->isAbstract) return;
    place->type->isAbstract = true;
    hasLost_ |= plain_.removeNodes([&](const PlainNode& node) { return node.type == place->name; });
  }

  void removeLiteral() {
    const auto place = someType(Kind::enumeration);
    if (!place || place->type->literals.size() < 2) return;
    const std::size_t at = random_.below(place->type->literals.size());
    const std::string name = place->type->literals[at].name;
    if (sharing_.count(name) != 0) return;
    place->type->literals.erase(place->type->literals.begin() + static_cast<std::ptrdiff_t>(at));
    dropRule(name, map_.literals);
    forValuesOf(place->name, [&](PlainNode& node, const std::string& property) {
      hasLost_ |= plain_.removeValues(
          node, property, [&](const PlainValue& value, std::size_t) { return value.text == name; });
    });
  }

  Random& random_;
  Definitions definitions_;
  PlainModel plain_;
  ChangeMap map_;
  std::map<std::string, std::string> typeOrigins_;    // name now: name at the beginning
  std::map<std::string, std::string> memberOrigins_;  // name alone: qualified name at the beginning
  std::set<std::string> sharing_;                     // literals that share their number with others
  std::set<std::string> retyped_;
  std::set<std::string> rebounded_;
  std::set<std::string> dropped_;  // classes
  std::set<std::string> fixed_;    // properties that those had: no rule can name them
  bool hasLost_ = false;
  std::size_t names_ = 1000;
};

struct Tally {
  std::size_t lossless = 0;
  std::size_t lossy = 0;
  std::size_t elements = 0;
};

void checkChain(std::uint64_t seed, Tally& tally) {
  Random random(seed);
  const Definitions definitions = makeRandomDefinitions(random);
  meta::MetaRegistry before, now;
  before.add(definitions);
  const Model model = makeRandomModel(before, random);
  Chain chain(definitions, model, random);
  chain.change(random.between(1, 10));
  now.add(chain.definitions());
  if (random.percent(30)) chain.fillSomething(now);
  const Model expected = chain.plain().build(now);

  const CarryOverResult result = evolution::carryOver(model, now, allowing(chain.map()));
  EXPECT_EQ(findDifference(expected, result.model), std::nullopt);
  EXPECT_EQ(result.report.carried, expected.size());
  EXPECT_EQ(result.report.isLossless(), !chain.hasLost()) << toText(result.report);
  if (chain.hasLost())
    EXPECT_THROW(static_cast<void>(evolution::carryOver(model, now, withMap(chain.map()))),
                 evolution::CarryOverRefused);
  else
    EXPECT_EQ(findDifference(expected, evolution::carryOver(model, now, withMap(chain.map())).model),
              std::nullopt);
  ++(chain.hasLost() ? tally.lossy : tally.lossless);
  tally.elements += model.size();
}

}  // namespace

TEST(Chains, CarriedInOneStepIsWhatChangingByHandGives) {
  const std::uint64_t chains = numberFromEnvironment("KR0_CHAINS", underAddressSanitizer() ? 200 : 1000);
  const std::uint64_t seed = seedFor("chains of changes");
  Tally tally;
  for (std::uint64_t i = 0; i < chains && !testing::Test::HasFailure(); ++i) {
    SCOPED_TRACE("KR0_CHAINS=1 KR0_SEED=" + std::to_string(seed + i));
    checkChain(seed + i, tally);
  }
  // Both sorts of chains must come up, or the test says little.
  if (chains >= 100) {
    EXPECT_GT(tally.lossless, chains / 5);
    EXPECT_GT(tally.lossy, chains / 5);
    EXPECT_GT(tally.elements, chains * 5);
  }
}

}  // namespace kr::zero::test
