#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MetaDefinitions.h"

namespace kr::zero::meta {
namespace {

using testing::ElementsAre;

TEST(MetaModelBuilder, TheExampleOfItsHeaderWorks) {
  using kr::zero::meta::MetaModelBuilder;
  MetaModelBuilder library("http://example.org/library", "library");
  library.enumeration("Genre").literal("novel", 0).literal("poetry", 1);
  auto& book = library.classType("Book");
  book.property("title", "String").required();
  book.property("genre", "Genre");
  book.property("authors", "Author").many();
  library.classType("Author").property("name", "String");
  library.classType("Library").property("books", "Book").many().composite();
  MetaRegistry registry;
  library.registerIn(registry);

  const Class found = test::classOf(registry, "library.Book");
  ASSERT_TRUE(found);
  EXPECT_THAT(test::namesOf(found->getAllProperties()), ElementsAre("title", "genre", "authors"));
  EXPECT_EQ(found->findProperty("title")->getLower(), 1u);
  EXPECT_EQ(found->findProperty("authors")->getUpper(), -1);
  EXPECT_TRUE(test::propertyOf(registry, "library.Library", "books")->isComposite());
  EXPECT_EQ(Enum(registry.findType("library.Genre"))->findByNumber(1)->name, "poetry");
}

TEST(MetaModelBuilder, AddsPackagesToTheRegistryItIsGiven) {
  MetaModelBuilder library("urn:kr0:test:meta-model-builder", "metaModelBuilderTest");
  library.classType("A");
  library.registerIn(MetaRegistry::instance());
  EXPECT_TRUE(MetaRegistry::instance().hasPackage("urn:kr0:test:meta-model-builder"));
  EXPECT_TRUE(MetaRegistry::instance().findType("metaModelBuilderTest.A"));
}

TEST(MetaModelBuilder, RequiredAndManyGoTogetherInEitherOrder) {
  MetaModelBuilder p("", "p");
  auto& a = p.classType("A");
  a.property("x", "Integer").required().many();
  a.property("y", "Integer").many().required();
  const PackageDefinition made = p.definition();
  ASSERT_EQ(made.types[0].properties.size(), 2u);
  for (const PropertyDefinition& property : made.types[0].properties) {
    EXPECT_EQ(property.lower, 1u) << property.name;
    EXPECT_EQ(property.upper, -1) << property.name;
  }
}

TEST(MetaModelBuilder, HandsOutWhatStaysValidWhileMoreIsAdded) {
  MetaModelBuilder p("", "p");
  auto& type = p.classType("A");
  auto& property = type.property("x", "Integer");
  auto& nested = p.package("", "q");
  for (int i = 0; i < 1000; ++i) {
    p.classType("T" + std::to_string(i));
    type.property("p" + std::to_string(i), "Integer");
    p.package("", "n" + std::to_string(i));
  }
  type.abstractType();
  property.id(7);
  nested.classType("Inner");
  const PackageDefinition made = p.definition();
  EXPECT_TRUE(made.types[0].isAbstract);
  EXPECT_EQ(made.types[0].properties[0].identifier, 7u);
  EXPECT_EQ(made.packages[0].types[0].name, "Inner");
}

TEST(MetaModelBuilder, KeepsEverythingThatItIsTold) {
  MetaModelBuilder p("urn:p", "p");
  p.enumeration("E").literal("a", 5, "text");
  auto& property = p.classType("A").supertype("B").property("x", "T");
  property.id(3).bounds(2, 4).composite().unordered().nonUnique().derived().isStatic().isTransient();
  property.opposite("y").defaultText("d");
  const PackageDefinition made = p.definition();
  EXPECT_EQ(made.uri, "urn:p");
  EXPECT_EQ(made.name, "p");
  EXPECT_EQ(made.types[0].kind, TypeDefinition::Kind::enumeration);
  EXPECT_EQ(made.types[0].literals[0].name, "a");
  EXPECT_EQ(made.types[0].literals[0].number, 5);
  EXPECT_EQ(made.types[0].literals[0].text, "text");
  EXPECT_THAT(made.types[1].supertypes, ElementsAre("B"));
  const PropertyDefinition& x = made.types[1].properties[0];
  EXPECT_EQ(x.name, "x");
  EXPECT_EQ(x.type, "T");
  EXPECT_EQ(x.identifier, 3u);
  EXPECT_EQ(x.lower, 2u);
  EXPECT_EQ(x.upper, 4);
  EXPECT_TRUE(x.composite && x.derived && x.isStatic && x.isTransient);
  EXPECT_FALSE(x.ordered || x.unique);
  EXPECT_EQ(x.opposite, "y");
  EXPECT_EQ(x.defaultText, "d");
}

}  // namespace
}  // namespace kr::zero::meta
