// What compareModels finds, kind by kind, and what applyDiff makes of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "compare/Shelf.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::test {
namespace {

using compare::applyDiff;
using compare::compareModels;
using testing::ElementsAre;
using testing::IsEmpty;

/// Two models that begin the same.
class Diff : public testing::Test {
 protected:
  ~Diff() override {
    EXPECT_EQ(findDifference(applyDiff(compareModels(before, after), before), after), std::nullopt);
  }
  std::vector<std::string> found() const { return differences(before, after); }

  Model before = makeShelf();
  Model after = before.clone();
};

TEST_F(Diff, AnAddedElementIsOneDifferenceWithAllBelowIt) {
  Element book = shelfOf(after).create("books");
  book.set("name", "new");
  book.create("chapters").set("text", "a");
  EXPECT_THAT(found(), ElementsAre("added /shelf/books[3] (shelf.Book, 2 elements)"));
}

TEST_F(Diff, ARemovedElementTakesReferencesToItAlong) {
  after.remove(shelfOf(after).getElement("authors", 0));
  EXPECT_THAT(found(), ElementsAre("removed /shelf/authors[0] (shelf.Author)"));
}

TEST_F(Diff, AnElementInAnotherContainerWasMoved) {
  bookOf(after, 2).adopt("chapters", chapterOf(after, 0, 1), 0);
  EXPECT_THAT(found(), ElementsAre("moved /shelf/books[0]/chapters[1] -> /shelf/books[2]/chapters[0]"));
}

TEST_F(Diff, AnElementInAnotherPropertyOfItsContainerWasMoved) {
  shelfOf(after).adopt("box", bookOf(after, 1));
  EXPECT_THAT(found(), ElementsAre("moved /shelf/books[1] -> /shelf/box"));
}

TEST_F(Diff, AnElementThatWasMovedAndChangedIsStillTheSame) {
  Element book = bookOf(after, 1);
  shelfOf(after).adopt("box", book);
  book.set("pages", 7);
  EXPECT_THAT(found(),
              ElementsAre("moved /shelf/books[1] -> /shelf/box", "changed /shelf/books[1].pages: 200 -> 7"));
}

TEST_F(Diff, AChildThatChangesPlacesIsReorderedAlone) {
  shelfOf(after).adopt("books", bookOf(after, 0));
  EXPECT_THAT(found(), ElementsAre("reordered /shelf/books[0] -> /shelf/books[2]"));
}

TEST_F(Diff, AnElementIsKnownByItsNameWhateverElseChanges) {
  Element book = bookOf(after, 0);
  book.set("pages", 1);
  book.unset("author");
  book.set("price", 2.5);
  EXPECT_THAT(found(), ElementsAre("changed /shelf/books[0].pages: 100 -> 1",
                                   "changed /shelf/books[0].price: unset -> 2.5",
                                   "changed /shelf/books[0].author: -> /shelf/authors[0] -> unset"));
}

TEST_F(Diff, AnElementThatIsRenamedIsKnownByWhatIsInIt) {
  bookOf(after, 1).set("name", "other");
  EXPECT_THAT(found(), ElementsAre("changed /shelf/books[1].name: \"b1\" -> \"other\""));
}

TEST_F(Diff, AnElementWithoutANameIsKnownByItsNeighbours) {
  chapterOf(after, 1, 0).set("text", "quite another one");
  EXPECT_THAT(found(),
              ElementsAre("changed /shelf/books[1]/chapters[0].text: \"text 1.0\" -> \"quite another one\""));
}

TEST_F(Diff, IdentitiesOutweighAllElse) {
  bookOf(before, 0).setIdentity("i", "1");
  bookOf(before, 1).setIdentity("i", "2");
  after = before.clone();
  bookOf(after, 0).setIdentity("i", "3");
  bookOf(after, 1).setIdentity("i", "1");
  bookOf(after, 0).setIdentity("i", "2");
  bookOf(after, 0).set("name", "b1");
  bookOf(after, 1).set("name", "b0");
  const compare::ModelDiff diff = compareModels(before, after);
  EXPECT_EQ(diff.afterOf(bookOf(before, 0)), bookOf(after, 1));
  EXPECT_EQ(diff.beforeOf(bookOf(after, 0)), bookOf(before, 1));
}

TEST_F(Diff, AnotherIdentityIsADifference) {
  bookOf(before, 0).setIdentity("i", "1");
  bookOf(after, 0).setIdentity("i", "2");
  EXPECT_THAT(found(), ElementsAre("identity /shelf/books[0]: \"i\" \"1\" -> \"i\" \"2\""));
}

TEST_F(Diff, AttributesThatTheCallerNamesAreIds) {
  for (std::size_t i = 0; i < 2; ++i) bookOf(before, i).set("isbn", std::to_string(i));
  after = before.clone();
  bookOf(after, 0).set("isbn", "1");
  bookOf(after, 1).set("isbn", "0");
  const meta::StructuredType book(shelfRegistry().findType("shelf.Book"));
  const compare::ModelDiff diff = compareModels(before, after, {.ids = {book->findProperty("isbn")}});
  EXPECT_EQ(diff.afterOf(bookOf(before, 0)), bookOf(after, 1));
  EXPECT_THAT(found(), ElementsAre("changed /shelf/books[0].isbn: \"0\" -> \"1\"",
                                   "changed /shelf/books[1].isbn: \"1\" -> \"0\""));
}

TEST_F(Diff, StatesOfAPropertyDiffer) {
  bookOf(after, 0).setEmpty("pages");
  bookOf(after, 1).setEmpty("tags");
  bookOf(after, 2).unset("pages");
  EXPECT_THAT(found(), ElementsAre("changed /shelf/books[0].pages: 100 -> empty",
                                   "changed /shelf/books[1].tags: unset -> empty",
                                   "changed /shelf/books[2].pages: 300 -> unset"));
}

TEST_F(Diff, RealNumbersAreComparedBitByBit) {
  bookOf(before, 0).set("price", 0.0);
  bookOf(after, 0).set("price", -0.0);
  bookOf(before, 1).set("price", std::numeric_limits<double>::quiet_NaN());
  bookOf(after, 1).set("price", std::numeric_limits<double>::quiet_NaN());
  EXPECT_THAT(found(), ElementsAre("changed /shelf/books[0].price: 0.0 -> -0.0"));
}

TEST_F(Diff, ValuesOfEachKindAreShownAsWhatTheyAre) {
  Element book = bookOf(after, 0);
  book.setTextForm("cover", "card");
  book.add("tags", "a \"b\"\n");
  book.add("tags", "c");
  Element size = book.create("size");
  size.set("height", 3);
  size.set("note", "tall");
  book.create("sizes").set("height", 1);
  book.create("sizes");
  book.addReference("related", bookOf(after, 2));
  book.putUnresolved("related", {"shelf.Book", "x", "y", "other.krb"});
  EXPECT_THAT(found(), ElementsAre("changed /shelf/books[0].cover: unset -> card",
                                   "changed /shelf/books[0].size: unset -> {height: 3, note: \"tall\"}",
                                   "changed /shelf/books[0].sizes: unset -> [{height: 1}, {}]",
                                   "changed /shelf/books[0].tags: unset -> [\"a \\\"b\\\"\\n\", \"c\"]",
                                   "changed /shelf/books[0].related: unset -> [-> /shelf/books[2], -> "
                                   "shelf.Book id \"x\" \"y\" in \"other.krb\"]"));
}

TEST_F(Diff, AReferenceFollowsItsTargetWhereverThatGoes) {
  bookOf(before, 0).addReference("related", bookOf(before, 2));
  after = before.clone();
  shelfOf(after).adopt("box", bookOf(after, 2));
  EXPECT_THAT(found(), ElementsAre("moved /shelf/books[2] -> /shelf/box"));
}

TEST_F(Diff, AnElementOfAnotherClassIsAnotherElement) {
  after.remove(shelfOf(after));
  after.createRoot("shelf.Book").set("name", "left");
  EXPECT_THAT(found(), ElementsAre("added /book (shelf.Book)", "removed /shelf (shelf.Shelf, 12 elements)"));
}

TEST_F(Diff, EverythingMayBeNewOrGone) {
  after = Model(shelfRegistry());
  EXPECT_THAT(found(), ElementsAre("removed /shelf (shelf.Shelf, 12 elements)"));
  EXPECT_THAT(differences(after, before), ElementsAre("added /shelf (shelf.Shelf, 12 elements)"));
}

TEST_F(Diff, WhatIsMovedOutOfARemovedElementStays) {
  bookOf(after, 0).adopt("chapters", chapterOf(after, 1, 0));
  after.remove(bookOf(after, 1));
  EXPECT_THAT(found(), ElementsAre("removed /shelf/books[1] (shelf.Book, 2 elements)",
                                   "moved /shelf/books[1]/chapters[0] -> /shelf/books[0]/chapters[2]"));
}

TEST_F(Diff, DeepNestingTakesNoStack) {
  constexpr int kDepth = 30000;
  for (Model* const model : {&before, &after}) {
    Element chapter = chapterOf(*model, 0, 0);
    for (int i = 0; i < kDepth; ++i) {
      chapter = chapter.create("parts");
      chapter.set("page", i);
      if (model == &after) chapter.set("text", "new");
    }
  }
  EXPECT_EQ(found().size(), std::size_t{kDepth});
}

TEST_F(Diff, PathsAreThoseOfTheModelShortenedWhereTheyAreLong) {
  for (Model* const model : {&before, &after}) {
    Element chapter = chapterOf(*model, 0, 0);
    for (int i = 0; i < 60; ++i) {
      chapter = chapter.create("parts");
      chapter.set("page", i);
      if (model == &after) chapter.set("text", "new");
    }
  }
  std::size_t compared = 0;
  for (const auto& difference : compareModels(before, after).differences()) {
    ASSERT_TRUE(difference.before && difference.after) << difference.sentence();
    EXPECT_EQ(difference.pathBefore, difference.before.getPath());
    EXPECT_EQ(difference.pathAfter, difference.after.getPath());
    ++compared;
  }
  EXPECT_GE(compared, 59U);
}

TEST(DiffCall, ModelsOfTwoRegistriesAreRefused) {
  const meta::MetaRegistry other;
  EXPECT_THAT([&] { compareModels(makeShelf(), Model(other)); },
              testing::ThrowsMessage<ModelError>(
                  "the models live by two registries of meta models; read both by one"));
}

TEST(DiffCall, DifferencesOfAnotherModelAreNotApplied) {
  const Model before = makeShelf();
  Model after = before.clone();
  after.remove(bookOf(after, 0));
  const compare::ModelDiff diff = compareModels(before, after);
  EXPECT_THAT([&] { applyDiff(diff, after); },
              testing::ThrowsMessage<ModelError>("the differences are those of another model"));
  EXPECT_EQ(findDifference(applyDiff(diff, before.clone()), after), std::nullopt);
}

}  // namespace
}  // namespace kr::zero::test
