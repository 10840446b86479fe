// Packages of different URIs may share a name.
#include <gtest/gtest.h>

#include "MetaDefinitions.h"

namespace kr::zero::meta {
namespace {

using test::refusal;

// A package "p" with a class and an enumeration of the same names in each.
PackageDefinition version(const std::string& uri, const std::string& property) {
  MetaModelBuilder p(uri, "p");
  p.enumeration("Kind").literal(property, 0);
  p.classType("C").property(property, "Kind");
  return p.definition();
}

Class classIn(const MetaRegistry& registry, const ustring& uri) {
  return Class(registry.findType(u"p.C", std::vector<ustring>{uri}));
}

TEST(SharedNames, PackagesOfDifferentUrisAreTaken) {
  MetaRegistry registry;
  EXPECT_EQ(refusal(registry, {version("urn:1", "a"), version("urn:2", "b")}), "");
  EXPECT_EQ(refusal(registry, {version("urn:3", "c")}), "");
  EXPECT_EQ(registry.findPackageName("urn:3"), "p");
  EXPECT_EQ(registry.findPackageName("urn:4"), std::nullopt);
}

TEST(SharedNames, APackageOfTheSameUriIsRefused) {
  MetaRegistry registry;
  registry.add(version("urn:1", "a"));
  EXPECT_EQ(refusal(registry, {version("urn:1", "a")}),
            "package p: there is a package with the URI \"urn:1\" already");
}

TEST(SharedNames, ATypeIsFoundInThePackagesThatAreListed) {
  MetaRegistry registry;
  registry.add({version("urn:1", "a"), version("urn:2", "b")});
  registry.add(version("urn:3", "c"));
  EXPECT_TRUE(classIn(registry, u"urn:1")->findProperty("a"));
  EXPECT_TRUE(classIn(registry, u"urn:2")->findProperty("b"));
  EXPECT_TRUE(classIn(registry, u"urn:3")->findProperty("c"));
}

TEST(SharedNames, WithoutAListTheFirstIsFound) {
  MetaRegistry registry;
  registry.add({version("urn:1", "a"), version("urn:2", "b")});
  EXPECT_EQ(registry.findType("p.C")->getPackageUri(), u"urn:1");
  EXPECT_EQ(registry.findType(u"p.C")->getPackageUri(), u"urn:1");
  EXPECT_EQ(classIn(registry, u"urn:other")->getPackageUri(), u"urn:1");
}

TEST(SharedNames, DefinitionsMeanTheTypesOfTheirOwnPackage) {
  MetaRegistry registry;
  registry.add({version("urn:1", "a"), version("urn:2", "b")});
  const Enum kind(classIn(registry, u"urn:2")->findProperty("b")->getType());
  EXPECT_EQ(kind->getPackageUri(), u"urn:2");
  EXPECT_NE(kind->findByName("b"), nullptr);
}

TEST(SharedNames, ATypeTwiceInOneOfThemIsRefused) {
  MetaModelBuilder p("urn:2", "p");
  p.classType("C");
  p.classType("C");
  MetaRegistry registry;
  registry.add(version("urn:1", "a"));
  EXPECT_EQ(refusal(registry, p), "class p.C: there is a type of that name already");
}

}  // namespace
}  // namespace kr::zero::meta
