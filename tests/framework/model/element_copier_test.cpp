#include <gtest/gtest.h>

#include "framework/io/LibraryModel.h"
#include "kr/zero/ElementCopier.h"

namespace kr::zero {
namespace {

using test::errorOf;

class ElementCopierTest : public ::testing::Test, protected test::LibraryFixture {
 protected:
  Element library = model.createRoot("library.Library");
  Element author = library.create("authors");
  Element first = bookBy(author, "first");
  Element second = bookBy(author, "second");
  Model other{*registry};

  Element bookBy(Element by, const char* name) {
    Element book = library.create("books");
    book.set("name", name);
    book.addReference("authors", by);
    return book;
  }
};

TEST_F(ElementCopierTest, CopiesReferToCopies) {
  first.setReference("sequel", second);
  second.setIdentity("isbn", "2");
  second.create("preface").set("first", 3);
  ElementCopier copier(model, other);
  copier.copyRoot(library);
  copier.finish();
  EXPECT_EQ(findDifference(model, other), std::nullopt);
}

TEST_F(ElementCopierTest, PiecesAreJoinedWhereTheyAreFinished) {
  Element shelf = other.createRoot("library.Library");
  ElementCopier copier(model, other);
  const Element b = copier.copyInto(shelf, "books", second);
  const Element a = copier.copyInto(shelf, "books", first, 0);
  const Element c = copier.copyInto(shelf, "authors", author);
  copier.finish();
  EXPECT_EQ(shelf.getElement("books", 0), a);
  EXPECT_EQ(shelf.getElement("books", 1), b);
  EXPECT_EQ(a.getReference("authors"), c);
  EXPECT_EQ(c.getReference("books", 1), b);
  EXPECT_EQ(copier.copyOf(first), a);
  EXPECT_FALSE(copier.copyOf(library));
}

TEST_F(ElementCopierTest, AReferenceToWhatStaysBehindIsLeftOutUnlessTextsAreGiven) {
  ElementCopier plain(model, other);
  const Element without = plain.copyRoot(first);
  plain.finish();
  EXPECT_FALSE(without.isSet("authors"));

  const UnresolvedReference texts{"library.Author", "a", "b", "c"};
  first.setReference("sequel", second);
  ElementCopier copier(model, other,
                       {.outside = [&](ConstElement target) -> std::optional<UnresolvedReference> {
                         if (target == author) return texts;
                         return std::nullopt;
                       }});
  const Element with = copier.copyRoot(first);
  copier.finish();
  EXPECT_EQ(with.getUnresolved("authors"), texts);
  EXPECT_FALSE(with.isSet("sequel"));
}

TEST_F(ElementCopierTest, WhatStandsForATargetIsReferredTo) {
  const Element writer = other.createRoot("library.Author");
  ElementCopier copier(model, other);
  copier.standFor(author, writer);
  const Element copy = copier.copyRoot(first);
  copier.finish();
  EXPECT_EQ(copy.getReference("authors"), writer);
}

TEST_F(ElementCopierTest, APropertyIsCopiedByItselfInItsState) {
  const auto property = [&](const char* name) { return first.getType()->findProperty(name); };
  Element book = other.createRoot("library.Book");
  book.set("name", "old");
  book.set("pages", 1);
  book.add("tags", "old");
  first.add("tags", "a");
  first.add("tags", "b");
  first.setEmpty("weight");
  ElementCopier copier(model, other);
  copier.standFor(author, other.createRoot("library.Author"));
  for (const char* name : {"name", "pages", "tags", "weight", "authors"})
    copier.copyProperty(first, property(name), book);
  copier.finish();
  EXPECT_EQ(book.getText("name"), "first");
  EXPECT_FALSE(book.isSet("pages"));
  EXPECT_EQ(book.size("tags"), 2u);
  EXPECT_EQ(book.getText("tags", 1), "b");
  EXPECT_EQ(book.getState("weight"), PropertyState::empty);
  EXPECT_EQ(book.getReference("authors").getPath(), "/author[1]");
  EXPECT_EQ(errorOf<ModelError>([&] { copier.copyProperty(first, property("volumes"), book); }),
            "/book[0].volumes: contains elements or datatype values, which are copied one by one");
}

TEST_F(ElementCopierTest, AnElementIsCopiedBelowItself) {
  first.create("volumes").setReference("sequel", first);
  ElementCopier copier(model, model, {.identities = false});
  const Element copy = copier.copyInto(first, "volumes", first);
  copier.finish();
  EXPECT_EQ(first.size("volumes"), 2u);
  EXPECT_EQ(copy.size("volumes"), 1u);
  EXPECT_EQ(copy.getElement("volumes").getReference("sequel"), copy);
  EXPECT_EQ(copy.getReference("authors"), author);
}

TEST_F(ElementCopierTest, WhatDoesNotFitIsRefused) {
  Element shelf = other.createRoot("library.Library");
  ElementCopier copier(model, other);
  EXPECT_EQ(
      errorOf<ModelError>([&] { copier.copyInto(shelf, "authors", first); }),
      "/library.authors: an element of type library.Book does not fit a property of type library.Author");
  EXPECT_EQ(errorOf<ModelError>([&] { copier.copyRoot(shelf); }),
            "only what is in the model copied from can be copied");
  EXPECT_EQ(errorOf<ModelError>([&] { copier.copyInto(library, "books", first); }),
            "copies go to elements of the model copied to");
  EXPECT_EQ(errorOf<ModelError>([&] { copier.copyRoot(first.create("preface")); }),
            "a datatype value cannot stand at the top of a model");
  const auto elsewhere = test::makeLibraryRegistry();
  Model foreign(*elsewhere);
  EXPECT_EQ(errorOf<ModelError>([&] { ElementCopier(model, foreign); }),
            "an element can only be copied between models of one registry");
}

}  // namespace
}  // namespace kr::zero
