#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "MetaDefinitions.h"

namespace kr::zero::meta {
namespace {

using test::classOf;
using test::propertyOf;
using test::refusal;
using testing::ElementsAre;

MetaModelBuilder library() {
  MetaModelBuilder package("http://example.org/library", "library");
  package.enumeration("Genre").literal("novel", 0).literal("poetry", 1);
  package.classType("Book").property("genre", "Genre");
  auto& inner = package.package("http://example.org/library/staff", "staff");
  inner.classType("Clerk").property("reads", "Book").many();
  inner.package("", "pay").classType("Grade");
  package.package("http://example.org/library/rooms", "rooms").classType("Hall");
  return package;
}

TEST(MetaRegistry, FindsTypesByQualifiedNameInBothForms) {
  MetaRegistry registry;
  library().registerIn(registry);
  const Type book = registry.findType("library.Book");
  ASSERT_TRUE(book);
  EXPECT_EQ(book->name(), "Book");
  EXPECT_EQ(book->getQualifiedName(), u"library.Book");
  EXPECT_EQ(book->qualifiedName(), "library.Book");
  EXPECT_EQ(registry.findType(u"library.Book"), book);
  EXPECT_EQ(registry.findType("library.staff.pay.Grade")->name(), "Grade");
}

TEST(MetaRegistry, FindsNothingUnderOtherNames) {
  MetaRegistry registry;
  library().registerIn(registry);
  for (const char* name :
       {"", "Book", "library", "library.", "library.book", "library.Book ", "library.Clerk"})
    EXPECT_FALSE(registry.findType(std::string_view(name))) << name;
  EXPECT_FALSE(registry.findType(u"Book"));
}

TEST(MetaRegistry, KeepsNamesBeyondAscii) {
  MetaRegistry registry;
  MetaModelBuilder package("urn:ü", "büch");
  package.classType("Größe\U0001F4D6").property("naïve", "String");
  package.registerIn(registry);
  const Class found(registry.findType(u"büch.Größe\U0001F4D6"));
  ASSERT_TRUE(found);
  EXPECT_EQ(found, registry.findType("büch.Größe\U0001F4D6"));
  EXPECT_EQ(found->getPackageUri(), u"urn:ü");
  ASSERT_TRUE(found->findProperty(u"naïve"));
  EXPECT_EQ(found->findProperty(u"naïve"), found->findProperty("naïve"));
}

TEST(MetaRegistry, KnowsPackagesByUri) {
  MetaRegistry registry;
  library().registerIn(registry);
  EXPECT_TRUE(registry.hasPackage("http://example.org/library"));
  EXPECT_TRUE(registry.hasPackage("http://example.org/library/staff"));
  EXPECT_FALSE(registry.hasPackage("library"));
  EXPECT_FALSE(registry.hasPackage(""));
}

TEST(MetaRegistry, TakesTheQualifiedNameForAnEmptyUri) {
  MetaRegistry registry;
  library().registerIn(registry);
  EXPECT_TRUE(registry.hasPackage("library.staff.pay"));
  EXPECT_EQ(registry.findType("library.staff.pay.Grade")->packageUri(), "library.staff.pay");
}

TEST(MetaRegistry, ListsPackagesAsTheyCameNestedOnesAfterTheOneAround) {
  MetaRegistry registry;
  library().registerIn(registry);
  registry.add({MetaModelBuilder("", "b").definition(), MetaModelBuilder("", "a").definition()});
  std::vector<std::string> names;
  for (const PackageInfo& package : registry.getPackages()) names.push_back(package.qualifiedName);
  EXPECT_THAT(names, ElementsAre("library", "library.staff", "library.staff.pay", "library.rooms", "b", "a"));
}

TEST(MetaRegistry, ListsAPackagesTypesInDeclarationOrder) {
  MetaRegistry registry;
  library().registerIn(registry);
  const PackageInfo package = registry.getPackages().front();
  EXPECT_EQ(package.name, "library");
  EXPECT_EQ(package.uri, "http://example.org/library");
  EXPECT_THAT(package.types,
              ElementsAre(registry.findType("library.Genre"), registry.findType("library.Book")));
}

TEST(MetaRegistry, NumbersTypesDenselyAfterTheStandardOnes) {
  MetaRegistry registry;
  library().registerIn(registry);
  registry.add(MetaModelBuilder("", "empty").definition());
  MetaModelBuilder more("", "more");
  more.classType("A");
  more.registerIn(registry);
  std::vector<std::uint32_t> indices;
  for (const PackageInfo& package : registry.getPackages())
    for (const Type type : package.types) indices.push_back(type->getIndex());
  EXPECT_THAT(indices, ElementsAre(17, 18, 19, 20, 21, 22));
}

TEST(MetaRegistry, KeepsRegistriesApart) {
  MetaRegistry one;
  MetaRegistry other;
  library().registerIn(one);
  EXPECT_FALSE(other.findType("library.Book"));
  library().registerIn(other);
  EXPECT_NE(one.findType("library.Book"), other.findType("library.Book"));
  EXPECT_FALSE(classOf(one, "library.Book")->conformsTo(classOf(other, "library.Book")));
}

TEST(MetaRegistry, TheOneOfTheProcessIsAlwaysTheSame) {
  EXPECT_EQ(&MetaRegistry::instance(), &MetaRegistry::instance());
  EXPECT_TRUE(MetaRegistry::instance().findType("String"));
}

TEST(MetaRegistry, LetsPackagesOfOneCallReferToEachOther) {
  MetaRegistry registry;
  MetaModelBuilder a("", "a");
  a.classType("A").supertype("b.B").property("other", "b.B");
  MetaModelBuilder b("", "b");
  b.classType("B").property("back", "a.A");
  registry.add({a.definition(), b.definition()});
  EXPECT_TRUE(classOf(registry, "a.A")->conformsTo(classOf(registry, "b.B")));
  EXPECT_EQ(propertyOf(registry, "b.B", "back")->getType(), registry.findType("a.A"));
}

// Names of types: a standard type, then a qualified name, then the packages from the inside out.

TEST(MetaTypeNames, AStandardTypeCountsFirst) {
  MetaRegistry registry;
  MetaModelBuilder package("", "p");
  package.primitive("Real");
  package.classType("A").property("x", "Real");
  package.registerIn(registry);
  EXPECT_EQ(propertyOf(registry, "p.A", "x")->getType(), registry.findType("Real"));
}

TEST(MetaTypeNames, AQualifiedNameCountsBeforeTheOwnPackage) {
  MetaRegistry registry;
  MetaModelBuilder package("", "p");
  package.classType("A").property("x", "p.B");
  package.classType("B");
  package.package("", "p").classType("B");
  package.registerIn(registry);
  ASSERT_TRUE(registry.findType("p.p.B"));
  EXPECT_EQ(propertyOf(registry, "p.A", "x")->getType(), registry.findType("p.B"));
}

TEST(MetaTypeNames, TheInnerPackageCountsBeforeTheOneAround) {
  MetaRegistry registry;
  MetaModelBuilder package("", "p");
  package.primitive("Near");
  package.primitive("Far");
  auto& inner = package.package("", "q");
  inner.primitive("Near");
  auto& a = inner.classType("A");
  a.property("near", "Near");
  a.property("far", "Far");
  package.registerIn(registry);
  EXPECT_EQ(propertyOf(registry, "p.q.A", "near")->getType(), registry.findType("p.q.Near"));
  EXPECT_EQ(propertyOf(registry, "p.q.A", "far")->getType(), registry.findType("p.Far"));
}

TEST(MetaTypeNames, ANestedPackageCanBeNamedFromTheOneAround) {
  MetaRegistry registry;
  MetaModelBuilder package("", "p");
  package.classType("A").property("x", "q.B");
  package.package("", "q").classType("B");
  package.registerIn(registry);
  EXPECT_EQ(propertyOf(registry, "p.A", "x")->getType(), registry.findType("p.q.B"));
}

TEST(MetaTypeNames, APackageBesideIsNotLookedInto) {
  MetaModelBuilder package("", "p");
  package.package("", "q").primitive("T");
  package.package("", "r").classType("A").property("x", "T");
  EXPECT_EQ(refusal(package), "class p.r.A: property \"x\": there is no type \"T\"");
}

// All or nothing.

TEST(MetaRegistry, IsAsItWasAfterARefusal) {
  MetaRegistry registry;
  library().registerIn(registry);
  MetaModelBuilder good("", "good");
  good.classType("A").supertype("library.Book").property("x", "Integer");
  MetaModelBuilder bad("", "bad");
  bad.classType("B").property("y", "Nothing");
  EXPECT_NE(refusal(registry, {good.definition(), bad.definition()}), "");

  EXPECT_FALSE(registry.findType("good.A"));
  EXPECT_FALSE(registry.findType(u"good.A"));
  EXPECT_FALSE(registry.hasPackage("good"));
  EXPECT_EQ(registry.getPackages().size(), 4u);
}

TEST(MetaRegistry, TakesInAfterARefusalWhatItWouldHaveTakenBefore) {
  MetaRegistry registry;
  library().registerIn(registry);
  MetaModelBuilder good("", "good");
  good.classType("A").supertype("library.Book").property("x", "Integer");
  MetaModelBuilder bad("", "bad");
  bad.classType("B").property("y", "Nothing");
  ASSERT_NE(refusal(registry, {good.definition(), bad.definition()}), "");
  ASSERT_EQ(refusal(registry, good), "");
  EXPECT_EQ(registry.findType("good.A")->getIndex(), 22u);
  EXPECT_EQ(propertyOf(registry, "good.A", "x")->getIndex(), 2u);
  EXPECT_TRUE(classOf(registry, "good.A")->conformsTo(classOf(registry, "library.Book")));
}

TEST(MetaRegistry, TakesInNothingWithoutAWord) {
  MetaRegistry registry;
  registry.add(std::vector<PackageDefinition>{});
  EXPECT_TRUE(registry.getPackages().empty());
}

}  // namespace
}  // namespace kr::zero::meta
