#include "kr/zero/Validate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/io/LibraryModel.h"
#include "kr/zero/io/BulkParseProcessor.h"
#include "kr/zero/io/ParseProcessor.h"

namespace kr::zero {

void PrintTo(const Violation& violation, std::ostream* out) {
  *out << violation.path << "." << violation.property << " (rule " << static_cast<int>(violation.rule)
       << "): " << violation.text;
}

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const UnresolvedReference kMissing{"library.Book", "a", "b", {}};

class Validate : public ::testing::Test, protected test::LibraryFixture {
 protected:
  Element library = named(model.createRoot("library.Library"));
  Element book = named(library.create("books"));
  Element author = named(library.create("authors"));

  static Element named(Element element) {
    element.set("name", "n");
    return element;
  }
};

TEST_F(Validate, AModelThatKeepsTheRulesHasNoViolation) {
  author.addReference("books", book);
  book.setReference("bestOf", author);
  book.create("chapters").set("first", 1);
  book.add("genres", 0);
  book.add("genres", 5);
  book.add("tags", "a");
  book.add("tags", "b");
  book.setIdentity("x", "1");
  author.setIdentity("x", "2");
  EXPECT_THAT(validate(model), IsEmpty());
  EXPECT_THAT(validate(Model(*registry)), IsEmpty());
}

TEST_F(Validate, WhatIsRequiredMustBeSet) {
  book.unset("name");
  book.create("chapters");
  EXPECT_THAT(validate(model),
              ElementsAre(Violation{"/library/books[0]", "name", Rule::required, "is required and not set"},
                          Violation{"/library/books[0]/chapters[0]", "first", Rule::required,
                                    "is required and not set"}));
}

TEST(ValidateBounds, CollectionsHaveAsManyValuesAsTheMetaModelSays) {
  meta::MetaModelBuilder team("urn:test:team", "team");
  auto& type = team.classType("Team");
  type.property("players", "String").bounds(2, 3);
  type.property("motto", "String").required().defaultText("on");
  meta::MetaRegistry registry;
  team.registerIn(registry);
  Model model(registry);
  Element unset = model.createRoot("team.Team");
  Element few = model.createRoot("team.Team");
  Element none = model.createRoot("team.Team");
  Element many = model.createRoot("team.Team");
  Element right = model.createRoot("team.Team");
  few.add("players", "a");
  none.setEmpty("players");
  for (const char* name : {"a", "b", "c", "d"}) many.add("players", name);
  for (const char* name : {"a", "b", "c"}) right.add("players", name);
  EXPECT_THAT(
      validate(model),
      ElementsAre(
          Violation{unset.getPath(), "players", Rule::required, "is required and not set"},
          Violation{few.getPath(), "players", Rule::bounds, "has 1 value, and at least 2 are asked for"},
          Violation{none.getPath(), "players", Rule::bounds, "has 0 values, and at least 2 are asked for"},
          Violation{many.getPath(), "players", Rule::bounds, "has 4 values, and at most 3 are asked for"}));
}

// Only a reader that brings cells as they will lie in the model gets past all checks.
TEST(ValidateLiteral, ANumberOfAnEnumerationIsThatOfALiteral) {
  const auto registry = test::makeLibraryRegistry();
  io::ParseCustomizer customizer(*registry);
  io::ParsingModelBuilder builder(false);
  io::ParseProcessor processor(customizer, builder);
  processor.reset();
  ASSERT_TRUE(processor.push(u"library.Author", u"", u""));
  processor.pop(u"library.Author");
  ASSERT_TRUE(processor.push(u"library.Book", u"", u""));
  const auto entry = static_cast<cells::Entry>(
      meta::StructuredType(registry->findType(std::string_view("library.Book")))->findSlot("genre"));
  const cells::Cell number = 7;
  io::bulkOf(processor)->addCells({&entry, 1}, &number, false);
  processor.pop(u"library.Book");
  const std::vector<Violation> found = validate(builder.getModel());
  ASSERT_FALSE(found.empty());
  EXPECT_EQ(found.back(), (Violation{"/book[1]", "genre", Rule::literal,
                                     "the number 7 is that of no literal of library.Genre"}));
}

TEST_F(Validate, ReferencesLeadToElementsOfTheModel) {
  book.putUnresolved("sequel", kMissing);
  author.putReference("books", book);
  author.putUnresolved("books", kMissing);
  book.putReference("authors", author);
  EXPECT_THAT(
      validate(model),
      ElementsAre(Violation{"/library/books[0]", "sequel", Rule::resolved,
                            "the reference to library.Book \"a\", \"b\" leads to no element of the model"},
                  Violation{"/library/authors[0]", "books", Rule::resolved,
                            "the reference at position 1 to library.Book \"a\", \"b\" leads to no element "
                            "of the model"}));
}

TEST_F(Validate, UniqueCollectionsHaveNothingTwice) {
  for (const char* tag : {"x", "y", "x", "x"}) book.add("tags", tag);
  for (const int year : {1, 2, 2}) book.add("years", year);
  author.putReference("books", book);
  author.putReference("books", book);
  book.putReference("authors", author);
  author.putUnresolved("books", kMissing);
  const auto twice = [](const char* path, const char* property, const char* second, const char* first) {
    return Violation{
        path, property, Rule::unique,
        std::string("the value at position ") + second + " is the one at position " + first + " again"};
  };
  EXPECT_THAT(
      validate(model, 4),
      ElementsAre(twice("/library/books[0]", "tags", "2", "0"), twice("/library/books[0]", "tags", "3", "0"),
                  twice("/library/books[0]", "years", "2", "1"),
                  Violation{"/library/authors[0]", "books", Rule::resolved,
                            "the reference at position 2 to library.Book \"a\", \"b\" leads to no element "
                            "of the model"}));
  EXPECT_EQ(validate(model).back(), twice("/library/authors[0]", "books", "1", "0"));
}

TEST(ValidateUnique, ACollectionThatMayRepeatItselfDoes) {
  meta::MetaModelBuilder dice("urn:test:dice", "dice");
  auto& type = dice.classType("Game");
  type.property("throws", "Integer").many().nonUnique();
  type.property("keys", "UUID").many();
  meta::MetaRegistry registry;
  dice.registerIn(registry);
  Model model(registry);
  Element game = model.createRoot("dice.Game");
  for (const int number : {6, 6, 6}) game.add("throws", number);
  EXPECT_THAT(validate(model), IsEmpty());
  game.add("keys", Uuid{1});
  game.add("keys", Uuid{2});
  game.add("keys", Uuid{1});
  EXPECT_THAT(validate(model),
              ElementsAre(Violation{"/game", "keys", Rule::unique,
                                    "the value at position 2 is the one at position 0 again"}));
}

TEST_F(Validate, OppositesReferToEachOther) {
  author.putReference("books", book);
  book.putReference("bestOf", author);
  EXPECT_THAT(
      validate(model),
      ElementsAre(
          Violation{"/library/books[0]", "bestOf", Rule::opposite,
                    "the target, /library/authors[0], does not refer back by \"bestBook\""},
          Violation{"/library/authors[0]", "books", Rule::opposite,
                    "the target at position 0, /library/books[0], does not refer back by \"authors\""}));
}

TEST(ValidateOpposite, TheOppositeOfAContainmentLeadsToTheContainer) {
  meta::MetaModelBuilder tree("urn:test:tree", "tree");
  auto& node = tree.classType("Node");
  node.property("children", "Node").many().composite().opposite("parent");
  node.property("parent", "Node").opposite("children");
  meta::MetaRegistry registry;
  tree.registerIn(registry);
  Model model(registry);
  Element root = model.createRoot("tree.Node");
  Element child = root.create("children");
  child.putReference("parent", root);
  EXPECT_THAT(validate(model), IsEmpty());
  child.putReference("parent", child);
  EXPECT_THAT(validate(model),
              ElementsAre(Violation{"/node/children[0]", "parent", Rule::opposite,
                                    "the target, /node/children[0], does not contain it in \"children\""}));
}

TEST(ValidateType, ATargetThatAnOppositeBroughtInFitsItsProperty) {
  meta::MetaModelBuilder shop("urn:test:shop", "shop");
  shop.classType("Thing").property("owner", "Owner").opposite("toy");
  shop.classType("Toy").supertype("Thing");
  shop.classType("Owner").property("toy", "Toy").opposite("owner");
  meta::MetaRegistry registry;
  shop.registerIn(registry);
  Model model(registry);
  Element thing = model.createRoot("shop.Thing");
  Element owner = model.createRoot("shop.Owner");
  thing.setReference("owner", owner);
  EXPECT_THAT(validate(model),
              ElementsAre(Violation{"/owner[1]", "toy", Rule::type,
                                    "the target is of type shop.Thing, which does not fit shop.Toy"}));
}

TEST_F(Validate, NoTwoElementsHaveOneIdentity) {
  library.setIdentity("x", "1");
  book.setIdentity("x", "1");
  author.setIdentity("x", "2");
  EXPECT_THAT(validate(model), ElementsAre(Violation{"/library/books[0]", "", Rule::identity,
                                                     "the identity \"x\", \"1\" is that of /library too"}));
}

TEST_F(Validate, TheSearchEndsWithAsManyViolationsAsAreAskedFor) {
  for (int i = 0; i < 20; ++i) library.create("books");
  EXPECT_THAT(validate(model), SizeIs(20));
  EXPECT_THAT(validate(model, 3), SizeIs(3));
  EXPECT_THAT(validate(model, 0), IsEmpty());
  EXPECT_EQ(validate(model, 1).front().path, "/library/books[1]");
}

TEST_F(Validate, PathsAreThoseThatElementsSay) {
  Element deep = book;
  for (int i = 0; i < 60; ++i) deep = named(deep.create("volumes"));
  deep.unset("name");
  EXPECT_THAT(validate(model),
              ElementsAre(Violation{deep.getPath(), "name", Rule::required, "is required and not set"}));
}

TEST_F(Validate, RemovedElementsAreNotLookedAt) {
  Element gone = library.create("books");
  gone.setIdentity("x", "1");
  named(library.create("books")).setIdentity("x", "1");
  EXPECT_THAT(validate(model), SizeIs(2));
  model.remove(gone);
  EXPECT_THAT(validate(model), IsEmpty());
}

// A search of quadratic time would take minutes: 200,000 siblings, each with a violation that names another
// one, at the end of a collection of 200,000 targets.
TEST_F(Validate, TakesTimeThatGrowsWithTheModelOnly) {
  constexpr int kCount = 200'000;
  for (int i = 0; i < kCount; ++i) {
    Element one = named(library.create("books"));
    author.putReference("books", one);
    one.putReference("bestOf", author);
  }
  Element deep = book;
  for (int i = 0; i < kCount; ++i) deep = deep.create("volumes");
  EXPECT_THAT(validate(model), SizeIs(3 * kCount));
}

}  // namespace
}  // namespace kr::zero
