#include "kr/zero/meta/MetaModelBuilder.h"

#include <utility>
#include <vector>

namespace kr::zero::meta {

PropertyBuilder& PropertyBuilder::id(std::uint32_t identifier) {
  definition_.identifier = identifier;
  return *this;
}

PropertyBuilder& PropertyBuilder::bounds(std::uint32_t lower, std::int32_t upper) {
  definition_.lower = lower;
  definition_.upper = upper;
  return *this;
}

PropertyBuilder& PropertyBuilder::required() {
  definition_.lower = 1;
  return *this;
}

PropertyBuilder& PropertyBuilder::many() {
  definition_.upper = -1;
  return *this;
}

PropertyBuilder& PropertyBuilder::composite() {
  definition_.composite = true;
  return *this;
}

PropertyBuilder& PropertyBuilder::unordered() {
  definition_.ordered = false;
  return *this;
}

PropertyBuilder& PropertyBuilder::nonUnique() {
  definition_.unique = false;
  return *this;
}

PropertyBuilder& PropertyBuilder::derived() {
  definition_.derived = true;
  return *this;
}

PropertyBuilder& PropertyBuilder::isStatic() {
  definition_.isStatic = true;
  return *this;
}

PropertyBuilder& PropertyBuilder::isTransient() {
  definition_.isTransient = true;
  return *this;
}

PropertyBuilder& PropertyBuilder::opposite(std::string name) {
  definition_.opposite = std::move(name);
  return *this;
}

PropertyBuilder& PropertyBuilder::defaultText(std::string text) {
  definition_.defaultText = std::move(text);
  return *this;
}

TypeBuilder& TypeBuilder::abstractType() {
  definition_.isAbstract = true;
  return *this;
}

TypeBuilder& TypeBuilder::supertype(std::string name) {
  definition_.supertypes.push_back(std::move(name));
  return *this;
}

TypeBuilder& TypeBuilder::literal(std::string name, std::int32_t number, std::string text) {
  definition_.literals.push_back({std::move(name), std::move(text), number});
  return *this;
}

PropertyBuilder& TypeBuilder::property(std::string name, std::string type) {
  PropertyBuilder& made = properties_.emplace_back();
  made.definition_.name = std::move(name);
  made.definition_.type = std::move(type);
  return made;
}

TypeDefinition TypeBuilder::definition() const {
  TypeDefinition made = definition_;
  for (const PropertyBuilder& property : properties_) made.properties.push_back(property.definition_);
  return made;
}

MetaModelBuilder::MetaModelBuilder(std::string uri, std::string name)
    : uri_(std::move(uri)), name_(std::move(name)) {}

TypeBuilder& MetaModelBuilder::primitive(std::string name) {
  return add(TypeDefinition::Kind::primitive, std::move(name));
}

TypeBuilder& MetaModelBuilder::enumeration(std::string name) {
  return add(TypeDefinition::Kind::enumeration, std::move(name));
}

TypeBuilder& MetaModelBuilder::datatype(std::string name) {
  return add(TypeDefinition::Kind::datatype, std::move(name));
}

TypeBuilder& MetaModelBuilder::classType(std::string name) {
  return add(TypeDefinition::Kind::classType, std::move(name));
}

TypeBuilder& MetaModelBuilder::add(TypeDefinition::Kind kind, std::string name) {
  TypeBuilder& made = types_.emplace_back();
  made.definition_.kind = kind;
  made.definition_.name = std::move(name);
  return made;
}

MetaModelBuilder& MetaModelBuilder::package(std::string uri, std::string name) {
  return packages_.emplace_back(std::move(uri), std::move(name));
}

PackageDefinition MetaModelBuilder::definition() const {
  struct Step {
    const MetaModelBuilder* from;
    PackageDefinition* to;
  };
  PackageDefinition root;
  std::vector<Step> waiting{{this, &root}};
  while (!waiting.empty()) {
    const auto [from, to] = waiting.back();
    waiting.pop_back();
    to->uri = from->uri_;
    to->name = from->name_;
    for (const TypeBuilder& type : from->types_) to->types.push_back(type.definition());
    to->packages.resize(from->packages_.size());
    auto* next = to->packages.data();
    for (const MetaModelBuilder& nested : from->packages_) waiting.push_back({&nested, next++});
  }
  return root;
}

void MetaModelBuilder::registerIn(MetaRegistry& registry) const { registry.add(definition()); }

}  // namespace kr::zero::meta
