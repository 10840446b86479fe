// What `kr0 schema show` prints.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>

#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

using nlohmann::json;
using testing::HasSubstr;

json schema() {
  const Ended ended = kr0({"schema", "show", libraryEcore(), "--json"});
  EXPECT_EQ(ended.code, 0) << ended.err;
  return json::parse(ended.out);
}

json named(const json& list, const std::string& name) {
  for (const json& entry : list)
    if (entry.at("name") == name) return entry;
  ADD_FAILURE() << "no " << name;
  return {};
}

json property(const std::string& type, const std::string& name) {
  return named(named(schema(), type).at("properties"), name);
}

}  // namespace

TEST(Schema, JsonListsTypesInDeclarationOrder) {
  std::vector<std::string> names;
  for (const json& type : schema()) names.push_back(type.at("name"));
  EXPECT_EQ(names, (std::vector<std::string>{"library.Genre", "library.Isbn", "library.Named",
                                             "library.Library", "library.Address", "library.Author",
                                             "library.Book", "library.AudioBook", "library.Chapter",
                                             "library.Member", "library.Loan"}));
}

TEST(Schema, JsonTellsTheKindOfATypeAndWhetherItIsAbstract) {
  const json types = schema();
  EXPECT_EQ(named(types, "library.Genre").at("kind"), "enum");
  EXPECT_EQ(named(types, "library.Genre").at("properties"), json::array());
  EXPECT_EQ(named(types, "library.Isbn").at("kind"), "primitive");
  EXPECT_EQ(named(types, "library.Named").at("kind"), "class");
  EXPECT_EQ(named(types, "library.Named").at("abstract"), true);
  EXPECT_EQ(named(types, "library.Book").at("abstract"), false);
}

TEST(Schema, JsonTellsEveryFactOfAPrimitive) {
  EXPECT_EQ(property("library.Address", "number"),
            json({{"name", "number"},
                  {"id", property("library.Address", "number").at("id")},
                  {"type", "Integer16"},
                  {"category", "primitive"},
                  {"many", false},
                  {"optional", true},
                  {"enum", false},
                  {"stored", true},
                  {"from", "library.Address"},
                  {"lower", 0},
                  {"upper", 1},
                  {"ordered", true},
                  {"unique", true},
                  {"derived", false},
                  {"static", false},
                  {"transient", false}}));
}

TEST(Schema, JsonTellsSupertypesLiteralsOppositesDefaultsAndBounds) {
  const json types = schema();
  EXPECT_EQ(named(types, "library.AudioBook").at("supertypes"), json({"library.Book"}));
  EXPECT_EQ(named(types, "library.Book").at("supertypes"), json::array());
  EXPECT_EQ(named(types, "library.Genre").at("literals").back(),
            json({{"name", "forChildren"}, {"text", "for children"}, {"number", 10}}));
  EXPECT_EQ(named(types, "library.Book").at("package"), "http://www.example.org/library");
  EXPECT_EQ(property("library.AudioBook", "sequel").at("opposite"), "library.Book.prequel");
  EXPECT_EQ(property("library.AudioBook", "sequel").at("from"), "library.Book");
  EXPECT_EQ(property("library.Book", "genre").at("default"), "novel");
  EXPECT_EQ(property("library.Book", "authors").at("upper"), nullptr);
  EXPECT_FALSE(property("library.Book", "title").contains("opposite"));
}

TEST(Schema, JsonTellsCategories) {
  EXPECT_EQ(property("library.Library", "books").at("category"), "composition");
  EXPECT_EQ(property("library.Book", "sequel").at("category"), "association");
  EXPECT_EQ(property("library.Book", "genre").at("category"), "primitive");
  EXPECT_EQ(property("library.Book", "genre").at("enum"), true);
}

TEST(Schema, OptionalIsExactlyNoneOrOne) {
  EXPECT_EQ(property("library.Book", "title").at("optional"), false);
  EXPECT_EQ(property("library.Book", "pages").at("optional"), true);
  EXPECT_EQ(property("library.Book", "ratings").at("optional"), false);
  EXPECT_EQ(property("library.Book", "ratings").at("many"), true);
}

TEST(Schema, TheContainerSideOfAContainmentIsNotStored) {
  EXPECT_EQ(property("library.Loan", "library").at("stored"), false);
  EXPECT_EQ(property("library.Loan", "member").at("stored"), true);
}

TEST(Schema, InheritedPropertiesAreIncludedAndNumbersDifferWithinAClass) {
  const json properties = named(schema(), "library.AudioBook").at("properties");
  named(properties, "title");
  named(properties, "minutes");
  std::set<int> numbers;
  for (const json& entry : properties) numbers.insert(entry.at("id").get<int>());
  EXPECT_EQ(numbers.size(), properties.size());
}

TEST(Schema, TextShowsPackagesTypesLiteralsAndProperties) {
  const Ended ended = kr0({"schema", "show", libraryEcore()});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_TRUE(
      ended.out.starts_with("package library http://www.example.org/library\n  enum Genre\n    0 novel\n"));
  EXPECT_THAT(ended.out, HasSubstr("  abstract class Named\n"));
  EXPECT_THAT(ended.out, HasSubstr(" name: String 1..1 primitive, from library.Named\n"));
  EXPECT_THAT(ended.out, HasSubstr("    10 forChildren \"for children\"\n"));
  EXPECT_THAT(ended.out, HasSubstr("  class AudioBook: library.Book\n"));
  EXPECT_THAT(ended.out, HasSubstr(" genre: library.Genre 0..1 primitive, default \"novel\"\n"));
  EXPECT_THAT(ended.out, HasSubstr(" ratings: Integer 0..* primitive, with repetitions\n"));
  EXPECT_THAT(ended.out,
              HasSubstr(" sequel: library.Book 0..1 association, opposite library.Book.prequel\n"));
  EXPECT_THAT(ended.out, HasSubstr("    - library: library.Library 0..1 association, opposite "
                                   "library.Library.loans, derived\n"));
  EXPECT_THAT(ended.out, HasSubstr(" chapters: library.Chapter 0..* composition\n"));
}

}  // namespace kr::zero::test
