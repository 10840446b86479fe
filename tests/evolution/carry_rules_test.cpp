// What the rules of a change map do, and which of them are refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "evolution/CarryTesting.h"

namespace kr::zero::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

void defineOld(meta::MetaModelBuilder& package) {
  package.enumeration("Colour").literal("red", 0).literal("blue", 1);
  auto& book = package.classType("Book");
  book.property("pages", "Integer");
  book.property("colour", "Colour");
  package.classType("Atlas").supertype("Book");
  package.classType("Pamphlet").property("book", "Book");
  package.classType("Shelf").property("items", "Pamphlet").many().composite();
}

void defineNew(meta::MetaModelBuilder& package) {
  package.enumeration("Colour").literal("red", 0).literal("azure", 1);
  auto& volume = package.classType("Volume");
  volume.property("sheets", "Integer");
  volume.property("colour", "Colour");
  volume.property("isbn", "String").required();
  volume.property("tags", "String").many();
  package.classType("Atlas").supertype("Volume").property("folded", "Integer");
  package.classType("Shelf");
}

/// A rule by rule description of what became of the old package.
const ChangeMap& allRules() {
  static const ChangeMap map{.rename = {{"shelf.Book", "shelf.Volume"},
                                        {"shelf.Book.pages", "sheets"},
                                        {"shelf.Atlas.pages", "folded"}},
                             .literals = {{"shelf.Colour.blue", "azure"}},
                             .drop = {"shelf.Pamphlet"},
                             .defaults = {{"shelf.Volume.isbn", "unknown"}, {"shelf.Atlas.tags", "map"}}};
  return map;
}

Model makeBooks(const meta::MetaRegistry& registry) {
  Model model(registry);
  Element book = model.createRoot("shelf.Book"), atlas = model.createRoot("shelf.Atlas");
  book.set("pages", 635);
  book.setTextForm("colour", "blue");
  atlas.set("pages", 40);
  model.createRoot("shelf.Pamphlet").setReference("book", book);
  return model;
}

std::string refusalOfMap(const ChangeMap& map) {
  const Versions versions(defineOld, defineNew);
  return refusalOf([&] { static_cast<void>(versions.carry(Model(versions.before), withMap(map))); });
}

}  // namespace

TEST(CarryRules, RenamedIsWhatTheMapSays) {
  const Versions versions(defineOld, defineNew);
  const CarryOverResult result = versions.carry(makeBooks(versions.before), withMap(allRules()));
  const auto roots = rootsOf(result);
  ASSERT_EQ(roots.size(), 2u);
  EXPECT_EQ(roots[0].getType()->qualifiedName(), "shelf.Volume");
  EXPECT_EQ(roots[0].get<int>("sheets"), 635);
  EXPECT_EQ(roots[0].getTextForm("colour"), "azure");
}

TEST(CarryRules, OfRulesForAPropertyThatOfTheNearestClassCounts) {
  const Versions versions(defineOld, defineNew);
  const CarryOverResult result = versions.carry(makeBooks(versions.before), withMap(allRules()));
  EXPECT_EQ(rootsOf(result)[1].get<int>("folded"), 40);
  EXPECT_FALSE(rootsOf(result)[1].isSet("sheets"));
}

TEST(CarryRules, ADefaultFillsWhatIsUnset) {
  const Versions versions(defineOld, defineNew);
  const CarryOverResult result = versions.carry(makeBooks(versions.before), withMap(allRules()));
  EXPECT_EQ(rootsOf(result)[0].getText("isbn"), "unknown");
  EXPECT_EQ(rootsOf(result)[1].getText("tags", 0), "map");
  EXPECT_FALSE(rootsOf(result)[0].isSet("tags"));
  EXPECT_THAT(
      sentencesOf(result.report.notices),
      ElementsAre("shelf.Volume.isbn: 2 elements given \"unknown\", as the map says (/book[0], /atlas[1])",
                  "shelf.Volume.tags: 1 element given \"map\", as the map says (/atlas[1])"));
}

TEST(CarryRules, WhatIsDroppedByARuleIsAskedForAndToldAllTheSame) {
  const Versions versions(defineOld, defineNew);
  const CarryOverResult result = versions.carry(makeBooks(versions.before), withMap(allRules()));
  EXPECT_TRUE(result.report.isLossless());
  EXPECT_THAT(sentencesOf(result.report.losses),
              ElementsAre("shelf.Pamphlet: 1 element left out, as the map says (/pamphlet[2])"));
}

TEST(CarryRules, ReferencesToWhatIsDroppedGoWithIt) {
  const auto define = [](meta::MetaModelBuilder& package) {
    package.classType("Book").property("next", "Old");
    package.classType("Old").property("inside", "Old").composite();
  };
  const Versions versions(define, define);
  Model model(versions.before);
  Element book = model.createRoot("shelf.Book"), old = model.createRoot("shelf.Old");
  book.setReference("next", old.create("inside"));
  const CarryOverResult result = versions.carry(model, withMap({.drop = {"shelf.Old"}}));
  EXPECT_FALSE(rootsOf(result)[0].isSet("next"));
  EXPECT_THAT(sentencesOf(result.report.losses),
              ElementsAre("shelf.Book.next: 1 reference left out with the element (/book[0])",
                          "shelf.Old: 2 elements left out, as the map says (/old[1], /old[1]/inside)"));
}

TEST(CarryRules, WhatIsInADroppedPropertyIsAskedForToo) {
  const Versions versions(
      [](auto& package) {
        package.classType("Box").property("inside", "Box").many().composite();
        package.classType("Gone").supertype("Box");
      },
      [](auto& package) { package.classType("Box").property("inside", "Box").many().composite(); });
  Model model(versions.before);
  model.createRoot("shelf.Box").create("inside", "shelf.Gone").create("inside");
  const CarryOverResult result = versions.carry(model, withMap({.drop = {"shelf.Box.inside"}}));
  EXPECT_EQ(result.model.size(), 1u);
  EXPECT_THAT(sentencesOf(result.report.losses),
              ElementsAre("shelf.Box: 1 element left out with what contains them (/box/inside[0]/inside[0])",
                          "shelf.Box.inside: 1 element left out, as the map says (/box)",
                          "shelf.Gone: 1 element left out, there is no shelf.Gone (/box/inside[0])"));
}

TEST(CarryRules, ADroppedPropertyIsLeftOutThoughItIsThereStill) {
  const Versions versions(defineOld, defineOld);
  Model model(versions.before);
  Element book = model.createRoot("shelf.Book"), atlas = model.createRoot("shelf.Atlas");
  book.set("pages", 1);
  atlas.set("pages", 2);
  const CarryOverResult result = versions.carry(model, withMap({.drop = {"shelf.Atlas.pages"}}));
  EXPECT_EQ(rootsOf(result)[0].get<int>("pages"), 1);
  EXPECT_FALSE(rootsOf(result)[1].isSet("pages"));
}

TEST(CarryRules, ADroppedLiteralLeavesItsValuesUnset) {
  const Versions versions(defineOld, defineOld);
  Model model(versions.before);
  model.createRoot("shelf.Book").setTextForm("colour", "blue");
  const CarryOverResult result = versions.carry(model, withMap({.drop = {"shelf.Colour.blue"}}));
  EXPECT_FALSE(rootsOf(result)[0].isSet("colour"));
  EXPECT_THAT(sentencesOf(result.report.losses),
              ElementsAre("shelf.Book.colour: 1 value \"blue\" left out, as the map says (/book)"));
}

TEST(CarryRules, TwoPropertiesMayChangeNames) {
  const auto define = [](meta::MetaModelBuilder& package) {
    auto& pair = package.classType("Pair");
    pair.property("left", "Integer");
    pair.property("right", "Integer");
  };
  const Versions versions(define, define);
  Model model(versions.before);
  Element pair = model.createRoot("shelf.Pair");
  pair.set("left", 1);
  pair.set("right", 2);
  const CarryOverResult result = versions.carry(
      model, withMap({.rename = {{"shelf.Pair.left", "right"}, {"shelf.Pair.right", "left"}}}));
  EXPECT_EQ(rootsOf(result)[0].get<int>("left"), 2);
  EXPECT_EQ(rootsOf(result)[0].get<int>("right"), 1);
}

TEST(CarryRules, ANameThatARuleGaveAwayIsNotTakenByItsOldOwner) {
  const auto define = [](meta::MetaModelBuilder& package) {
    auto& pair = package.classType("Pair");
    pair.property("left", "Integer");
    pair.property("right", "Integer");
  };
  const Versions versions(define, define);
  Model model(versions.before);
  Element pair = model.createRoot("shelf.Pair");
  pair.set("left", 1);
  pair.set("right", 2);
  EXPECT_THAT(lossesOf(versions, model, {.rename = {{"shelf.Pair.left", "right"}}}),
              ElementsAre("shelf.Pair.right: 1 value left out, a rule gives its name to another property "
                          "(/pair)"));
}

TEST(CarryRules, APackageIsRenamedWithAllThatIsInIt) {
  meta::MetaRegistry before, now;
  meta::MetaModelBuilder old("urn:old", "old"), fresh("urn:new", "fresh");
  old.classType("Top").property("part", "old.inner.Part").composite();
  old.package("urn:old/inner", "inner").classType("Part").property("name", "String");
  fresh.classType("Top").property("part", "fresh.inner.Part").composite();
  fresh.package("urn:new/inner", "inner").classType("Part").property("name", "String");
  old.registerIn(before);
  fresh.registerIn(now);
  Model model(before);
  model.createRoot("old.Top").create("part").set("name", "n");
  const CarryOverResult result = evolution::carryOver(model, now, {.map = {.packages = {{"old", "fresh"}}}});
  EXPECT_EQ(rootsOf(result)[0].getElement("part").getText("name"), "n");
  EXPECT_EQ(rootsOf(result)[0].getElement("part").getType()->qualifiedName(), "fresh.inner.Part");
  EXPECT_THAT(result.report.notices, IsEmpty());
}

TEST(CarryRules, ARuleThatNothingFellUnderIsNoticed) {
  const Versions versions(defineOld, defineNew);
  Model model(versions.before);
  model.createRoot("shelf.Book");
  const CarryOverResult result = versions.carry(model, withMap(allRules()));
  EXPECT_THAT(sentencesOf(result.report.notices),
              ElementsAre("shelf.Volume.isbn: 1 element given \"unknown\", as the map says (/book)",
                          "rename \"shelf.Atlas.pages\": 0 uses in this model",
                          "rename \"shelf.Book.pages\": 0 uses in this model",
                          "drop \"shelf.Pamphlet\": 0 uses in this model",
                          "literals \"shelf.Colour.blue\": 0 uses in this model",
                          "default \"shelf.Atlas.tags\": 0 uses in this model"));
}

TEST(CarryRules, NamesThatDoNotExistAreRefusedByName) {
  EXPECT_EQ(refusalOfMap({.rename = {{"shelf.Bock", "shelf.Volume"}}}),
            "doesNotFit: the rule rename \"shelf.Bock\": there is no such name in the old meta model");
  EXPECT_EQ(
      refusalOfMap({.rename = {{"shelf.Book", "shelf.Volumen"}}}),
      "doesNotFit: the rule rename \"shelf.Book\": there is no type \"shelf.Volumen\" in the new meta model");
  EXPECT_EQ(refusalOfMap({.rename = {{"shelf.Book.page", "sheets"}}}),
            "doesNotFit: the rule rename \"shelf.Book.page\": shelf.Book has no property \"page\"");
  EXPECT_EQ(refusalOfMap({.rename = {{"shelf.Shelf.items", "things"}}}),
            "doesNotFit: the rule rename \"shelf.Shelf.items\": shelf.Shelf has no property \"things\"");
  EXPECT_EQ(refusalOfMap({.packages = {{"shell", "shelf"}}}),
            "doesNotFit: the rule packages \"shell\": there is no such package in the old meta model");
  EXPECT_EQ(refusalOfMap({.packages = {{"shelf", "shell"}}}),
            "doesNotFit: the rule packages \"shelf\": there is no package \"shell\" in the new meta model");
  EXPECT_EQ(refusalOfMap({.literals = {{"shelf.Colour.green", "azure"}}}),
            "doesNotFit: the rule literals \"shelf.Colour.green\": shelf.Colour has no literal \"green\"");
  EXPECT_EQ(refusalOfMap({.literals = {{"shelf.Colour.blue", "green"}}}),
            "doesNotFit: the rule literals \"shelf.Colour.blue\": shelf.Colour has no literal \"green\"");
  EXPECT_EQ(refusalOfMap({.drop = {"shelf.Colour.green"}}),
            "doesNotFit: the rule drop \"shelf.Colour.green\": shelf.Colour has no literal \"green\"");
  EXPECT_EQ(refusalOfMap({.defaults = {{"shelf.Book.pages", "1"}}}),
            "doesNotFit: the rule default \"shelf.Book.pages\": there is no such name in the new meta model");
}

TEST(CarryRules, WhatMakesNoSenseIsRefused) {
  EXPECT_EQ(refusalOfMap({.rename = {{"shelf.Book", "shelf.Colour"}}}),
            "doesNotFit: the rule rename \"shelf.Book\": \"shelf.Colour\" is a type of another sort");
  EXPECT_EQ(
      refusalOfMap({.drop = {"shelf.Colour"}}),
      "doesNotFit: the rule drop \"shelf.Colour\": only classes, properties and literals can be dropped");
  EXPECT_EQ(refusalOfMap({.rename = {{"shelf.Atlas.pages", "folded"}}, .drop = {"shelf.Atlas.pages"}}),
            "doesNotFit: the rule drop \"shelf.Atlas.pages\": another rule says what becomes of it");
  EXPECT_EQ(refusalOfMap({.rename = {{"shelf.Shelf.items", "things"}}, .drop = {"shelf.Shelf"}}),
            "doesNotFit: the rule rename \"shelf.Shelf.items\": another rule drops shelf.Shelf");
  EXPECT_EQ(refusalOfMap({.rename = {{"shelf.Book", "shelf.Volume"}}, .drop = {"shelf.Book"}}),
            "doesNotFit: the rule drop \"shelf.Book\": another rule says what becomes of it");
  EXPECT_EQ(refusalOfMap({.literals = {{"shelf.Colour.blue", "azure"}}, .drop = {"shelf.Colour.blue"}}),
            "doesNotFit: the rule literals \"shelf.Colour.blue\": another rule says what becomes of it");
}

TEST(CarryRules, ADefaultThatIsNoValueOfItsPropertyIsRefused) {
  const Versions versions([](auto& package) { package.classType("Book"); },
                          [](auto& package) { package.classType("Book").property("pages", "Integer"); });
  Model model(versions.before);
  model.createRoot("shelf.Book");
  EXPECT_EQ(refusalOf([&] {
              static_cast<void>(versions.carry(model, withMap({.defaults = {{"shelf.Book.pages", "many"}}})));
            }),
            "doesNotFit: the rule default \"shelf.Book.pages\": \"many\" is not a Integer");
}

TEST(CarryRules, TwoRulesForOneNewPropertyAreRefused) {
  const auto define = [](meta::MetaModelBuilder& package) {
    auto& pair = package.classType("Pair");
    for (const char* name : {"a", "b", "c"}) pair.property(name, "Integer");
  };
  const Versions versions(define, define);
  Model model(versions.before);
  model.createRoot("shelf.Pair");
  EXPECT_EQ(refusalOf([&] {
              static_cast<void>(
                  versions.carry(model, withMap({.rename = {{"shelf.Pair.a", "c"}, {"shelf.Pair.b", "c"}}})));
            }),
            "doesNotFit: two rules rename properties of shelf.Pair to \"c\"");
}

}  // namespace kr::zero::test
