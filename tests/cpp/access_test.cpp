// Typed access to the elements of the example's library.
#include "cpp/CppTesting.h"
#include "library.kr0.h"

namespace kr::zero::test {

namespace {

using models::library::AudioBook;
using models::library::Author;
using models::library::Book;
using models::library::Genre;
using models::library::Library;
using models::library::Loan;
using models::library::Named;

struct Shelf {
  Model model{generatedRegistry()};
  Library library = createRoot<Library>(model);
  Book book = library.getBooks().create();
};

}  // namespace

static_assert(sizeof(Book) == sizeof(Element) && std::is_trivially_copyable_v<Book>);
static_assert(sizeof(AudioBook) == sizeof(Element) && std::is_trivially_copyable_v<AudioBook>);
static_assert(std::is_convertible_v<AudioBook, Book> && !std::is_convertible_v<Book, AudioBook>);
static_assert(std::is_convertible_v<Book, Element> && !std::is_convertible_v<Element, Book>);

TEST(TypedAccess, ValuesThatAreSetByTypeAreThereByName) {
  Shelf shelf;
  shelf.book.setTitle("Moby Dick");
  shelf.book.setPages(635);
  shelf.book.setKilograms(0.5);
  shelf.book.setGenre(Genre::forChildren);
  shelf.library.setFounded("1897-05-03");
  shelf.library.setOpenOnSunday(true);
  const Element element = shelf.book.element();
  EXPECT_EQ(element.getText("title"), "Moby Dick");
  EXPECT_EQ(element.getInteger("pages"), 635);
  EXPECT_EQ(element.getReal("kilograms"), 0.5);
  EXPECT_EQ(element.getInteger("genre"), 10);
  EXPECT_EQ(shelf.library.element().getText("founded"), "1897-05-03");
  EXPECT_TRUE(shelf.library.element().getBoolean("openOnSunday"));
}

TEST(TypedAccess, ValuesThatAreSetByNameAreThereByType) {
  Shelf shelf;
  Element element = shelf.book;
  element.set("title", "Emma");
  element.set("pages", -3);
  element.setTextForm("genre", "poetry");
  EXPECT_EQ(shelf.book.getTitle(), "Emma");
  EXPECT_EQ(shelf.book.getPages(), -3);
  EXPECT_EQ(shelf.book.getGenre(), Genre::poetry);
}

TEST(TypedAccess, HasAndUnsetTellAndMakeTheState) {
  Shelf shelf;
  EXPECT_FALSE(shelf.book.hasPages());
  shelf.book.setPages(0);
  EXPECT_TRUE(shelf.book.hasPages());
  shelf.book.unsetPages();
  EXPECT_FALSE(shelf.book.hasPages());
  EXPECT_EQ(shelf.book.getPages(), 0);
}

TEST(TypedAccess, AnExplicitlyEmptyValueReadsAsItsDefaultAndCanBeSet) {
  Shelf shelf;
  shelf.book.setPages(5);
  Element(shelf.book).setEmpty("pages");
  EXPECT_EQ(shelf.book.getPages(), 0);
  EXPECT_TRUE(shelf.book.hasPages());
  shelf.book.setPages(6);
  EXPECT_EQ(shelf.book.getPages(), 6);
  EXPECT_EQ(shelf.book.element().getState("pages"), PropertyState::value);
}

TEST(TypedAccess, AnEmptyHandleIsRefused) {
  expectRefused([] { static_cast<void>(Book().getTitle()); }, "empty element handle");
  expectRefused([] { Book().setPages(1); }, "empty element handle");
  expectRefused([] { static_cast<void>(Library().getBooks().size()); }, "empty element handle");
}

TEST(TypedAccess, AHandleOfARemovedElementIsRefused) {
  Shelf shelf;
  shelf.book.setTitle("gone");
  shelf.model.remove(shelf.book);
  expectRefused([&] { static_cast<void>(shelf.book.getTitle()); }, "library.Book", "removed");
  expectRefused([&] { shelf.book.setPages(1); }, "removed");
  expectRefused([&] { static_cast<void>(shelf.book.getChapters().begin()); }, "removed");
  expectRefused([&] { shelf.library.getBooks()[0].setSequel(shelf.book); }, "no position 0");
  const Book other = shelf.library.getBooks().create();
  expectRefused([&] { other.setSequel(shelf.book); }, "removed");
  EXPECT_FALSE(is<Book>(shelf.book));
}

TEST(TypedAccess, ANumberThatIsNoLiteralsIsRefusedAndNothingIsChanged) {
  Shelf shelf;
  shelf.book.setGenre(Genre::history);
  expectRefused([&] { shelf.book.setGenre(static_cast<Genre>(4)); }, "genre", "library.Genre",
                "no literal with the number 4");
  expectRefused([&] { shelf.book.getAlsoOf().add(static_cast<Genre>(-1)); }, "no literal with the number -1");
  EXPECT_EQ(shelf.book.getGenre(), Genre::history);
  EXPECT_TRUE(shelf.book.getAlsoOf().empty());
}

TEST(TypedAccess, ATextThatIsMalformedIsRefusedAndNothingIsChanged) {
  Shelf shelf;
  shelf.book.setTitle("kept");
  expectRefused([&] { shelf.book.setTitle("\xFF"); }, "title", "well-formed");
  expectRefused([&] { shelf.library.setFounded("yesterday"); }, "founded", "yesterday");
  EXPECT_EQ(shelf.book.getTitle(), "kept");
  EXPECT_FALSE(shelf.library.hasFounded());
}

TEST(TypedAccess, AShorterTextTakesThePlaceOfTheOldOne) {
  Shelf shelf;
  shelf.book.setTitle("a long title, to be replaced");
  const std::size_t before = shelf.model.getMemoryUsed();
  const char* const place = shelf.book.getTitle().data();
  for (int i = 0; i < 10000; ++i) shelf.book.setTitle(i % 2 == 0 ? "a" : "");
  EXPECT_EQ(shelf.book.getTitle(), "");
  EXPECT_EQ(shelf.book.getTitle().data(), place);
  EXPECT_EQ(shelf.model.getMemoryUsed(), before);
}

TEST(TypedAccess, ATextMayBeSetToAPartOfItself) {
  Shelf shelf;
  shelf.book.setTitle("abcdefgh");
  shelf.book.setTitle(shelf.book.getTitle().substr(2));
  EXPECT_EQ(shelf.book.getTitle(), "cdefgh");
}

TEST(TypedAccess, ALongerTextGetsAPlaceOfItsOwn) {
  Shelf shelf;
  shelf.book.setTitle("short");
  shelf.book.setTitle("much longer than before");
  EXPECT_EQ(shelf.book.getTitle(), "much longer than before");
}

TEST(TypedRanges, ValuesAreThereInOrder) {
  Shelf shelf;
  for (const char* word : {"whale", "sea", "whale"}) shelf.book.getKeywords().add(word);
  for (const int rating : {5, -1, 3}) shelf.book.getRatings().add(rating);
  EXPECT_THAT(shelf.book.getKeywords(), testing::ElementsAre("whale", "sea", "whale"));
  EXPECT_THAT(shelf.book.getRatings(), testing::ElementsAre(5, -1, 3));
  EXPECT_EQ(shelf.book.getRatings()[1], -1);
  EXPECT_EQ(shelf.book.getRatings().size(), 3u);
}

TEST(TypedRanges, APositionBeyondTheEndIsRefused) {
  Shelf shelf;
  shelf.book.getRatings().add(1);
  expectRefused([&] { static_cast<void>(shelf.book.getRatings()[1]); }, "ratings", "no position 1");
  expectRefused([&] { shelf.book.getRatings().removeAt(1); }, "no position 1");
}

TEST(TypedRanges, ValuesCanBeRemovedAndTheStateTold) {
  Shelf shelf;
  const auto ratings = shelf.book.getRatings();
  EXPECT_EQ(ratings.getState(), PropertyState::unset);
  ratings.add(1);
  ratings.add(2);
  ratings.removeAt(0);
  EXPECT_THAT(ratings, testing::ElementsAre(2));
  ratings.setEmpty();
  EXPECT_EQ(ratings.getState(), PropertyState::empty);
  EXPECT_TRUE(ratings.empty());
  ratings.unset();
  EXPECT_EQ(ratings.getState(), PropertyState::unset);
  EXPECT_FALSE(shelf.book.hasRatings());
}

TEST(TypedRanges, ChildrenAreMadeOfTheClassThatIsAskedFor) {
  Shelf shelf;
  const AudioBook audio = shelf.library.getBooks().create<AudioBook>();
  audio.setMinutes(90);
  EXPECT_EQ(audio.element().getClass()->name(), "AudioBook");
  EXPECT_EQ(shelf.library.getBooks().size(), 2u);
  EXPECT_EQ(shelf.library.getBooks()[1], audio);
  std::vector<std::string> classes;
  for (const Book book : shelf.library.getBooks()) classes.push_back(book.element().getClass()->name());
  EXPECT_THAT(classes, testing::ElementsAre("Book", "AudioBook"));
}

TEST(TypedRanges, RangesWorkWithAlgorithms) {
  Shelf shelf;
  for (const int pages : {300, 100, 200}) shelf.library.getBooks().create().setPages(pages);
  const auto books = shelf.library.getBooks();
  static_assert(std::forward_iterator<decltype(books.begin())>);
  const auto thick = std::ranges::count_if(books, [](Book book) { return book.getPages() >= 200; });
  EXPECT_EQ(thick, 2);
}

TEST(TypedReferences, BothSidesOfAPairAreKeptInStep) {
  Shelf shelf;
  const Author author = shelf.library.getAuthors().create();
  shelf.book.getAuthors().add(author);
  EXPECT_THAT(author.getBooks(), testing::ElementsAre(shelf.book));
  const Book sequel = shelf.library.getBooks().create();
  shelf.book.setSequel(sequel);
  EXPECT_EQ(sequel.getPrequel(), shelf.book);
  shelf.book.unsetSequel();
  EXPECT_FALSE(shelf.book.getSequel());
}

TEST(TypedReferences, AReferenceThatIsNotThereIsAnEmptyHandle) {
  Shelf shelf;
  EXPECT_FALSE(shelf.book.getSequel());
  EXPECT_FALSE(shelf.library.getAddress());
  Element(shelf.book).putUnresolved("sequel", {"library.Book", "a", "b", std::nullopt});
  EXPECT_TRUE(shelf.book.hasSequel());
  EXPECT_FALSE(shelf.book.getSequel());
  Element(shelf.book).putUnresolved("authors", {"library.Author", "a", "c", std::nullopt});
  EXPECT_EQ(shelf.book.getAuthors().size(), 1u);
  EXPECT_FALSE(shelf.book.getAuthors()[0]);
}

TEST(TypedReferences, ATargetOfAnotherModelOrNoneIsRefused) {
  Shelf shelf, other;
  expectRefused([&] { shelf.book.setSequel(other.book); }, "another model");
  expectRefused([&] { shelf.book.setSequel(Book()); }, "empty element handle");
}

TEST(TypedChildren, ASingleChildIsMadeOnceAndCanBeTakenOver) {
  Shelf shelf;
  const auto address = shelf.library.createAddress();
  address.setStreet("Weaver's Quay");
  EXPECT_EQ(shelf.library.getAddress(), address);
  expectRefused([&] { shelf.library.createAddress(); }, "holds an element already");
  const Library second = createRoot<Library>(shelf.model);
  second.adoptAddress(address);
  EXPECT_FALSE(shelf.library.hasAddress());
  EXPECT_EQ(second.getAddress().getStreet(), "Weaver's Quay");
  second.unsetAddress();
  expectRefused([&] { static_cast<void>(address.getStreet()); }, "removed");
}

TEST(TypedChildren, ACollectionTakesAChildOverAtAPosition) {
  Shelf shelf;
  const Library second = createRoot<Library>(shelf.model);
  const Book first = second.getBooks().create();
  second.getBooks().adopt(shelf.book, 0);
  EXPECT_THAT(second.getBooks(), testing::ElementsAre(shelf.book, first));
  EXPECT_TRUE(shelf.library.getBooks().empty());
}

TEST(TypedCasts, AsGivesTheElementAndNamesBothClassesWhereItCannot) {
  Shelf shelf;
  const Element element = shelf.book;
  EXPECT_EQ(as<Book>(element), shelf.book);
  expectRefused([&] { as<AudioBook>(element); }, "/library/books", "library.Book", "library.AudioBook");
  expectRefused([&] { as<Book>(Element()); }, "empty element handle");
}

TEST(TypedCasts, TryAsGivesAnEmptyHandleInstead) {
  Shelf shelf;
  const Book audio = shelf.library.getBooks().create<AudioBook>();
  EXPECT_TRUE(tryAs<AudioBook>(audio));
  EXPECT_FALSE(tryAs<AudioBook>(shelf.book));
  EXPECT_FALSE(tryAs<Book>(Element()));
  EXPECT_TRUE(is<Named>(shelf.library));
  EXPECT_FALSE(is<Named>(shelf.book));
}

TEST(TypedCasts, ARootNeedsTheMetaModelInTheRegistry) {
  const meta::MetaRegistry empty;
  Model model(empty);
  expectRefused([&] { createRoot<Library>(model); }, "library.Library", "http://www.example.org/library",
                "registerIn");
}

TEST(TypedEnumerations, LiteralsHaveNamesAndTexts) {
  EXPECT_EQ(toText(Genre::forChildren), "forChildren");
  EXPECT_EQ(toText(static_cast<Genre>(77)), "");
  EXPECT_EQ(fromText<Genre>("science"), Genre::science);
  EXPECT_EQ(fromText<Genre>("for children"), Genre::forChildren);
  EXPECT_EQ(fromText<Genre>("unheard of"), std::nullopt);
  static_assert(static_cast<std::int32_t>(Genre::forChildren) == 10);
  static_assert(std::is_same_v<std::underlying_type_t<Genre>, std::int32_t>);
}

}  // namespace kr::zero::test
