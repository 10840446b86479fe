// What `kr0 cat` prints.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

using nlohmann::json;
using testing::HasSubstr;

std::string cat(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "cat");
  const Ended ended = kr0(arguments);
  EXPECT_EQ(ended.code, 0) << ended.err;
  return ended.out;
}

json libraryAsJson() {
  return json::parse(cat({libraryKrb(), "-m", libraryEcore(), "--json"})).at("elements").at(0);
}

}  // namespace

TEST(Cat, ATreeBeginsWithTheRootAndItsValues) {
  EXPECT_TRUE(cat({libraryKrb(), "-m", libraryEcore()})
                  .starts_with("library.Library #1\n"
                               "  name = \"Riverside Library\"\n"
                               "  founded = 1897-05-03\n"
                               "  openOnSunday = true\n"
                               "  shelfMetres = 1284.75\n"
                               "  address: library.Address #2\n"
                               "    street = \"Weaver's Quay\"\n"
                               "    number = 14\n"));
}

TEST(Cat, ReferencesNameTheNumberOfTheirTarget) {
  const std::string text = cat({libraryKrb(), "-m", libraryEcore()});
  EXPECT_THAT(text, HasSubstr("  authors[0]: library.Author #3\n    name = \"Mary Shelley\"\n"));
  EXPECT_THAT(text, HasSubstr("    title = \"Poems\"\n"));
  EXPECT_THAT(text, HasSubstr("    authors -> #3\n"));
}

TEST(Cat, CollectionsStandOnOneLine) {
  const std::string text = cat({libraryKrb(), "-m", libraryEcore()});
  EXPECT_THAT(text, HasSubstr("    alsoOf = novel, poetry\n"));
  EXPECT_THAT(text, HasSubstr("    keywords = \"monster\", \"ice & electricity\"\n"));
  EXPECT_THAT(text, HasSubstr("    ratings = 5, 4, 5\n"));
}

TEST(Cat, BothFormatsOfAModelPrintTheSame) {
  for (const char* kind : {"--quiet", "--json"})
    EXPECT_EQ(cat({libraryKrb(), "-m", libraryEcore(), kind}),
              cat({libraryXmi(), "-m", libraryEcore(), kind}));
}

TEST(Cat, JsonHoldsNumbersTruthValuesAndTexts) {
  const json properties = libraryAsJson().at("properties");
  EXPECT_EQ(properties.at("name"), "Riverside Library");
  EXPECT_EQ(properties.at("openOnSunday"), true);
  EXPECT_EQ(properties.at("shelfMetres"), 1284.75);
  EXPECT_EQ(properties.at("address").at("properties").at("number"), 14);
  EXPECT_EQ(properties.at("members").at(2).at("properties").at("card"), 9007199254740993);
  EXPECT_EQ(properties.at("books").at(0).at("properties").at("ratings"), json({5, 4, 5}));
  EXPECT_EQ(properties.at("books").at(4).at("properties").at("genre"), "forChildren");
}

TEST(Cat, JsonReferencesNameTheNumberOfTheirTarget) {
  const json properties = libraryAsJson().at("properties");
  const json author = properties.at("authors").at(1);
  EXPECT_EQ(author.at("class"), "library.Author");
  EXPECT_EQ(properties.at("books").at(1).at("properties").at("authors"),
            json::array({{{"ref", author.at("number")}}}));
}

TEST(Cat, JsonKeepsTextsOfAllScripts) {
  const json properties = libraryAsJson().at("properties");
  EXPECT_EQ(properties.at("books").at(6).at("properties").at("title"), "Ἱστορίαι");
  EXPECT_EQ(properties.at("books").at(7).at("properties").at("keywords").at(0), "troll 🧌");
}

TEST(Cat, AReferenceOutOfTheDocumentIsPrintedWithItsTexts) {
  const std::string document =
      R"(<chain:Node xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI" xmlns:chain="urn:chain" name="a">)"
      R"(<friend href="elsewhere.xmi#//@child"/></chain:Node>)";
  const Ended text = kr0({"cat", "-", "-m", chainEcore()}, document);
  EXPECT_EQ(text.code, 0) << text.err;
  EXPECT_THAT(text.out, HasSubstr("  friend -> chain.Node id "));
  EXPECT_THAT(text.out, HasSubstr(" in \"elsewhere.xmi\"\n"));
  const Ended tree = kr0({"cat", "-", "-m", chainEcore(), "--json"}, document);
  EXPECT_EQ(tree.code, 0) << tree.err;
  const json target = json::parse(tree.out).at("elements").at(0).at("properties").at("friend").at("ref");
  EXPECT_EQ(target.at("class"), "chain.Node");
  EXPECT_EQ(target.at("document"), "elsewhere.xmi");
  EXPECT_EQ(target.at("identity").size(), 2U);
}

TEST(Cat, ADeepModelIsPrintedOnASmallStackInLinearSize) {
  const std::string folder = freshFolder();
  writeFile(folder + "/deep.xmi", chainXmi(30'000));
  for (const char* kind : {"--quiet", "--json"}) {
    const Ended ended =
        bash("ulimit -s 256 && $KR0 cat $1/deep.xmi -m $2 $3 2>/dev/null", {folder, chainEcore(), kind});
    EXPECT_EQ(ended.code, 0);
    EXPECT_THAT(ended.out, HasSubstr("\"n30000\""));
    EXPECT_LT(ended.out.size(), 9'000'000U);
  }
}

TEST(Cat, BeyondADepthOfFortyTheDepthStandsInFront) {
  const Ended ended = kr0({"cat", "-", "-m", chainEcore()}, chainXmi(42));
  EXPECT_THAT(ended.out, HasSubstr("\n" + std::string(80, ' ') + "child: chain.Node #41\n"));
  EXPECT_THAT(ended.out, HasSubstr("\n" + std::string(80, ' ') + "(41) child: chain.Node #42\n"));
}

}  // namespace kr::zero::test
