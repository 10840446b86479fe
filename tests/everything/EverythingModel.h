/// @file
/// A meta model with everything that code can be generated for: every standard type, single and many,
/// datatypes, several supertypes, packages that need each other, and names that C++ does not take.
#pragma once

#include <string>

#include "kr/zero/meta/MetaModelBuilder.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "kr/zero/meta/StandardTypeList.h"

namespace kr::zero::test {

inline void addValues(meta::MetaModelBuilder& all) {
  auto& kind = all.enumeration("Kind");
  kind.literal("first", 0).literal("class", 1).literal("NULL", 2).literal("two words", 5, "2 words");
  kind.literal("lowest", -2147483647 - 1).literal("alsoFirst", 0);
  all.primitive("Code");
  auto& point = all.datatype("Point");
  point.property("x", "Real").required();
  point.property("y", "Real").required();
  point.property("label", "String");

  auto& values = all.classType("Values");
  for (const meta::StandardTypeInfo& info : meta::kStandardTypes) {
    if (info.type == meta::StandardType::none) continue;
    values.property(std::string("one") + info.name, info.name);
    values.property(std::string("many") + info.name, info.name).many().nonUnique();
  }
  values.property("oneKind", "Kind");
  values.property("manyKind", "Kind").many().nonUnique();
  values.property("oneCode", "Code");
  values.property("manyCode", "Code").many().nonUnique();
  values.property("onePoint", "Point");
  values.property("manyPoint", "Point").many();
  values.property("hidden", "String").derived();

  auto& defaults = all.classType("Defaults");
  defaults.property("number", "Integer").defaultText("-7");
  defaults.property("real", "Real").defaultText("2.5");
  defaults.property("truth", "Boolean").defaultText("true");
  defaults.property("text", "String").defaultText("\"quoted\" ?\?/ \xC3\xA9\n");
  defaults.property("kind", "Kind").defaultText("two words");
  defaults.property("uuid", "UUID").defaultText("00112233-4455-6677-8899-aabbccddeeff");
}

inline void addClasses(meta::MetaModelBuilder& all) {
  all.classType("Named").abstractType().property("name", "String").required();
  auto& left = all.classType("Left");
  left.supertype("Named").property("leftNumber", "Integer");
  auto& right = all.classType("Right");
  right.supertype("Named");
  right.property("rightNumber", "Integer");
  right.property("rightText", "String");
  all.classType("Bottom").supertype("Left").supertype("Right").property("bottomNumber", "Integer64");
  all.classType("Extra").property("extraNumber", "Integer");
  all.classType("Mark");
  auto& mixed = all.classType("Mixed");
  mixed.supertype("Extra").supertype("Mark").supertype("Right").supertype("other.Outsider");
  mixed.property("mixedNumber", "Integer");
  all.classType("Deeper").supertype("Mixed").supertype("Left");

  all.classType("Anything").abstractType();  // every class conforms to it, see below
  auto& owner = all.classType("Owner");
  owner.supertype("Named");
  owner.property("child", "Named").composite();
  owner.property("children", "Named").many().composite();
  owner.property("only", "Thing").composite();
  owner.property("favourite", "Thing").opposite("admirer");
  owner.property("things", "Thing").many().opposite("owners");
  owner.property("inside", "all.inner.Inside").many();
  owner.property("whatever", "Anything");
  owner.property("whatevers", "Anything").many();
  owner.property("holds", "Anything").composite();
  owner.property("outsiders", "other.Outsider").many();
  auto& thing = all.classType("Thing");
  thing.property("admirer", "Owner").opposite("favourite");
  thing.property("owners", "Owner").many().opposite("things");

  auto& inner = all.package("http://www.example.org/all/inner", "inner");
  inner.classType("Inside").supertype("Named").property("sort", "Sort");
  inner.classType("Named").property("innerName", "String");
  inner.enumeration("Sort").literal("Inside", 0).literal("other", 1);
}

inline void addHostileNames(meta::MetaModelBuilder& all) {
  auto& odd = all.classType("class");
  for (const char* name : {"my-name", "my_name", "My name", "1st",
                           "Gr\xC3\xB6\xC3\x9F"
                           "e",
                           "int", "element", "*/", "a\"b\\", "Handle", "Self", "_"})
    odd.property(name, "Integer");
  all.classType("BasicLeft").property("number", "Integer");
  all.classType("Left-").property("number", "Integer");
  all.classType("registerIn").property("number", "Integer");
  all.classType("errno").property("number", "Integer");
  all.package("http://www.example.org/all/unix", "unix").classType("major").property("minor", "Integer");
}

/// Adds the packages "all" and "other" to a registry.
inline void registerEverything(meta::MetaRegistry& registry) {
  meta::MetaModelBuilder all("http://www.example.org/all", "all");
  addValues(all);
  addClasses(all);
  addHostileNames(all);
  meta::MetaModelBuilder other("http://www.example.org/other", "other");
  other.classType("Outsider").property("outsideNumber", "Integer");
  other.classType("Returned").supertype("all.Right").property("kind", "all.Kind");
  meta::PackageDefinition definition = all.definition();
  for (meta::TypeDefinition& type : definition.types) type.isUniversal = type.name == "Anything";
  registry.add({definition, other.definition()});
}

}  // namespace kr::zero::test
