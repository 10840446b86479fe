// What mergeModels takes over, and what it leaves as a conflict.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "compare/Shelf.h"

namespace kr::zero::test {
namespace {

using compare::mergeModels;
using compare::MergeResult;
using testing::ElementsAre;
using testing::IsEmpty;

class Merge : public testing::Test {
 protected:
  MergeResult merge() const { return mergeModels(base, ours, theirs); }
  /// For merges that have conflicts: the merged model has all of ours there, and nothing else.
  void expectOurs(const MergeResult& result) const {
    EXPECT_EQ(findDifference(result.model, ours), std::nullopt);
  }
  static std::vector<std::string> names(Model& model) {
    std::vector<std::string> all;
    for (const Element book : shelfOf(model).children("books")) all.emplace_back(book.getText("name"));
    return all;
  }
  static std::vector<std::string> tags(Model& model) {
    std::vector<std::string> all;
    for (const std::string_view tag : bookOf(model, 0).values<std::string_view>("tags"))
      all.emplace_back(tag);
    return all;
  }
  void giveTags(std::initializer_list<const char*> tags) {
    for (const char* const tag : tags) bookOf(base, 0).add("tags", tag);
    ours = base.clone();
    theirs = base.clone();
  }
  static void addBook(Model& model, const char* name, int pages) {
    Element book = shelfOf(model).create("books");
    book.set("name", name);
    book.set("pages", pages);
  }

  Model base = makeShelf();
  Model ours = base.clone();
  Model theirs = base.clone();
};

TEST_F(Merge, ChangesOfBothSidesAreTakenOver) {
  bookOf(ours, 0).set("pages", 1);
  bookOf(theirs, 0).set("price", 2.0);
  theirs.remove(bookOf(theirs, 1));
  addBook(ours, "new", 5);
  MergeResult result = merge();
  EXPECT_THAT(conflicts(result), IsEmpty());
  EXPECT_THAT(names(result.model), ElementsAre("b0", "b2", "new"));
  EXPECT_EQ(bookOf(result.model, 0).get<int>("pages"), 1);
  EXPECT_EQ(bookOf(result.model, 0).get<double>("price"), 2.0);
}

TEST_F(Merge, TheSameChangeOnBothSidesIsNone) {
  for (Model* const side : {&ours, &theirs}) {
    bookOf(*side, 0).set("pages", 1);
    side->remove(bookOf(*side, 2));
    addBook(*side, "new", 5);
  }
  const MergeResult result = merge();
  EXPECT_THAT(conflicts(result), IsEmpty());
  expectOurs(result);
}

TEST_F(Merge, AdditionsOfBothStandWhereTheyWereMadeThoseOfOursFirst) {
  addBook(ours, "ours", 1);
  addBook(theirs, "theirs", 2);
  Element first = shelfOf(theirs).create("books");
  first.set("name", "first");
  shelfOf(theirs).adopt("books", first, 0);
  MergeResult result = merge();
  EXPECT_THAT(conflicts(result), IsEmpty());
  EXPECT_THAT(names(result.model), ElementsAre("first", "b0", "b1", "b2", "ours", "theirs"));
}

TEST_F(Merge, AnotherValueOnEachSideIsAConflict) {
  bookOf(ours, 0).set("pages", 1);
  bookOf(theirs, 0).set("pages", 2);
  const MergeResult result = merge();
  EXPECT_THAT(conflicts(result), ElementsAre("value /shelf/books[0].pages: base 100, ours 1, theirs 2"));
  expectOurs(result);
}

TEST_F(Merge, AnotherIdentityOnEachSideIsAConflict) {
  bookOf(ours, 0).setIdentity("i", "1");
  bookOf(theirs, 0).setIdentity("i", "2");
  const MergeResult result = merge();
  EXPECT_THAT(conflicts(result),
              ElementsAre("identity /shelf/books[0]: base none, ours \"i\" \"1\", theirs \"i\" \"2\""));
  expectOurs(result);
}

TEST_F(Merge, WhatTheirsRemovedAndOursChangedStays) {
  chapterOf(ours, 1, 0).set("page", 99);
  theirs.remove(bookOf(theirs, 1));
  const MergeResult result = merge();
  EXPECT_THAT(
      conflicts(result),
      ElementsAre("removal /shelf/books[1]/chapters[0]: base shelf.Chapter, ours changed, theirs removed"));
  expectOurs(result);
}

TEST_F(Merge, WhatOursRemovedAndTheirsChangedIsGone) {
  ours.remove(bookOf(ours, 1));
  chapterOf(theirs, 1, 0).set("page", 99);
  const MergeResult result = merge();
  EXPECT_THAT(
      conflicts(result),
      ElementsAre("removal /shelf/books[1]/chapters[0]: base shelf.Chapter, ours removed, theirs changed"));
  expectOurs(result);
}

TEST_F(Merge, WhatTheirsAddedToWhatOursRemovedIsAConflict) {
  ours.remove(bookOf(ours, 1));
  bookOf(theirs, 1).create("chapters").set("text", "new");
  const MergeResult result = merge();
  EXPECT_EQ(result.conflicts.size(), 2U);
  EXPECT_EQ(result.conflicts[1].sentence(),
            "removal /shelf/books[1]/chapters[2]: base nothing, ours removed what contains it, theirs added");
  expectOurs(result);
}

TEST_F(Merge, WhatTheirsRemovedAndOursRefersToStays) {
  bookOf(ours, 0).addReference("related", bookOf(ours, 2));
  theirs.remove(bookOf(theirs, 2));
  const MergeResult result = merge();
  EXPECT_THAT(conflicts(result),
              ElementsAre("removal /shelf/books[2]: base shelf.Book, ours uses it, theirs removed"));
  expectOurs(result);
}

TEST_F(Merge, AReferenceOfTheirsToWhatOursRemovedIsAConflict) {
  ours.remove(bookOf(ours, 2));
  bookOf(theirs, 0).addReference("related", bookOf(theirs, 2));
  const MergeResult result = merge();
  EXPECT_THAT(conflicts(result),
              ElementsAre("reference /shelf/books[0].related: base unset, ours unset, theirs "
                          "[-> /shelf/books[2]]"));
}

TEST_F(Merge, AnotherPlaceOnEachSideIsAConflict) {
  bookOf(ours, 0).adopt("chapters", chapterOf(ours, 1, 0));
  bookOf(theirs, 2).adopt("chapters", chapterOf(theirs, 1, 0));
  const MergeResult result = merge();
  EXPECT_THAT(conflicts(result),
              ElementsAre("place /shelf/books[0]/chapters[2]: base /shelf/books[1]/chapters[0], ours "
                          "/shelf/books[0]/chapters[2], theirs /shelf/books[2]/chapters[2]"));
  expectOurs(result);
}

TEST_F(Merge, APlaceForOneElementHoldsThatOfOurs) {
  shelfOf(ours).create("box").set("name", "ours");
  shelfOf(theirs).create("box").set("name", "theirs");
  const MergeResult result = merge();
  EXPECT_THAT(conflicts(result),
              ElementsAre("place /shelf/box: base nothing, ours nothing, theirs /shelf/box"));
  expectOurs(result);
}

TEST_F(Merge, ElementsThatEachSidePutBelowTheOtherStayAsInOurs) {
  Element first = chapterOf(ours, 0, 0);
  Element second = chapterOf(ours, 0, 1);
  first.adopt("parts", second);
  chapterOf(theirs, 0, 1).adopt("parts", chapterOf(theirs, 0, 0));
  const MergeResult result = merge();
  EXPECT_THAT(conflicts(result),
              ElementsAre("place /shelf/books[0]/chapters[0]: base /shelf/books[0]/chapters[0], ours "
                          "/shelf/books[0]/chapters[0], theirs /shelf/books[0]/chapters[0]/parts[0]"));
  expectOurs(result);
}

TEST_F(Merge, AnOrderOfOneSideHoldsWithTheAdditionsOfTheOther) {
  shelfOf(theirs).adopt("books", bookOf(theirs, 2), 0);
  addBook(ours, "new", 1);
  MergeResult result = merge();
  EXPECT_THAT(conflicts(result), IsEmpty());
  EXPECT_THAT(names(result.model), ElementsAre("b2", "new", "b0", "b1"));
}

TEST_F(Merge, AnotherOrderOnEachSideIsAConflict) {
  shelfOf(ours).adopt("books", bookOf(ours, 2), 0);
  shelfOf(theirs).adopt("books", bookOf(theirs, 1), 0);
  const MergeResult result = merge();
  EXPECT_THAT(conflicts(result),
              ElementsAre("order /shelf.books: base [0, 1, 2], ours [2, 0, 1], theirs [1, 0, 2]"));
  expectOurs(result);
}

TEST_F(Merge, ListsOfValuesAreMergedEntryByEntry) {
  giveTags({"a", "b", "c"});
  bookOf(ours, 0).removeAt("tags", 1);
  bookOf(ours, 0).add("tags", "ours");
  bookOf(theirs, 0).add("tags", "theirs");
  MergeResult result = merge();
  EXPECT_THAT(conflicts(result), IsEmpty());
  EXPECT_THAT(tags(result.model), ElementsAre("a", "c", "ours", "theirs"));
}

TEST_F(Merge, AnEntryThatBothReplacedByDifferentOnesIsAConflict) {
  giveTags({"a", "b"});
  bookOf(ours, 0).removeAt("tags", 1);
  bookOf(ours, 0).add("tags", "x");
  bookOf(theirs, 0).removeAt("tags", 1);
  bookOf(theirs, 0).add("tags", "y");
  const MergeResult result = merge();
  EXPECT_THAT(
      conflicts(result),
      ElementsAre(
          "value /shelf/books[0].tags: base [\"a\", \"b\"], ours [\"a\", \"x\"], theirs [\"a\", \"y\"]"));
  expectOurs(result);
}

TEST_F(Merge, ReferencesLeadToTheMergedElements) {
  bookOf(ours, 0).addReference("related", bookOf(ours, 1));
  addBook(theirs, "new", 1);
  bookOf(theirs, 0).addReference("related", bookOf(theirs, 3));
  MergeResult result = merge();
  EXPECT_THAT(conflicts(result), IsEmpty());
  EXPECT_EQ(bookOf(result.model, 0).getReference("related", 0), bookOf(result.model, 1));
  EXPECT_EQ(bookOf(result.model, 0).getReference("related", 1), bookOf(result.model, 3));
}

TEST_F(Merge, WhatBothAddedByOneNameIsOneElement) {
  addBook(ours, "new", 1);
  addBook(theirs, "new", 2);
  const MergeResult result = merge();
  EXPECT_THAT(conflicts(result), ElementsAre("value /shelf/books[3].pages: base nothing, ours 1, theirs 2"));
  expectOurs(result);
}

TEST_F(Merge, WithNothingInCommonBothAreThere) {
  base = Model(shelfRegistry());
  bookOf(theirs, 0).set("name", "only theirs");
  MergeResult result = merge();
  EXPECT_THAT(conflicts(result), IsEmpty());
  EXPECT_THAT(names(result.model), ElementsAre("b0", "only theirs", "b1", "b2"));
}

}  // namespace
}  // namespace kr::zero::test
