#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "MetaDefinitions.h"

namespace kr::zero::meta {
namespace {

using test::refusal;
using testing::HasSubstr;
using testing::StartsWith;

MetaModelBuilder package() { return MetaModelBuilder("urn:p", "p"); }

TEST(MetaRefusals, APackageUriTwice) {
  MetaRegistry registry;
  package().registerIn(registry);
  EXPECT_EQ(refusal(registry, MetaModelBuilder("urn:p", "q")),
            "package q: there is a package with the URI \"urn:p\" already");
  EXPECT_EQ(refusal(registry, {MetaModelBuilder("urn:r", "r").definition(),
                               MetaModelBuilder("urn:r", "s").definition()}),
            "package s: there is a package with the URI \"urn:r\" already");
}

TEST(MetaRefusals, ATypeOfAPackageWithTheNameOfATypeOfAnother) {
  MetaModelBuilder outer("urn:1", "a");
  outer.package("urn:2", "b").classType("C");
  outer.classType("b.C");
  EXPECT_THAT(refusal(outer), testing::EndsWith("a.b.C: there is a type of that name already"));
}

TEST(MetaRefusals, APropertyWithTheNameOfAMark) {
  for (const char* name : {" S", " E"}) {
    auto p = package();
    p.classType("A").property(name, "String");
    EXPECT_EQ(refusal(p), "class p.A: property \"" + std::string(name) +
                              "\": documents mark the start and the end of an element with this name");
  }
  auto p = package();
  p.classType("A").property("S", "String");
  EXPECT_EQ(refusal(p), "");
}

TEST(MetaRefusals, ATypeNameTwice) {
  auto p = package();
  p.classType("A");
  p.enumeration("A");
  EXPECT_EQ(refusal(p), "enumeration p.A: there is a type of that name already");
}

TEST(MetaRefusals, EmptyNames) {
  EXPECT_EQ(refusal(MetaModelBuilder("urn:p", "")), "package: the name is empty");
  auto nested = package();
  nested.package("urn:q", "");
  EXPECT_EQ(refusal(nested), "package in p: the name is empty");
  auto type = package();
  type.datatype("");
  EXPECT_EQ(refusal(type), "datatype in package p: the name is empty");
  auto property = package();
  property.classType("A").property("", "String");
  EXPECT_EQ(refusal(property), "class p.A: the name of a property is empty");
  auto literal = package();
  literal.enumeration("E").literal("", 1);
  EXPECT_EQ(refusal(literal), "enumeration p.E: the name of a literal is empty");
}

TEST(MetaRefusals, MalformedTexts) {
  EXPECT_EQ(refusal(MetaModelBuilder("urn:\xff", "p")), "package p: the URI is not well-formed UTF-8");
  EXPECT_EQ(refusal(MetaModelBuilder("", "\xc0\x80")), "package: the name is not well-formed UTF-8");
  auto type = package();
  type.primitive("\xed\xa0\x80");
  EXPECT_EQ(refusal(type), "primitive in package p: the name is not well-formed UTF-8");
  auto property = package();
  property.classType("A").property("x\x80", "String");
  EXPECT_EQ(refusal(property), "class p.A: the name of a property is not well-formed UTF-8");
  auto literal = package();
  literal.enumeration("E").literal("e", 1, "\xf8");
  EXPECT_EQ(refusal(literal), "enumeration p.E: the text of a literal is not well-formed UTF-8");
  auto value = package();
  value.classType("A").property("x", "String").defaultText("\xc3");
  EXPECT_EQ(refusal(value), "class p.A: property \"x\": the default text is not well-formed UTF-8");
}

TEST(MetaRefusals, ALiteralNameTwice) {
  auto p = package();
  p.enumeration("E").literal("a", 1).literal("b", 1).literal("a", 2);
  EXPECT_EQ(refusal(p), "enumeration p.E: two literals have the name \"a\"");
}

TEST(MetaRefusals, AnUnknownType) {
  auto p = package();
  p.classType("A").property("x", "Strin");
  EXPECT_EQ(refusal(p), "class p.A: property \"x\": there is no type \"Strin\"");
  auto empty = package();
  empty.classType("A").property("x", "");
  EXPECT_EQ(refusal(empty), "class p.A: property \"x\": there is no type \"\"");
}

TEST(MetaRefusals, AnUnknownSupertype) {
  auto p = package();
  p.classType("A").supertype("B");
  EXPECT_EQ(refusal(p), "class p.A: there is no supertype \"B\"");
}

TEST(MetaRefusals, ASupertypeThatIsNoClass) {
  for (const char* name : {"E", "D", "T", "String"}) {
    auto p = package();
    p.enumeration("E");
    p.datatype("D");
    p.primitive("T");
    p.classType("A").supertype(name);
    EXPECT_EQ(refusal(p), "class p.A: the supertype \"" + std::string(name) + "\" is not a class");
  }
}

TEST(MetaRefusals, ASupertypeTwice) {
  auto p = package();
  p.classType("B");
  p.classType("A").supertype("B").supertype("p.B");
  EXPECT_EQ(refusal(p), "class p.A: the supertype \"p.B\" is named twice");
}

TEST(MetaRefusals, SupertypesInACircle) {
  auto self = package();
  self.classType("A").supertype("A");
  EXPECT_EQ(refusal(self), "class p.A: its supertypes form a circle: p.A, p.A");
  auto three = package();
  three.classType("Below").supertype("A");
  three.classType("A").supertype("B");
  three.classType("B").supertype("C");
  three.classType("C").supertype("A");
  EXPECT_EQ(refusal(three), "class p.A: its supertypes form a circle: p.A, p.B, p.C, p.A");
}

TEST(MetaRefusals, ALongCircleIsNotListedInFull) {
  auto p = package();
  for (int i = 0; i < 30; ++i)
    p.classType("C" + std::to_string(i)).supertype("C" + std::to_string((i + 1) % 30));
  EXPECT_EQ(
      refusal(p),
      "class p.C0: its supertypes form a circle: p.C0, p.C1, p.C2, p.C3, p.C4, p.C5, p.C6, p.C7, p.C8, p.C9, "
      "and 20 more, p.C0");
}

TEST(MetaRefusals, AbstractOrUniversalWithoutBeingAClass) {
  auto p = package();
  p.datatype("D").abstractType();
  EXPECT_EQ(refusal(p), "datatype p.D: only a class can be abstract");
  PackageDefinition universal = package().definition();
  universal.types.emplace_back();
  universal.types[0].kind = TypeDefinition::Kind::enumeration;
  universal.types[0].name = "E";
  universal.types[0].isUniversal = true;
  MetaRegistry registry;
  EXPECT_EQ(refusal(registry, {universal}), "enumeration p.E: only a class can be universal");
}

TEST(MetaRefusals, PartsThatTheKindOfTypeCannotHave) {
  auto supertypes = package();
  supertypes.classType("A");
  supertypes.datatype("D").supertype("A");
  EXPECT_EQ(refusal(supertypes), "datatype p.D: only a class can have supertypes");
  auto literals = package();
  literals.classType("A").literal("x", 1);
  EXPECT_EQ(refusal(literals), "class p.A: only an enumeration can have literals");
  auto properties = package();
  properties.primitive("T").property("x", "Integer");
  EXPECT_EQ(refusal(properties), "primitive p.T: only a class or a datatype can have properties");
}

TEST(MetaRefusals, BoundsThatContradict) {
  const auto withBounds = [](std::uint32_t lower, std::int32_t upper) {
    auto p = package();
    p.classType("A").property("x", "Integer").bounds(lower, upper);
    return refusal(p);
  };
  EXPECT_EQ(withBounds(0, 0), "class p.A: property \"x\": the upper bound 0 is neither positive nor -1");
  EXPECT_EQ(withBounds(0, -2), "class p.A: property \"x\": the upper bound -2 is neither positive nor -1");
  EXPECT_EQ(withBounds(3, 2), "class p.A: property \"x\": the lower bound 3 is above the upper bound 2");
  EXPECT_EQ(withBounds(4294967295u, 2147483647),
            "class p.A: property \"x\": the lower bound 4294967295 is above the upper bound 2147483647");
  EXPECT_EQ(withBounds(2, 2), "");
  EXPECT_EQ(withBounds(4294967295u, -1), "");
}

TEST(MetaRefusals, AnIdentifierOutOfRange) {
  const auto withIdentifier = [](std::uint32_t identifier) {
    auto p = package();
    p.classType("A").property("x", "Integer").id(identifier);
    return refusal(p);
  };
  EXPECT_EQ(withIdentifier(0),
            "class p.A: property \"x\": the identifier 0 is for derived and static properties only");
  EXPECT_EQ(withIdentifier(0x3FFF), "class p.A: property \"x\": the identifier 16383 is above 16382");
  EXPECT_EQ(withIdentifier(0xFFFFFFFF),
            "class p.A: property \"x\": the identifier 4294967295 is above 16382");
  EXPECT_EQ(withIdentifier(1), "");
  EXPECT_EQ(withIdentifier(16382), "");
}

TEST(MetaRefusals, TwoPropertiesOfOneNameInAType) {
  auto p = package();
  auto& a = p.classType("A");
  a.property("x", "Integer");
  a.property("x", "String");
  EXPECT_EQ(refusal(p), "class p.A: two properties have the name \"x\"");
  auto d = package();
  auto& datatype = d.datatype("D");
  datatype.property("x", "Integer");
  datatype.property("x", "Integer");
  EXPECT_EQ(refusal(d), "datatype p.D: two properties have the name \"x\"");
}

TEST(MetaRefusals, APropertyOfAnInheritedName) {
  auto p = package();
  p.classType("A").property("x", "Integer");
  p.classType("B").supertype("A");
  p.classType("C").supertype("B").property("x", "Integer");
  EXPECT_EQ(refusal(p), "class p.C: property \"x\" is inherited already, from p.A");
}

TEST(MetaRefusals, TwoInheritedPropertiesOfOneName) {
  MetaRegistry registry;
  auto p = package();
  p.classType("A").property("x", "Integer");
  p.classType("B").property("x", "Integer");
  p.registerIn(registry);
  MetaModelBuilder q("", "q");
  q.classType("C").supertype("p.A").supertype("p.B");
  EXPECT_EQ(refusal(registry, q), "class q.C: properties of p.A and of p.B have one name, \"x\"");
}

TEST(MetaRefusals, AnIdentifierTwiceInAClass) {
  MetaModelBuilder p("", "library");
  p.classType("Named").property("name", "String").id(3);
  p.classType("Novel").supertype("Book");
  p.classType("Book").supertype("Named").property("title", "String").id(3);
  EXPECT_EQ(
      refusal(p),
      "class library.Book: properties \"name\" (from library.Named) and \"title\" both have identifier 3");
}

TEST(MetaRefusals, AnIdentifierTwiceInADatatype) {
  auto p = package();
  auto& d = p.datatype("D");
  d.property("x", "Integer").id(16382);
  d.property("y", "Integer").id(16382);
  EXPECT_EQ(refusal(p), "datatype p.D: properties \"x\" and \"y\" both have identifier 16382");
}

TEST(MetaRefusals, AnIdentifierTwiceWhereTwoKnownHierarchiesJoin) {
  MetaRegistry registry;
  auto p = package();
  p.classType("A").property("x", "Integer");
  p.classType("B").property("y", "Integer");
  p.registerIn(registry);
  MetaModelBuilder q("", "q");
  q.classType("Join").supertype("p.A").supertype("p.B");
  q.classType("Below").supertype("Join");
  EXPECT_EQ(refusal(registry, q),
            "class q.Join: properties \"x\" (from p.A) and \"y\" (from p.B) both have identifier 1");
}

TEST(MetaRefusals, AnIdentifierThatADerivedPropertyHas) {
  auto p = package();
  auto& a = p.classType("A");
  a.property("x", "Integer").derived().id(2);
  a.property("y", "Integer").id(2);
  EXPECT_EQ(refusal(p), "class p.A: properties \"x\" and \"y\" both have identifier 2");
}

TEST(MetaRefusals, ACompositeOfAPrimitiveOrAnEnumeration) {
  auto p = package();
  p.classType("A").property("x", "String").composite();
  EXPECT_EQ(refusal(p), "class p.A: property \"x\": it is composite, but its type \"String\" is not a class");
  auto e = package();
  e.enumeration("E");
  e.classType("A").property("x", "E").composite();
  EXPECT_EQ(refusal(e), "class p.A: property \"x\": it is composite, but its type \"E\" is not a class");
}

TEST(MetaRefusals, AClassInADatatype) {
  auto p = package();
  p.classType("A");
  p.datatype("D").property("x", "A");
  EXPECT_EQ(refusal(p), "datatype p.D: property \"x\": a datatype cannot hold the class \"A\"");
}

TEST(MetaRefusals, ADatatypeInItself) {
  auto p = package();
  p.datatype("D").property("next", "D");
  EXPECT_EQ(refusal(p), "datatype p.D: its values contain themselves: p.D, p.D");
  auto round = package();
  round.datatype("X").property("y", "Y");
  round.datatype("Y").property("z", "Z").many();
  round.datatype("Z").property("y", "Y");
  EXPECT_EQ(refusal(round), "datatype p.Y: its values contain themselves: p.Y, p.Z, p.Y");
}

TEST(MetaRefusals, ADatatypeMayDeriveItself) {
  auto p = package();
  p.datatype("Vector").property("normal", "Vector").derived();
  EXPECT_EQ(refusal(p), "");
}

// A pair of opposites to spoil: p.A.b <-> p.B.a.
struct Pair {
  MetaModelBuilder p = package();
  TypeBuilder& a = p.classType("A");
  TypeBuilder& b = p.classType("B");
};

TEST(MetaOpposites, FindEachOther) {
  Pair pair;
  pair.a.property("b", "B").opposite("a").composite().many();
  pair.b.property("a", "A").opposite("b");
  MetaRegistry registry;
  pair.p.registerIn(registry);
  const Property b = test::propertyOf(registry, "p.A", "b");
  const Property a = test::propertyOf(registry, "p.B", "a");
  EXPECT_EQ(b->getOpposite(), a);
  EXPECT_EQ(a->getOpposite(), b);
}

TEST(MetaOpposites, MayBeInherited) {
  Pair pair;
  pair.p.classType("Special").supertype("B");
  pair.a.property("b", "Special").opposite("a");
  pair.b.property("a", "A").opposite("b");
  EXPECT_EQ(refusal(pair.p), "");
}

TEST(MetaOpposites, MayBeTheOwnOpposite) {
  Pair pair;
  pair.a.property("spouse", "A").opposite("spouse");
  EXPECT_EQ(refusal(pair.p), "");
}

TEST(MetaOpposites, ThatAreMissingAreRefused) {
  Pair pair;
  pair.a.property("b", "B").opposite("a");
  EXPECT_EQ(refusal(pair.p), "class p.A: property \"b\": class p.B has no property \"a\" to be its opposite");
}

TEST(MetaOpposites, ThatDoNotPointBackAreRefused) {
  Pair silent;
  silent.a.property("b", "B").opposite("a");
  silent.b.property("a", "A");
  EXPECT_EQ(refusal(silent.p),
            "class p.A: property \"b\": its opposite \"a\" in p.B does not name it as opposite");
  Pair elsewhere;
  elsewhere.a.property("b", "B").opposite("a");
  elsewhere.a.property("c", "B").opposite("a");
  elsewhere.b.property("a", "A").opposite("c");
  EXPECT_EQ(refusal(elsewhere.p),
            "class p.A: property \"b\": its opposite \"a\" in p.B does not name it as opposite");
}

TEST(MetaOpposites, ThatWereThereBeforeAreRefused) {
  MetaRegistry registry;
  Pair pair;
  pair.b.property("a", "A");
  pair.p.registerIn(registry);
  MetaModelBuilder q("", "q");
  q.classType("C").property("b", "p.B").opposite("a");
  EXPECT_EQ(refusal(registry, q),
            "class q.C: property \"b\": its opposite \"a\" in p.B does not name it as opposite");
}

TEST(MetaOpposites, OfATypeThatDoesNotFitAreRefused) {
  Pair pair;
  pair.a.property("b", "B").opposite("a");
  pair.p.classType("Other").property("b", "B").opposite("a");
  pair.b.property("a", "Other").opposite("b");
  EXPECT_EQ(
      refusal(pair.p),
      "class p.A: property \"b\": its opposite \"a\" in p.B has the type p.Other, which does not have this "
      "property");
  Pair text;
  text.a.property("b", "B").opposite("a");
  text.b.property("a", "String").opposite("b");
  EXPECT_THAT(refusal(text.p), HasSubstr("has the type String, which does not have this property"));
}

TEST(MetaOpposites, OfAPropertyWhoseTypeIsNoClassAreRefused) {
  Pair pair;
  pair.a.property("b", "String").opposite("a");
  EXPECT_EQ(refusal(pair.p),
            "class p.A: property \"b\": it has the opposite \"a\", but its type is not a class");
}

TEST(MetaOpposites, ThatAreBothCompositeAreRefused) {
  Pair pair;
  pair.a.property("b", "B").opposite("a").composite();
  pair.b.property("a", "A").opposite("b").composite();
  EXPECT_EQ(refusal(pair.p),
            "class p.A: property \"b\": it and its opposite \"a\" in p.B are both composite");
}

}  // namespace
}  // namespace kr::zero::meta
