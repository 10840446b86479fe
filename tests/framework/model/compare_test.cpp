#include <gtest/gtest.h>

#include "framework/io/LibraryModel.h"
#include "support/SmallStack.h"

namespace kr::zero {
namespace {

class ModelCompare : public ::testing::Test, protected test::LibraryFixture {
 protected:
  ModelCompare() {
    Element library = model.createRoot("library.Library");
    library.setIdentity("urn:a", "1");
    Element book = library.create("books");
    book.set("name", "a");
    book.set("weight", 1.5);
    book.set("key", "123e4567-e89b-12d3-a456-426614174000");
    book.setEmpty("lent");
    book.add("years", 1851);
    book.setEmpty("tags");
    book.create("chapters").set("first", 1);
    Element sequel = library.create("books");
    book.setReference("sequel", sequel);
    sequel.putUnresolved("sequel", {"library.Book", "x", "y", std::nullopt});
    Element author = library.create("authors");
    author.addReference("books", sequel);
    author.putUnresolved("books", {"library.Book", "x", "y", "z"});
  }

  /// The difference after a change to a copy of the model.
  template <class Change>
  std::string differenceAfter(Change&& change) {
    Model other = model.clone();
    Element library = other.getRoots().front();
    change(library, library.getElement("books", 0));
    return findDifference(model, other).value_or("none");
  }
};

TEST_F(ModelCompare, ACloneIsEqual) {
  const Model copy = model.clone();
  EXPECT_EQ(findDifference(model, copy), std::nullopt);
  EXPECT_EQ(copy.size(), model.size());
}

TEST_F(ModelCompare, TheFirstDifferenceIsNamedByItsPath) {
  EXPECT_EQ(differenceAfter([](Element, Element book) { book.set("name", "b"); }),
            "/library/books[0].name: \"a\" != \"b\"");
  EXPECT_EQ(differenceAfter([](Element, Element book) { book.set("weight", -1.5); }),
            "/library/books[0].weight: \"1.5\" != \"-1.5\"");
  EXPECT_EQ(differenceAfter([](Element, Element book) { book.unset("lent"); }),
            "/library/books[0].lent: empty != unset");
  EXPECT_EQ(differenceAfter([](Element, Element book) { book.unset("tags"); }),
            "/library/books[0].tags: empty != unset");
  EXPECT_EQ(differenceAfter([](Element, Element book) { book.set("pages", 1); }),
            "/library/books[0].pages: unset != set");
  EXPECT_EQ(differenceAfter([](Element, Element book) { book.add("years", 2); }),
            "/library/books[0].years: 1 values != 2 values");
  EXPECT_EQ(differenceAfter([](Element, Element book) {
              book.removeAt("years", 0);
              book.add("years", 7);
            }),
            "/library/books[0].years[0]: \"1851\" != \"7\"");
  EXPECT_EQ(differenceAfter([](Element, Element book) { book.getElement("chapters", 0).set("first", 2); }),
            "/library/books[0]/chapters[0].first: \"1\" != \"2\"");
  EXPECT_EQ(differenceAfter([](Element library, Element) { library.clearIdentity(); }),
            "/library: identity \"urn:a\", \"1\" != none");
  EXPECT_EQ(differenceAfter([](Element, Element book) { book.setReference("sequel", book); }),
            "/library/books[0].sequel: reference to /library/books[1] != reference to /library/books[0]");
  EXPECT_EQ(
      differenceAfter([](Element library, Element) {
        library.getElement("books", 1).putUnresolved("sequel", {"library.Book", "x", "q", std::nullopt});
      }),
      "/library/books[1].sequel: reference to (\"library.Book\", \"x\", \"y\", no qualifier) != reference "
      "to (\"library.Book\", \"x\", \"q\", no qualifier)");
  EXPECT_EQ(differenceAfter([](Element library, Element) { library.getModel().createRoot("library.Book"); }),
            "/: 1 roots != 2 roots");
}

TEST_F(ModelCompare, ModelsOfTwoRegistriesAreComparedByName) {
  const auto registry2 = test::makeLibraryRegistry();
  Model other(*registry2);
  other.createRoot("library.Library");
  EXPECT_EQ(findDifference(model, other), "/library: identity \"urn:a\", \"1\" != none");
}

TEST_F(ModelCompare, ACopyRefersToItselfInside) {
  const Element library = model.getRoots().front();
  Element copy = model.copy(library);
  EXPECT_EQ(copy.getElement("books", 0).getReference("sequel"), copy.getElement("books", 1));
  EXPECT_EQ(copy.getIdentity(), std::nullopt);
  Element book = model.copy(library.getElement("books", 0));
  EXPECT_EQ(book.getReference("sequel"), library.getElement("books", 1));
  EXPECT_EQ(model.getRoots().size(), 3u);
}

TEST_F(ModelCompare, AMillionLevelsAreDestroyedCopiedAndComparedOnASmallStack) {
  test::onSmallStack([&] {
    Model deep(*registry);
    Element at = deep.createRoot("library.Book");
    const meta::Property volumes = at.getType()->findProperty(u"volumes");
    for (int i = 0; i < 1000000; ++i) at = at.create(volumes);
    Model copy = deep.clone();
    EXPECT_EQ(findDifference(deep, copy), std::nullopt);
    EXPECT_EQ(copy.size(), 1000001u);
    copy.remove(copy.getRoots().front());
    EXPECT_EQ(copy.size(), 0u);
  });
}

}  // namespace
}  // namespace kr::zero
