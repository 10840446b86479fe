#include <gtest/gtest.h>

#include "framework/io/LibraryModel.h"
#include "kr/zero/meta/MetaModelBuilder.h"

namespace kr::zero {
namespace {

using test::errorOf;

class ModelStructure : public ::testing::Test, protected test::LibraryFixture {
 protected:
  std::vector<std::string> paths(const Model& of) const {
    std::vector<std::string> all;
    for (const ConstElement element : of.elements()) all.push_back(element.getPath());
    return all;
  }
  Element library = model.createRoot("library.Library");
};

TEST_F(ModelStructure, ElementsComeInDocumentOrder) {
  Element author = library.create("authors");
  Element first = library.create("books");
  library.create("books");
  Element volume = first.create("volumes");
  EXPECT_EQ(paths(model),
            (std::vector<std::string>{"/library", "/library/books[0]", "/library/books[0]/volumes[0]",
                                      "/library/books[1]", "/library/authors[0]"}));
  EXPECT_EQ(volume.getContainer(), first);
  EXPECT_EQ(volume.getContainingProperty()->name(), "volumes");
  EXPECT_FALSE(library.getContainer());
  EXPECT_EQ(author.getClass()->qualifiedName(), "library.Author");
  EXPECT_EQ(model.size(), 5u);
}

TEST_F(ModelStructure, DepthIsToldWhileWalking) {
  library.create("books").create("volumes");
  std::vector<std::size_t> depths;
  const auto all = model.elements();
  for (auto it = all.begin(); it != all.end(); ++it) depths.push_back(it.getDepth());
  EXPECT_EQ(depths, (std::vector<std::size_t>{0, 1, 2}));
}

TEST_F(ModelStructure, AbstractUnknownAndUnfittingTypesAreRefused) {
  EXPECT_EQ(errorOf<ModelError>([&] { model.createRoot("library.Named"); }),
            "class library.Named is abstract and has no elements");
  EXPECT_EQ(errorOf<ModelError>([&] { model.createRoot("library.Movie"); }),
            "there is no type \"library.Movie\"");
  EXPECT_EQ(errorOf<ModelError>([&] { library.create("books", "library.Author"); }),
            "/library.books: an element of type library.Author does not fit a property of type library.Book");
  EXPECT_EQ(model.size(), 1u);
}

TEST_F(ModelStructure, ASingleChildIsNotReplacedInSilence) {
  library.create("treasure");
  EXPECT_EQ(errorOf<ModelError>([&] { library.create("treasure"); }),
            "/library.treasure: holds an element already");
}

TEST_F(ModelStructure, MovingAnElementKeepsItAndItsOrder) {
  Element a = library.create("books");
  Element b = library.create("books");
  Element c = library.create("books");
  library.adopt("books", c, 0);
  EXPECT_EQ(library.getElement("books", 0), c);
  EXPECT_EQ(library.getElement("books", 1), a);
  b.adopt("volumes", a);
  EXPECT_EQ(library.size("books"), 2u);
  EXPECT_EQ(a.getContainer(), b);
  library.adopt("treasure", a);
  EXPECT_EQ(b.getState("volumes"), PropertyState::unset);
  model.adoptRoot(a);
  EXPECT_EQ(model.getRoots(), (std::vector<Element>{library, a}));
  EXPECT_EQ(library.getState("treasure"), PropertyState::unset);
}

TEST_F(ModelStructure, ACircleOfContainmentIsRefused) {
  Element book = library.create("books");
  Element volume = book.create("volumes");
  EXPECT_EQ(errorOf<ModelError>([&] { volume.adopt("volumes", book); }),
            "/library/books[0]/volumes[0].volumes: an element cannot be moved into itself or below itself");
  EXPECT_EQ(errorOf<ModelError>([&] { book.adopt("volumes", book); }),
            "/library/books[0].volumes: an element cannot be moved into itself or below itself");
  EXPECT_EQ(paths(model).size(), 3u);
}

TEST_F(ModelStructure, RemovingAnElementRemovesWhatIsBelowAndEveryReferenceToIt) {
  Element kept = library.create("books");
  Element gone = library.create("books");
  Element volume = gone.create("volumes");
  kept.setReference("sequel", volume);
  Element author = library.create("authors");
  author.addReference("books", gone);
  author.addReference("books", kept);
  model.remove(gone);
  EXPECT_EQ(model.size(), 3u);
  EXPECT_EQ(kept.getState("sequel"), PropertyState::unset);
  ASSERT_EQ(author.size("books"), 1u);
  EXPECT_EQ(author.getReference("books", 0), kept);
}

TEST_F(ModelStructure, UnsettingAChildRemovesIt) {
  library.create("treasure").create("volumes");
  library.unset("treasure");
  EXPECT_EQ(model.size(), 1u);
  library.create("books");
  library.create("books");
  library.unset("books");
  EXPECT_EQ(library.getState("books"), PropertyState::unset);
}

TEST_F(ModelStructure, OppositesAreKeptInStep) {
  Element book = library.create("books");
  Element author = library.create("authors");
  Element other = library.create("authors");
  author.addReference("books", book);
  EXPECT_EQ(book.getReference("authors", 0), author);
  book.setReference("bestOf", author);
  EXPECT_EQ(author.getReference("bestBook"), book);
  book.setReference("bestOf", other);
  EXPECT_EQ(author.getState("bestBook"), PropertyState::unset);
  EXPECT_EQ(other.getReference("bestBook"), book);
}

TEST(ModelOpposites, AReferenceThatIsThereAlreadyKeepsItsPlaceOnTheOtherSide) {
  meta::MetaModelBuilder shop("http://example.org/shop", "shop");
  shop.classType("Thing").property("owner", "Owner").opposite("things");
  shop.classType("Owner").property("things", "Thing").many().opposite("owner");
  meta::MetaRegistry registry;
  shop.registerIn(registry);
  Model model(registry);
  Element owner = model.createRoot("shop.Owner");
  Element first = model.createRoot("shop.Thing");
  Element second = model.createRoot("shop.Thing");
  first.setReference("owner", owner);
  second.setReference("owner", owner);
  first.setReference("owner", owner);
  ASSERT_EQ(owner.size("things"), 2u);
  EXPECT_EQ(owner.getReference("things", 0), first);
  EXPECT_EQ(owner.getReference("things", 1), second);
}

TEST_F(ModelStructure, ReferrersAreFoundInDocumentOrder) {
  Element target = library.create("books");
  Element second = library.create("books");
  Element first = target.create("volumes");
  second.setReference("sequel", target);
  first.setReference("sequel", target);
  EXPECT_EQ(model.getReferrers(target), (std::vector<Element>{first, second}));
}

TEST_F(ModelStructure, AReferenceToAWrongClassIsRefused) {
  Element book = library.create("books");
  Element author = library.create("authors");
  EXPECT_EQ(errorOf<ModelError>([&] { book.setReference("sequel", author); }),
            "/library/books[0].sequel: an element of class library.Author does not fit a property of type "
            "library.Book");
  Model other(*registry);
  EXPECT_EQ(errorOf<ModelError>([&] { book.setReference("sequel", other.createRoot("library.Book")); }),
            "/library/books[0].sequel: the element belongs to another model");
}

TEST_F(ModelStructure, AnUnresolvedReferenceKeepsAllItsTexts) {
  const UnresolvedReference reference{"library.Book", "x", "17", "other.xmi"};
  Element book = library.create("books");
  book.putUnresolved("sequel", reference);
  EXPECT_FALSE(book.getReference("sequel"));
  EXPECT_EQ(book.getUnresolved("sequel"), reference);
  Element author = library.create("authors");
  author.putReference("books", book);
  author.putUnresolved("books", reference);
  EXPECT_EQ(author.getUnresolved("books", 0), std::nullopt);
  EXPECT_EQ(author.getUnresolved("books", 1), reference);
}

TEST_F(ModelStructure, IdentitiesHaveTwoPartsAndLeaveTheDocumentsOwnOnesAlone) {
  library.setIdentity("urn:a", "1");
  EXPECT_EQ(library.getIdentity(), (Identity{"urn:a", "1"}));
  EXPECT_EQ(model.findByIdentity("urn:a", "1"), library);
  EXPECT_FALSE(model.findByIdentity("urn:a", "2"));
  EXPECT_EQ(errorOf<ModelError>([&] { library.setIdentity("", "1"); }),
            "/library: both parts of an identity must hold text");
  EXPECT_EQ(errorOf<ModelError>([&] { library.setIdentity("#", "1"); }),
            "/library: identities that begin with \"#\" are kept for documents");
  library.clearIdentity();
  EXPECT_EQ(library.getIdentity(), std::nullopt);
}

TEST_F(ModelStructure, DatatypeValuesAreNoElements) {
  Element book = library.create("books");
  Element chapter = book.create("chapters");
  chapter.set("first", 1);
  EXPECT_EQ(model.size(), 2u);
  EXPECT_EQ(chapter.getPath(), "/library/books[0]/chapters[0]");
  EXPECT_FALSE(chapter.getClass());
  EXPECT_TRUE(book.getChildren().empty());
  book.removeAt("chapters", 0);
  EXPECT_EQ(book.size("chapters"), 0u);
}

TEST_F(ModelStructure, AModelMovesWithItsElements) {
  Element book = library.create("books");
  Model moved = std::move(model);
  EXPECT_EQ(&book.getModel(), &moved);
  book.set("pages", 9);
  EXPECT_EQ(moved.getRoots().front().getElement("books", 0).getInteger("pages"), 9);
}

}  // namespace
}  // namespace kr::zero
