/// @file
/// Short ways to write definitions, and to hear why a registry refuses them.
#pragma once

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "kr/zero/meta/MetaModelBuilder.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::test {

/// The text with which the registry refuses, or "" where it does not.
inline std::string refusal(meta::MetaRegistry& registry,
                           const std::vector<meta::PackageDefinition>& packages) {
  try {
    registry.add(packages);
    return {};
  } catch (const meta::MetaError& e) {
    return e.what();
  }
}

inline std::string refusal(meta::MetaRegistry& registry, const meta::MetaModelBuilder& package) {
  return refusal(registry, {package.definition()});
}

/// The same with a registry that knows nothing yet.
inline std::string refusal(const meta::MetaModelBuilder& package) {
  meta::MetaRegistry registry;
  return refusal(registry, package);
}

inline meta::PropertyDefinition propertyDefinition(std::string name, std::string type = "Integer") {
  meta::PropertyDefinition made;
  made.name = std::move(name);
  made.type = std::move(type);
  return made;
}

inline meta::TypeDefinition classDefinition(std::string name, std::vector<std::string> supertypes = {},
                                            std::initializer_list<const char*> properties = {}) {
  meta::TypeDefinition made;
  made.name = std::move(name);
  made.supertypes = std::move(supertypes);
  for (const char* property : properties) made.properties.push_back(propertyDefinition(property));
  return made;
}

inline meta::Class classOf(const meta::MetaRegistry& registry, std::string_view name) {
  return meta::Class(registry.findType(name));
}

/// A property of a type of the registry by name; an empty handle where there is none.
inline meta::Property propertyOf(const meta::MetaRegistry& registry, std::string_view type,
                                 std::string_view property) {
  const meta::StructuredType found(registry.findType(type));
  return found ? found->findProperty(property) : meta::Property();
}

inline std::vector<std::string> namesOf(const std::vector<meta::Property>& properties) {
  std::vector<std::string> names;
  for (const meta::Property property : properties) names.push_back(property->name());
  return names;
}

}  // namespace kr::zero::test
