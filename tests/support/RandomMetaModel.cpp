#include <algorithm>
#include <array>
#include <set>
#include <string>

#include "support/RandomModel.h"

namespace kr::zero::test {

namespace {

using meta::PackageDefinition;
using meta::PropertyDefinition;
using meta::TypeDefinition;
using Kind = meta::TypeDefinition::Kind;

constexpr std::array<const char*, 17> standardTypes = {
    "Boolean",   "Integer8",          "UInteger8", "Integer16", "UInteger16", "Integer", "UnlimitedNatural",
    "Integer64", "UInteger64",        "Real",      "String",    "StdString",  "UUID",    "DateTime",
    "JsonValue", "StringToStringMap", "ZoArray"};

// Names may hold any text; these go through two-, three- and four-byte UTF-8.
constexpr std::array<const char*, 5> nameStems = {"p", "value",
                                                  "gr\xC3\xB6\xC3\x9F"
                                                  "e",
                                                  "\xE5\x90\x8D", "\xF0\x9F\x93\x96"};

class MetaModelMaker {
 public:
  explicit MetaModelMaker(Random& random) : random_(random) {}

  std::vector<PackageDefinition> make() {
    packages_.resize(random_.between(1, 3));
    for (std::size_t i = 0; i < packages_.size(); ++i) {
      packages_[i].name = "pack" + std::to_string(i);
      if (random_.percent(80)) packages_[i].uri = "http://example.org/r" + std::to_string(i);
    }
    for (std::size_t i = random_.below(3); i > 0; --i) addEnumeration();
    for (std::size_t i = random_.below(3); i > 0; --i) addPrimitive();
    for (std::size_t i = random_.below(4); i > 0; --i) addDatatype();
    for (std::size_t i = random_.between(1, 9); i > 0; --i) addClass();
    for (TypeDefinition& type : classes_) addClassProperties(type);
    for (std::size_t i = random_.below(4); i > 0; --i) addOpposites();
    for (std::size_t i = 0; i < classes_.size(); ++i) placeType(classPackages_[i], classes_[i]);
    nestPackages();
    return std::move(packages_);
  }

 private:
  std::size_t somePackage() { return random_.below(packages_.size()); }
  // Packages may end up inside the first one; names given here must say so.
  std::string qualified(std::size_t package, const std::string& name) const {
    return packagePrefix(package) + packages_[package].name + "." + name;
  }
  std::string packagePrefix(std::size_t package) const { return package == 2 ? "pack0." : ""; }

  void placeType(std::size_t package, TypeDefinition type) {
    packages_[package].types.push_back(std::move(type));
  }

  void nestPackages() {
    if (packages_.size() < 3) return;
    packages_[0].packages.push_back(packages_[2]);
    packages_.pop_back();
  }

  std::string freshName(const char* stem) { return stem + std::to_string(++names_); }
  std::string propertyName() { return freshName(nameStems[random_.below(nameStems.size())]); }

  void addEnumeration() {
    TypeDefinition type;
    type.kind = Kind::enumeration;
    type.name = freshName("Enum");
    for (std::size_t i = random_.between(1, 6); i > 0; --i) {
      const std::string name = freshName("literal");
      static constexpr std::array<std::int32_t, 6> borders = {0, 1, -1, 0x7FFFFFFF, -0x7FFFFFFF - 1, 300};
      const auto number = random_.percent(50) ? static_cast<std::int32_t>(type.literals.size())
                                              : borders[random_.below(borders.size())];
      type.literals.push_back({name, random_.percent(30) ? "the " + name : "", number});
    }
    const std::size_t package = somePackage();
    valueTypes_.push_back(qualified(package, type.name));
    placeType(package, type);
  }

  void addPrimitive() {
    TypeDefinition type;
    type.kind = Kind::primitive;
    type.name = freshName("Primitive");
    const std::size_t package = somePackage();
    valueTypes_.push_back(qualified(package, type.name));
    placeType(package, type);
  }

  void addDatatype() {
    TypeDefinition type;
    type.kind = Kind::datatype;
    type.name = freshName("Datatype");
    for (std::size_t i = random_.below(5); i > 0; --i) type.properties.push_back(valueProperty());
    const std::size_t package = somePackage();
    datatypes_.push_back(qualified(package, type.name));  // only now: it cannot contain itself
    placeType(package, type);
  }

  void addClass() {
    TypeDefinition type;
    type.name = freshName("Class");
    // The first class can always have elements.
    type.isAbstract = !classes_.empty() && random_.percent(20);
    type.isUniversal = random_.percent(5);
    if (!classes_.empty()) {
      std::set<std::string> supertypes;
      for (std::size_t i = random_.below(4); i > 0; --i) supertypes.insert(random_.pick(classNames_));
      type.supertypes.assign(supertypes.begin(), supertypes.end());
    }
    const std::size_t package = somePackage();
    classNames_.push_back(qualified(package, type.name));
    classPackages_.push_back(package);
    classes_.push_back(type);
  }

  void addClassProperties(TypeDefinition& type) {
    for (std::size_t i = random_.below(7); i > 0; --i) {
      if (random_.percent(60)) {
        type.properties.push_back(valueProperty());
        decorate(type.properties.back());
      } else {
        type.properties.push_back(classProperty());
      }
    }
  }

  // A property of a primitive, an enumeration or a datatype.
  PropertyDefinition valueProperty() {
    PropertyDefinition property = anyProperty();
    const std::size_t sort = random_.below(100);
    if (sort < 20 && !datatypes_.empty())
      property.type = random_.pick(datatypes_);
    else if (sort < 40 && !valueTypes_.empty())
      property.type = random_.pick(valueTypes_);
    else
      property.type = standardTypes[random_.below(standardTypes.size())];
    return property;
  }

  PropertyDefinition classProperty() {
    PropertyDefinition property = anyProperty();
    property.type = random_.pick(classNames_);
    property.composite = random_.percent(50);
    return property;
  }

  PropertyDefinition anyProperty() {
    PropertyDefinition property;
    property.name = propertyName();
    static constexpr std::array<std::pair<std::uint32_t, std::int32_t>, 7> bounds = {
        {{0, 1}, {0, 1}, {1, 1}, {0, -1}, {1, -1}, {0, 5}, {2, 2}}};
    std::tie(property.lower, property.upper) = bounds[random_.below(bounds.size())];
    property.ordered = random_.percent(80);
    property.unique = random_.percent(50);
    if (random_.percent(30)) property.identifier = freshIdentifier();
    return property;
  }

  // Properties without a stored value, values that are never written, defaults.
  void decorate(PropertyDefinition& property) {
    const std::size_t sort = random_.below(100);
    property.derived = sort < 5;
    property.isStatic = sort >= 5 && sort < 8;
    property.isTransient = sort >= 8 && sort < 13;
    if (property.derived || property.isStatic) property.identifier.reset();
    if (property.type == "Integer" && random_.percent(30)) property.defaultText = "42";
    if (property.type == "String" && random_.percent(30)) property.defaultText = "nothing said";
  }

  void addOpposites() {
    const std::size_t from = random_.below(classes_.size());
    const std::size_t to = random_.below(classes_.size());
    PropertyDefinition there = anyProperty();
    PropertyDefinition back = anyProperty();
    there.type = classNames_[to];
    there.opposite = back.name;
    back.type = classNames_[from];
    back.opposite = there.name;
    classes_[from].properties.push_back(there);
    classes_[to].properties.push_back(back);
  }

  // No two pinned ones are equal, so they may meet in any class.
  std::uint32_t freshIdentifier() {
    while (true) {
      const std::size_t bound = random_.percent(50) ? 16382u : 200u;
      const auto identifier = static_cast<std::uint32_t>(random_.between(1, bound));
      if (pinned_.insert(identifier).second) return identifier;
    }
  }

  Random& random_;
  std::vector<PackageDefinition> packages_;
  std::vector<std::string> valueTypes_;  // enumerations and user-defined primitives
  std::vector<std::string> datatypes_;
  std::vector<TypeDefinition> classes_;
  std::vector<std::string> classNames_;
  std::vector<std::size_t> classPackages_;
  std::set<std::uint32_t> pinned_;
  std::size_t names_ = 0;
};

}  // namespace

std::vector<PackageDefinition> makeRandomDefinitions(Random& random) { return MetaModelMaker(random).make(); }

std::unique_ptr<meta::MetaRegistry> makeRandomRegistry(Random& random) {
  auto registry = std::make_unique<meta::MetaRegistry>();
  registry->add(makeRandomDefinitions(random));
  return registry;
}

}  // namespace kr::zero::test
