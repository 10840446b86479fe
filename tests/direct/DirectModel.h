/// @file
/// The meta model of these tests, with pinned numbers, and short words for its documents.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "support/DirectBytes.h"

namespace kr::zero::test {

/// One property per kind of content in class p.N; one required property per standard type in p.All.
inline void defineDirectModel(meta::MetaRegistry& registry) {
  meta::MetaModelBuilder package("urn:p", "p");
  package.enumeration("Kind").literal("a", 0).literal("b", 1).literal("below", -1);
  package.primitive("Code");
  package.primitive("Integer");
  package.datatype("Inner").property("note", "String").id(3);
  auto& pair = package.datatype("Pair");
  pair.property("x", "Integer").required().id(1);
  pair.property("inner", "Inner").id(2);
  pair.property("note", "String").id(3);

  auto& n = package.classType("N");
  n.property("name", "String").required().id(1);
  n.property("nick", "String").id(2);
  n.property("tags", "String").many().id(3);
  n.property("sure", "Boolean").required().id(4);
  n.property("maybe", "Boolean").id(5);
  n.property("flags", "Boolean").many().id(6);
  n.property("size", "Integer16").required().id(7);
  n.property("weight", "Integer").id(8);
  n.property("counts", "Integer16").many().id(9);
  n.property("kind", "Kind").id(10);
  n.property("mustKind", "Kind").required().id(11);
  n.property("kinds", "Kind").many().id(12);
  n.property("code", "Code").id(13);
  n.property("ownInteger", "p.Integer").id(14);
  n.property("pair", "Pair").id(15);
  n.property("pairs", "Pair").many().id(16);
  n.property("kid", "N").composite().id(17);
  n.property("kids", "N").many().composite().id(18);
  n.property("ref", "N").id(19);
  n.property("refs", "N").many().id(20);
  n.property("far", "String").id(300);
  n.property("farthest", "String").id(16382);
  n.property("computed", "Integer").derived();
  n.property("shared", "Integer").isStatic();
  n.property("scratch", "Integer").isTransient().id(21);

  auto& sub = package.classType("Sub");
  sub.supertype("N");
  sub.property("more", "String").required().id(30);
  package.classType("Ghost").abstractType().property("name", "String").id(1);

  auto& all = package.classType("All");
  std::uint32_t id = 1;
  for (const char* type :
       {"Boolean", "Integer8", "UInteger8", "Integer16", "UInteger16", "Integer", "UnlimitedNatural",
        "Integer64", "UInteger64", "Real", "String", "StdString", "UUID", "DateTime", "JsonValue",
        "StringToStringMap", "ZoArray", "p.Code", "p.Kind"})
    all.property("a" + std::to_string(id), type).required().id(id), ++id;
  package.registerIn(registry);
}

inline const meta::MetaRegistry& directRegistry() {
  static const std::unique_ptr<const meta::MetaRegistry> registry = [] {
    auto made = std::make_unique<meta::MetaRegistry>();
    defineDirectModel(*made);
    return made;
  }();
  return *registry;
}

inline meta::Property propertyNamed(std::string_view type, std::string_view name) {
  return meta::StructuredType(directRegistry().findType(type))->findProperty(name);
}

/// A document after its header.
inline DirectBytes document() { return DirectBytes().header({"urn:p"}); }
/// A document in which an element of class p.N is open.
inline DirectBytes inN() { return document().root("p.N"); }

inline std::unique_ptr<io::BinaryParser> directParser() {
  return std::make_unique<io::BinaryParser>(std::make_unique<io::ParseCustomizer>(directRegistry()),
                                            std::make_unique<io::ParsingModelBuilder>(false));
}

}  // namespace kr::zero::test
