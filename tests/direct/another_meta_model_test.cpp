// Documents that are sound, read with a meta model that is not their writer's: what is said is said in terms
// of the meta model.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kr0/kr0.h>

namespace kr::zero::io {

namespace {

using meta::MetaModelBuilder;
using meta::MetaRegistry;
using testing::HasSubstr;
using testing::Not;

/// What two versions of a package differ in.
struct Version {
  std::string typeOfPages = "Integer";
  std::string typeOfTitle = "String";
  bool hasPages = true;
  bool hasBlue = true;
  bool hasGuide = true;
  bool isGuideAbstract = false;
  bool hasManyTitles = false;
};

void define(MetaRegistry& registry, const Version& version) {
  MetaModelBuilder package("urn:books", "books");
  auto& color = package.enumeration("Color");
  color.literal("red", 1);
  if (version.hasBlue) color.literal("blue", 2);
  auto& book = package.classType("Book");
  auto& title = book.property("title", version.typeOfTitle).id(1);
  if (version.hasManyTitles) title.many();
  if (version.hasPages) book.property("pages", version.typeOfPages).id(2);
  book.property("color", "Color").id(3);
  book.property("guide", "Book").id(4).composite();
  if (version.hasGuide) {
    auto& guide = package.classType("Guide").supertype("Book");
    if (version.isGuideAbstract) guide.abstractType();
  }
  package.registerIn(registry);
}

/// The sentence with which a document of the first version is refused by the other one.
std::string refusalBy(const Version& version) {
  MetaRegistry old;
  define(old, {});
  Model model(old);
  Element book = model.createRoot("books.Book");
  book.set("title", "Moby Dick");
  book.set("pages", 635);
  book.setTextForm("color", "blue");
  book.create("guide", "books.Guide").set("title", "Whales");
  std::string bytes;
  writeModel(model, bytes);

  MetaRegistry registry;
  define(registry, version);
  try {
    readModel(bytes, LoadOptions{.registry = &registry, .name = "old.krb"});
  } catch (const zero::Error& error) {
    return error.what();
  }
  return "it was read";
}

}  // namespace

TEST(AnotherMetaModel, ReadsWhatItWroteItself) { EXPECT_EQ(refusalBy({}), "it was read"); }

TEST(AnotherMetaModel, NamesThePropertyThatItDoesNotHave) {
  EXPECT_EQ(
      refusalBy({.hasPages = false}),
      "old.krb, byte 42, /book: class books.Book of the package urn:books has no property with the number 2 "
      "(another version of the meta model may have written the document)");
}

TEST(AnotherMetaModel, NamesTheLiteralThatItDoesNotHave) {
  EXPECT_EQ(refusalBy({.hasBlue = false}),
            "old.krb, byte 53, /book.color: enumeration books.Color has no literal with the number 2");
}

TEST(AnotherMetaModel, NamesTheClassThatItDoesNotHave) {
  EXPECT_EQ(refusalBy({.hasGuide = false}),
            "old.krb, byte 68, /book: there is no type \"books.Guide\" with properties");
}

TEST(AnotherMetaModel, NamesTheClassThatHasNoElements) {
  EXPECT_EQ(refusalBy({.isGuideAbstract = true}),
            "old.krb, byte 68, /book: class books.Guide is abstract and has no elements");
}

TEST(AnotherMetaModel, NamesPropertyAndTypeWhereTheBytesOfAValueAreOthers) {
  EXPECT_EQ(refusalBy({.typeOfPages = "String"}),
            "old.krb, byte 43, /book.pages: text cut short while a value of type String was read");
}

TEST(AnotherMetaModel, NamesPropertyAndTypeWhereManyValuesAreReadAndOneWasWritten) {
  EXPECT_EQ(refusalBy({.hasManyTitles = true}),
            "old.krb, byte 30, /book.title: count larger than the bytes that remain while a value of type "
            "String was "
            "read");
}

TEST(AnotherMetaModel, IsNeverToldThatTheDocumentIsDamaged) {
  for (const Version& version :
       {Version{.typeOfPages = "String"}, Version{.typeOfPages = "Integer64"},
        Version{.typeOfTitle = "Integer"}, Version{.hasPages = false}, Version{.hasBlue = false},
        Version{.hasGuide = false}, Version{.isGuideAbstract = true}, Version{.hasManyTitles = true}}) {
    const std::string refusal = refusalBy(version);
    EXPECT_THAT(refusal, HasSubstr("old.krb, byte "));
    EXPECT_THAT(refusal, Not(HasSubstr("damage")));
  }
}

}  // namespace kr::zero::io
