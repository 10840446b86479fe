// Which renames a draft proposes, and why.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "evolution/CarryTesting.h"
#include "kr/zero/evolution/DraftMap.h"

namespace kr::zero::test {

namespace {

using evolution::DraftMap;
using testing::ElementsAre;
using testing::IsEmpty;

DraftMap draftOf(const Define& before, const Define& now) {
  const Versions versions(before, now);
  return evolution::draftMap(versions.before, versions.now);
}

std::vector<std::string> linesOf(const DraftMap& draft) {
  std::vector<std::string> lines;
  for (const evolution::Proposal& p : draft.proposals)
    lines.push_back(p.from + " -> " + p.to + ": " + p.reason);
  return lines;
}

}  // namespace

TEST(Draft, TheSameNumberAndTypeCountMost) {
  const DraftMap draft = draftOf(
      [](auto& package) {
        auto& book = package.classType("Book");
        book.property("title", "String").id(1);
        book.property("pages", "Integer").id(2);
      },
      [](auto& package) {
        auto& book = package.classType("Book");
        book.property("title", "String").id(1);
        book.property("page", "Integer").id(3);
        book.property("sheets", "Integer").id(2);
      });
  EXPECT_THAT(linesOf(draft), ElementsAre("shelf.Book.pages -> sheets: same number 2 and same type Integer"));
  EXPECT_EQ(draft.map, (ChangeMap{.rename = {{"shelf.Book.pages", "sheets"}}}));
}

TEST(Draft, ASimilarNameAndTheSameTypeComeNext) {
  const DraftMap draft =
      draftOf([](auto& package) { package.classType("Book").property("pageCount", "Integer").id(2); },
              [](auto& package) {
                package.classType("Book").property("page_count", "Integer").id(5);
                package.classType("Other").property("pageCounts", "Integer").id(6);
              });
  EXPECT_THAT(linesOf(draft),
              ElementsAre("shelf.Book.pageCount -> page_count: names alike by 100 % and same type Integer"));
}

TEST(Draft, TheSameNumberForAWiderTypeIsAReasonToo) {
  const DraftMap draft =
      draftOf([](auto& package) { package.classType("Book").property("pages", "Integer16").id(2); },
              [](auto& package) { package.classType("Book").property("sheets", "Integer").id(2); });
  EXPECT_THAT(linesOf(draft), ElementsAre("shelf.Book.pages -> sheets: same number 2, Integer16 to Integer"));
}

TEST(Draft, ANumberThatMeansAnotherSortOfValueIsNoReason) {
  const DraftMap draft =
      draftOf([](auto& package) { package.classType("Book").property("pages", "Integer").id(2); },
              [](auto& package) { package.classType("Book").property("cover", "String").id(2); });
  EXPECT_THAT(draft.proposals, IsEmpty());
  EXPECT_THAT(draft.unmatched, ElementsAre("shelf.Book.pages"));
}

TEST(Draft, TheOnlyOnesOfAClassMayHaveAnyNames) {
  const auto define = [](const char* to, const char* name) {
    return [=](meta::MetaModelBuilder& package) {
      package.classType("Pen").property(to, "Paper").many().id(std::string(to).size() > 4 ? 1u : 2u);
      package.classType("Paper").property(name, "String").id(std::string(name).size() > 4 ? 1u : 2u);
    };
  };
  const DraftMap draft = draftOf(define("writes", "x"), define("ink", "abcdef"));
  EXPECT_THAT(linesOf(draft), ElementsAre("shelf.Pen.writes -> ink: the only ones of the type shelf.Paper"));
  EXPECT_THAT(draft.unmatched, ElementsAre("shelf.Paper.x"));
}

TEST(Draft, ATypeIsKnownByItsMembersOrItsName) {
  const DraftMap draft = draftOf(
      [](auto& package) {
        auto& book = package.classType("Book");
        for (const char* name : {"title", "pages", "year"}) book.property(name, "String");
        package.classType("Person").property("x", "String");
        package.enumeration("Color").literal("red", 0);
      },
      [](auto& package) {
        auto& volume = package.classType("Volume");
        for (const char* name : {"title", "pages", "year"}) volume.property(name, "String");
        package.classType("Persons").property("y", "Boolean");
        package.enumeration("Colour").literal("red", 0);
      });
  EXPECT_THAT(linesOf(draft),
              ElementsAre("shelf.Book -> shelf.Volume: names alike by 17 %, members shared by 100 %",
                          "shelf.Person -> shelf.Persons: names alike by 86 %",
                          "shelf.Color -> shelf.Colour: names alike by 83 %, members shared by 100 %"));
}

TEST(Draft, APackageIsKnownByItsUriOrItsTypes) {
  meta::MetaRegistry before, now;
  meta::MetaModelBuilder sameUri("urn:a", "alpha"), sameTypes("urn:b", "beta");
  meta::MetaModelBuilder newUri("urn:a", "first"), newTypes("urn:c", "second");
  sameUri.classType("A");
  newUri.classType("Other");
  for (auto* package : {&sameTypes, &newTypes})
    for (const char* name : {"B", "C"}) package->classType(name).property("x", "String");
  sameUri.registerIn(before);
  sameTypes.registerIn(before);
  newUri.registerIn(now);
  newTypes.registerIn(now);
  const DraftMap draft = evolution::draftMap(before, now);
  EXPECT_THAT(linesOf(draft), ElementsAre("alpha -> first: same URI urn:a",
                                          "beta -> second: 2 of 2 types have the same names"));
  EXPECT_THAT(draft.unmatched, ElementsAre("alpha.A"));
}

TEST(Draft, LiteralsGoByNumberOrName) {
  const DraftMap draft = draftOf(
      [](auto& package) {
        package.enumeration("Colour").literal("grey", 0).literal("blue", 1).literal("x", 9);
      },
      [](auto& package) { package.enumeration("Colour").literal("gray", 5).literal("azure", 1); });
  EXPECT_THAT(linesOf(draft), ElementsAre("shelf.Colour.grey -> gray: names alike by 75 %",
                                          "shelf.Colour.blue -> azure: same number 1"));
  EXPECT_THAT(draft.unmatched, ElementsAre("shelf.Colour.x"));
}

TEST(Draft, WhatHasItsOldNameIsLeftAlone) {
  const Define define = [](auto& package) {
    auto& book = package.classType("Book");
    book.property("title", "String");
    book.property("titles", "String");
  };
  const DraftMap draft = draftOf(define, define);
  EXPECT_TRUE(draft.map.empty());
  EXPECT_THAT(draft.unmatched, IsEmpty());
}

TEST(Draft, ItsMapCarriesTheModelOver) {
  const Versions versions(
      [](auto& package) {
        package.enumeration("Color").literal("red", 0);
        auto& book = package.classType("Book");
        book.property("pages", "Integer").id(1);
        book.property("color", "Color").id(2);
      },
      [](auto& package) {
        package.enumeration("Colour").literal("red", 0);
        auto& book = package.classType("Books");
        book.property("sheets", "Integer").id(1);
        book.property("colour", "Colour").id(2);
      });
  Model model(versions.before);
  Element book = model.createRoot("shelf.Book");
  book.set("pages", 7);
  book.setTextForm("color", "red");
  const DraftMap draft = evolution::draftMap(versions.before, versions.now);
  const CarryOverResult result = versions.carry(model, withMap(draft.map));
  EXPECT_EQ(rootsOf(result)[0].get<int>("sheets"), 7);
  EXPECT_EQ(rootsOf(result)[0].getTextForm("colour"), "red");
}

TEST(Draft, ThousandsOfTypesTakeNoLongerThanABoundEach) {
  const auto define = [](const std::string& stem) {
    return [=](meta::MetaModelBuilder& package) {
      for (int i = 0; i < 4000; ++i)
        package.classType(stem + std::to_string(i)).property(stem + "name" + std::to_string(i % 7), "String");
    };
  };
  const Versions versions(define("Old"), define("New"));
  const auto start = std::chrono::steady_clock::now();
  const DraftMap draft = evolution::draftMap(versions.before, versions.now);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_EQ(toJson(draft.map), toJson(evolution::draftMap(versions.before, versions.now).map));
}

}  // namespace kr::zero::test
