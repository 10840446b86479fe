// Values of a collection in another order, and many of them taken out at once.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "framework/io/LibraryModel.h"

namespace kr::zero {
namespace {

using test::errorOf;
using Order = std::vector<std::size_t>;

class CollectionOrder : public ::testing::Test, protected test::LibraryFixture {
 protected:
  CollectionOrder() {
    for (const char* tag : {"a", "b", "c", "d"}) book.add("tags", tag);
    for (int i = 0; i < 4; ++i) library.create("books").set("name", std::to_string(i));
  }
  std::string tags() const {
    std::string all;
    for (const std::string_view tag : book.values<std::string_view>("tags")) all += tag;
    return all;
  }
  std::string books() const {
    std::string all;
    for (const Element one : library.children("books")) all += one.getText("name");
    return all;
  }

  Element library = model.createRoot("library.Library");
  Element book = model.createRoot("library.Book");
};

TEST_F(CollectionOrder, IsAsTheOldPositionsSay) {
  book.arrange("tags", Order{2, 0, 3, 1});
  EXPECT_EQ(tags(), "cadb");
  library.arrange("books", Order{3, 2, 1, 0});
  EXPECT_EQ(books(), "3210");
}

TEST_F(CollectionOrder, IsTheOrderOfTheDocument) {
  library.arrange("books", Order{1, 0, 2, 3});
  book.set("sequel", library.getElement("books", 0));
  std::string walked;
  for (const Element element : model.elements("library.Book")) walked += element.getText("name");
  EXPECT_EQ(walked, "1023");
  EXPECT_EQ(book.getReference("sequel").getText("name"), "1");
}

TEST_F(CollectionOrder, NamesEachPositionOnce) {
  EXPECT_EQ(errorOf<ModelError>([&] {
              book.arrange("tags", Order{0, 1, 2});
            }),
            "/book[1].tags: holds 4 values; an order of 3 was given");
  EXPECT_EQ(errorOf<ModelError>([&] {
              book.arrange("tags", Order{0, 1, 2, 4});
            }),
            "/book[1].tags: has no position 4, only 4 values");
  EXPECT_EQ(errorOf<ModelError>([&] {
              book.arrange("tags", Order{0, 1, 2, 1});
            }),
            "/book[1].tags: an order names position 1 twice");
  EXPECT_EQ(errorOf<ModelError>([&] { book.arrange("name", Order{}); }),
            "/book[1].name: holds one value; set it instead");
  EXPECT_EQ(tags(), "abcd");
}

TEST_F(CollectionOrder, OfNothingIsNothing) {
  Element empty = library.getElement("books", 0);
  empty.arrange("tags", Order{});
  EXPECT_EQ(empty.getState("tags"), PropertyState::unset);
}

TEST_F(CollectionOrder, LosesARangeOfValues) {
  book.removeRange("tags", 1, 2);
  EXPECT_EQ(tags(), "ad");
  book.removeRange("tags", 2, 0);
  EXPECT_EQ(tags(), "ad");
  book.removeRange("tags", 0, 2);
  EXPECT_EQ(book.getState("tags"), PropertyState::empty);
}

TEST_F(CollectionOrder, LosesARangeOfChildrenWithWhatRefersToThem) {
  const Element gone = library.getElement("books", 2);
  book.set("sequel", gone);
  library.removeRange("books", 1, 2);
  EXPECT_EQ(books(), "03");
  EXPECT_TRUE(gone.isRemoved());
  EXPECT_EQ(book.getState("sequel"), PropertyState::unset);
  library.removeRange("books", 0, 2);
  EXPECT_EQ(library.getState("books"), PropertyState::unset);
  EXPECT_EQ(model.size(), 2u);
}

TEST_F(CollectionOrder, HasNoRangeBehindItsEnd) {
  EXPECT_EQ(errorOf<ModelError>([&] { book.removeRange("tags", 3, 2); }),
            "/book[1].tags: has no position 4, only 4 values");
  EXPECT_EQ(errorOf<ModelError>([&] { book.removeRange("tags", 5, 0); }),
            "/book[1].tags: has no position 5, only 4 values");
  EXPECT_EQ(errorOf<ModelError>([&] { book.removeRange("tags", 1, static_cast<std::size_t>(-1)); }),
            "/book[1].tags: has no position 4, only 4 values");
  EXPECT_EQ(errorOf<ModelError>([&] { book.removeRange("name", 0, 1); }),
            "/book[1].name: holds one value; set it instead");
  EXPECT_EQ(tags(), "abcd");
}

}  // namespace
}  // namespace kr::zero
