// Change maps as files.
#include <gtest/gtest.h>

#include <string>

#include "evolution/CarryTesting.h"
#include "support/Paths.h"

namespace kr::zero::test {

namespace {

std::string refusalOfText(const std::string& json) {
  return refusalOf([&] { static_cast<void>(evolution::parseChangeMap(json, "map.json")); });
}

}  // namespace

TEST(ChangeMapFile, EverySectionIsRead) {
  const ChangeMap map = evolution::parseChangeMap(R"({"kr0": 1,
    "packages": {"old": "new"},
    "rename": {"old.A": "new.B", "old.A.x": "y"},
    "literals": {"old.E.blue": "azure"},
    "drop": ["old.C", "old.A.z"],
    "default": {"new.B.w": "5"}})");
  EXPECT_EQ(map, (ChangeMap{.packages = {{"old", "new"}},
                            .rename = {{"old.A", "new.B"}, {"old.A.x", "y"}},
                            .literals = {{"old.E.blue", "azure"}},
                            .drop = {"old.C", "old.A.z"},
                            .defaults = {{"new.B.w", "5"}}}));
}

TEST(ChangeMapFile, WhatIsWrittenIsReadTheSame) {
  const ChangeMap map{.packages = {{"a\"b", "\xC3\xB6"}}, .rename = {{"x", "y"}}, .drop = {"z"}};
  EXPECT_EQ(evolution::parseChangeMap(toJson(map)), map);
  EXPECT_EQ(toJson(ChangeMap{.rename = {{"b", "2"}, {"a", "1"}}}),
            "{\n  \"kr0\": 1,\n  \"rename\": {\n    \"a\": \"1\",\n    \"b\": \"2\"\n  }\n}\n");
}

TEST(ChangeMapFile, TheExampleOfThePageIsOne) {
  const std::string page = readFile(sourceDir() + "/docs/formats/change-map.md");
  const std::size_t begin = page.find("```json\n") + 8, end = page.find("```", begin);
  const ChangeMap map = evolution::parseChangeMap(page.substr(begin, end - begin));
  EXPECT_EQ(map.rename.at("books.Book.pages"), "sheets");
  EXPECT_EQ(map.drop.size(), 3u);
  EXPECT_EQ(map.defaults.at("library.Volume.isbn"), "none");
}

TEST(ChangeMapFile, WhatIsNoMapIsRefusedInOneSentence) {
  EXPECT_EQ(refusalOfText("{\"kr0\": 1,"), "damaged: map.json, byte 10: this is no JSON");
  EXPECT_EQ(refusalOfText(""), "damaged: map.json, byte 0: this is no JSON");
  EXPECT_EQ(refusalOfText("[1]"), "doesNotFit: map.json: a change map is a JSON object");
  EXPECT_EQ(refusalOfText("{}"), "doesNotFit: map.json: a change map says \"kr0\": 1");
  EXPECT_EQ(refusalOfText("{\"kr0\": 2}"),
            "doesNotFit: map.json: \"kr0\" must be 1, the only version of change maps that is known");
  EXPECT_EQ(refusalOfText("{\"kr0\": 1, \"renam\": {}}"),
            "doesNotFit: map.json: a change map has no section \"renam\"");
  EXPECT_EQ(refusalOfText("{\"kr0\": 1, \"rename\": []}"),
            "doesNotFit: map.json: \"rename\" must be an object of names");
  EXPECT_EQ(refusalOfText("{\"kr0\": 1, \"rename\": {\"a\": 5}}"),
            "doesNotFit: map.json: \"rename\": the value of \"a\" must be a text");
  EXPECT_EQ(refusalOfText("{\"kr0\": 1, \"drop\": {}}"),
            "doesNotFit: map.json: \"drop\" must be an array of names");
  EXPECT_EQ(refusalOfText("{\"kr0\": 1, \"drop\": [5]}"),
            "doesNotFit: map.json: \"drop\": every entry must be a text");
}

TEST(ChangeMapFile, AKeyThatIsThereTwiceIsRefused) {
  EXPECT_EQ(refusalOfText("{\"kr0\": 1, \"rename\": {\"a\": \"b\", \"a\": \"c\"}}"),
            "doesNotFit: map.json: the key \"a\" is there twice");
  EXPECT_EQ(refusalOfText("{\"kr0\": 1, \"kr0\": 1}"),
            "doesNotFit: map.json: the key \"kr0\" is there twice");
  EXPECT_EQ(refusalOfText("{\"kr0\": 1, \"drop\": [\"a\", \"a\"]}"),
            "doesNotFit: map.json: \"drop\": \"a\" is there twice");
  EXPECT_EQ(refusalOfText("{\"kr0\": 1, \"rename\": {\"a\": \"b\"}, \"default\": {\"a\": \"c\"}}"),
            "nothing was refused");
}

TEST(ChangeMapFile, DepthIsRefusedBeforeItCostsAnything) {
  EXPECT_EQ(refusalOfText("{\"kr0\": 1, \"rename\": {\"a\": {}}}"),
            "doesNotFit: map.json: values are nested too deeply for a change map");
  EXPECT_EQ(refusalOfText(std::string(1'000'000, '[')),
            "doesNotFit: map.json: values are nested too deeply for a change map");
}

TEST(ChangeMapFile, ANameThatIsNothingButDotsTakesNoTime) {
  const Versions versions([](auto& package) { package.classType("A"); },
                          [](auto& package) { package.classType("A"); });
  const std::string dots(1'000'000, '.');
  EXPECT_EQ(refusalOf([&] {
              static_cast<void>(versions.carry(Model(versions.before), withMap({.drop = {dots}})));
            }),
            "doesNotFit: the rule drop \"" + dots + "\": there is no such name in the old meta model");
}

TEST(ChangeMapFile, EveryPrefixIsRefusedOrAMap) {
  const std::string text = toJson(
      ChangeMap{.packages = {{"a", "b"}}, .rename = {{"x", "y"}}, .drop = {"z"}, .defaults = {{"d", "e"}}});
  for (std::size_t size = 0; size + 1 < text.size(); ++size)
    EXPECT_TRUE(refusalOfText(text.substr(0, size)).starts_with("damaged: map.json, byte ")) << size;
}

}  // namespace kr::zero::test
