#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <ranges>

#include "framework/io/LibraryModel.h"

namespace kr::zero {
namespace {

using test::errorOf;

class Ranges : public ::testing::Test, protected test::LibraryFixture {
 protected:
  Element library = model.createRoot("library.Library");
  Element first = named(library.create("books"), "first");
  Element second = named(library.create("books"), "second");
  Element volume = named(first.create("volumes"), "volume");
  Element author = named(library.create("authors"), "author");
  const Model& fixed = model;

  static Element named(Element element, const char* name) {
    element.set("name", name);
    return element;
  }
  /// The names of the elements of a range, one behind the other.
  static std::string names(const auto& range) {
    std::string all;
    for (const ConstElement element : range) all += element.get<std::string>("name") + " ";
    return all;
  }
};

template <class Range, class Value>
constexpr bool isViewOf = std::ranges::view<Range>&& std::ranges::borrowed_range<Range>&&
    std::same_as<std::ranges::range_value_t<Range>, Value>;

TEST_F(Ranges, AreViewsWhoseIteratorsOutliveThem) {
  using Values = decltype(first.values<int>("years"));
  static_assert(isViewOf<Values, int> && std::ranges::random_access_range<Values>);
  static_assert(std::ranges::sized_range<Values> && std::ranges::common_range<Values>);
  using Children = decltype(first.children("volumes"));
  static_assert(isViewOf<Children, Element> && std::ranges::random_access_range<Children>);
  using Roots = decltype(fixed.roots());
  static_assert(isViewOf<Roots, ConstElement> && std::ranges::random_access_range<Roots>);
  using AllChildren = decltype(first.children());
  static_assert(isViewOf<AllChildren, Element> && std::ranges::forward_range<AllChildren>);
  using References = decltype(ConstElement().references("authors"));
  static_assert(isViewOf<References, ConstElement> && std::ranges::forward_range<References>);
  static_assert(isViewOf<ElementRange, Element> && std::ranges::forward_range<ElementRange>);
  static_assert(isViewOf<ConstElementRange, ConstElement>);
  EXPECT_EQ(*std::ranges::find(model.elements(), volume), volume);
}

TEST_F(Ranges, ValuesOfACollectionComeInOrderWithTheirType) {
  for (const int year : {1851, 1930, 1956}) first.add("years", year);
  first.add("tags", "whale");
  const auto years = first.values<int>("years");
  EXPECT_TRUE(std::ranges::equal(years, std::array{1851, 1930, 1956}));
  EXPECT_EQ(years.size(), 3u);
  EXPECT_EQ(years[1], 1930);
  EXPECT_EQ(years.front(), 1851);
  EXPECT_EQ(years.back(), 1956);
  EXPECT_EQ(std::accumulate(years.begin(), years.end(), 0), 1851 + 1930 + 1956);
  EXPECT_EQ(std::ranges::lower_bound(years, 1940) - years.begin(), 2);
  EXPECT_EQ(*(years.end() - 1), 1956);
  EXPECT_EQ(first.values<std::string_view>("tags").front(), "whale");
}

TEST_F(Ranges, ASingleValueIsARangeOfOneOrNone) {
  EXPECT_TRUE(first.values<int>("pages").empty()) << "a default is no value";
  first.set("pages", 7);
  EXPECT_TRUE(std::ranges::equal(first.values<int>("pages"), std::array{7}));
}

TEST_F(Ranges, ARangeOfTheWrongKindIsRefusedEvenWhereItIsEmpty) {
  EXPECT_EQ(errorOf<ModelError>([&] { (void)first.values<std::string>("years"); }),
            "/library/books[0].years: a text does not fit a property of type Integer");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)first.values<int>("volumes"); }),
            "/library/books[0].volumes: an integer does not fit a property of type library.Book");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)first.children("authors"); }),
            "/library/books[0].authors: a child does not fit a property of type library.Author");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)first.references("volumes"); }),
            "/library/books[0].volumes: a reference does not fit a property of type library.Book");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)first.values<int>("wings"); }),
            "/library/books[0]: type library.Book has no property \"wings\"");
}

TEST_F(Ranges, ChildrenOfAPropertyIncludeDatatypeValues) {
  EXPECT_EQ(names(library.children("books")), "first second ");
  first.create("chapters").set("first", 3);
  ASSERT_EQ(first.children("chapters").size(), 1u);
  EXPECT_EQ(first.children("chapters")[0].get<int>("first"), 3);
  EXPECT_TRUE(library.children("treasure").empty());
}

TEST_F(Ranges, AllChildrenComeInTheOrderOfTheProperties) {
  first.create("chapters");
  named(library.create("treasure"), "treasure");
  EXPECT_EQ(names(library.children()), "first second author treasure ");
  EXPECT_EQ(names(first.children()), "volume ");
  EXPECT_TRUE(volume.children().empty());
  EXPECT_TRUE(std::ranges::equal(library.children(), library.getChildren()));
}

TEST_F(Ranges, ReferencesLeaveOutWhatIsNotInTheModel) {
  const UnresolvedReference missing{"library.Book", "a", "b", {}};
  author.putUnresolved("books", missing);
  author.putReference("books", second);
  author.putUnresolved("books", missing);
  author.putReference("books", first);
  author.putUnresolved("books", missing);
  EXPECT_EQ(author.size("books"), 5u);
  EXPECT_EQ(names(author.references("books")), "second first ");
  EXPECT_EQ(std::ranges::distance(author.references("books")), 2);
  EXPECT_TRUE(first.references("sequel").empty());
  first.set("sequel", second);
  EXPECT_EQ(names(first.references("sequel")), "second ");
}

TEST_F(Ranges, DescendantsComeInDocumentOrderWithoutTheElementItself) {
  library.set("name", "library");
  EXPECT_EQ(names(library.descendants()), "first volume second author ");
  EXPECT_EQ(names(first.descendants()), "volume ");
  EXPECT_TRUE(second.descendants().empty());
  std::vector<std::size_t> depths;
  const auto below = library.descendants();
  for (auto it = below.begin(); it != below.end(); ++it) depths.push_back(it.getDepth());
  EXPECT_EQ(depths, (std::vector<std::size_t>{1, 2, 1, 1}));
}

TEST_F(Ranges, AWalkOverAModelGoesThroughAllRoots) {
  library.set("name", "library");
  named(model.createRoot("library.Book"), "loose");
  EXPECT_EQ(names(model.elements()), "library first volume second author loose ");
  EXPECT_EQ(names(fixed.roots()), "library loose ");
  EXPECT_EQ(model.roots()[1].get<std::string>("name"), "loose");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)model.roots()[2]; }), "the model has no root 2, only 2");
  EXPECT_TRUE(Model(*registry).elements().empty());
}

TEST_F(Ranges, ElementsOfAClassIncludeThoseOfClassesThatInheritFromIt) {
  library.set("name", "library");
  named(model.createRoot("library.Book"), "loose");
  EXPECT_EQ(names(model.elements("library.Book")), "first volume second loose ");
  EXPECT_EQ(names(fixed.elements("library.Author")), "author ");
  EXPECT_EQ(names(fixed.elements("library.Named")), "library first volume second author loose ");
  EXPECT_EQ(names(model.elements(author.getClass())), "author ");
}

TEST_F(Ranges, ElementsOfNoClassAreRefused) {
  EXPECT_EQ(errorOf<ModelError>([&] { (void)model.elements("library.Movie"); }),
            "there is no type \"library.Movie\"");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)fixed.elements("library.Span"); }),
            "type library.Span is not a class");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)model.elements(meta::Class()); }),
            "an empty class handle has no elements");
}

TEST_F(Ranges, AnIteratorThatWasCopiedGoesItsOwnWay) {
  const auto all = model.elements("library.Book");
  auto it = all.begin();
  const auto start = it++;
  EXPECT_EQ(*start, first);
  EXPECT_EQ(*it, volume);
  EXPECT_EQ(start, all.begin());
}

TEST_F(Ranges, WhatIsTakenOutMeanwhileIsMissedOrRefusedAndNeverRead) {
  first.add("years", 1);
  first.add("years", 2);
  const auto years = first.values<int>("years");
  first.removeAt("years", 0);
  EXPECT_EQ(errorOf<ModelError>([&] { (void)years[1]; }),
            "/library/books[0].years: has no position 1, only 1 values");
  const auto children = library.children();
  auto it = children.begin();
  model.remove(first);
  EXPECT_EQ(errorOf<ModelError>([&] { (void)(*it).getText("name"); }),
            "the element of type library.Book was removed from its model");
  ++it;
  EXPECT_EQ(*it, author);
}

// clang below 16 refuses the adaptors of this standard library, whatever the range.
#if !defined(__clang__) || __clang_major__ >= 16
TEST_F(Ranges, GoThroughTheAdaptorsOfTheStandardLibrary) {
  first.set("pages", 700);
  second.set("pages", 10);
  const auto isThick = [](ConstElement book) { return book.get<int>("pages") > 500; };
  const auto nameOf = [](ConstElement book) { return book.get<std::string_view>("name"); };
  std::vector<std::string_view> thick;
  for (const auto name :
       model.elements("library.Book") | std::views::filter(isThick) | std::views::transform(nameOf))
    thick.push_back(name);
  EXPECT_EQ(thick, std::vector<std::string_view>{"first"});
  const auto backwards = library.children("books") | std::views::reverse;
  EXPECT_EQ(*backwards.begin(), second);
  EXPECT_EQ(std::ranges::distance(library.descendants() | std::views::take(2)), 2);
}
#endif

}  // namespace
}  // namespace kr::zero
