#include <gtest/gtest.h>

#include <cmath>

#include "framework/io/LibraryModel.h"

namespace kr::zero {
namespace {

using test::errorOf;

class ModelValues : public ::testing::Test, protected test::LibraryFixture {
 protected:
  Element library = model.createRoot("library.Library");
  Element book = library.create("books");
};

TEST_F(ModelValues, APropertyStartsUnsetAndGivesItsDefault) {
  EXPECT_EQ(book.getState("pages"), PropertyState::unset);
  EXPECT_EQ(book.getInteger("pages"), 100);
  EXPECT_EQ(book.getInteger("genre"), 5);
  EXPECT_EQ(book.getText("name"), "");
  EXPECT_EQ(book.getReal("weight"), 0.0);
}

TEST_F(ModelValues, AnExplicitlyEmptyValueIsNeitherUnsetNorAValue) {
  book.setEmpty("pages");
  EXPECT_EQ(book.getState("pages"), PropertyState::empty);
  EXPECT_TRUE(book.isSet("pages"));
  EXPECT_EQ(book.size("pages"), 0u);
  book.set("pages", 3);
  EXPECT_EQ(book.getState("pages"), PropertyState::value);
  book.unset("pages");
  EXPECT_EQ(book.getState("pages"), PropertyState::unset);
}

TEST_F(ModelValues, OnlyOptionalPrimitivesAndPlainCollectionsCanBeEmpty) {
  EXPECT_EQ(errorOf<ModelError>([&] { book.setEmpty("name"); }),
            "/library/books[0].name: cannot be explicitly empty");
  EXPECT_EQ(errorOf<ModelError>([&] { book.setEmpty("sequel"); }),
            "/library/books[0].sequel: cannot be explicitly empty");
  EXPECT_EQ(errorOf<ModelError>([&] { book.setEmpty("volumes"); }),
            "/library/books[0].volumes: cannot be explicitly empty");
  book.setEmpty("authors");
  EXPECT_EQ(book.getState("authors"), PropertyState::empty);
}

TEST_F(ModelValues, ACollectionThatLosesItsLastValueStaysSet) {
  book.add("tags", "sea");
  book.removeAt("tags", 0);
  EXPECT_EQ(book.getState("tags"), PropertyState::empty);
  book.add("tags", "whale");
  EXPECT_EQ(book.getText("tags", 0), "whale");
}

TEST_F(ModelValues, EveryKindOfValueComesBack) {
  book.set("name", "Moby Dick");
  book.set("isbn", "0-553-21311-3");
  book.set("genre", 0);
  book.set("pages", 635);
  book.set("copies", ~std::uint64_t{0});
  book.set("weight", 1.25);
  book.set("lent", true);
  book.set("key", "123E4567-e89b-12d3-a456-426614174000");
  book.set("printed", "1851-10-18T09:00:00.50+01:00");
  EXPECT_EQ(book.getText("name"), "Moby Dick");
  EXPECT_EQ(book.getText("isbn"), "0-553-21311-3");
  EXPECT_EQ(book.getTextForm("genre"), "novel");
  EXPECT_EQ(book.getInteger("pages"), 635);
  EXPECT_EQ(book.getUnsigned("copies"), ~std::uint64_t{0});
  EXPECT_EQ(book.getReal("weight"), 1.25);
  EXPECT_TRUE(book.getBoolean("lent"));
  EXPECT_EQ(book.getTextForm("key"), "123e4567-e89b-12d3-a456-426614174000");
  EXPECT_EQ(book.getText("printed"), "1851-10-18T09:00:00.50+01:00");
}

TEST_F(ModelValues, ValuesStayWhenOthersAreSetInAnyOrder) {
  for (const char* property : {"printed", "name", "tags", "pages", "isbn"}) {
    if (std::string(property) == "tags")
      book.add(property, "a");
    else
      book.setTextForm(property, std::string(property) == "pages"     ? "7"
                                 : std::string(property) == "printed" ? "2020-02-29"
                                                                      : property);
  }
  EXPECT_EQ(book.getText("name"), "name");
  EXPECT_EQ(book.getText("isbn"), "isbn");
  EXPECT_EQ(book.getInteger("pages"), 7);
  EXPECT_EQ(book.getText("printed"), "2020-02-29");
  EXPECT_EQ(book.getText("tags", 0), "a");
}

TEST_F(ModelValues, AnUnknownPropertyIsNamedWithTheElementAndItsType) {
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("titel", "x"); }),
            "/library/books[0]: type library.Book has no property \"titel\"");
}

TEST_F(ModelValues, AValueOfTheWrongKindIsRefused) {
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("name", 3); }),
            "/library/books[0].name: an integer does not fit a property of type String");
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("lent", "yes"); }),
            "/library/books[0].lent: a text does not fit a property of type Boolean; use the text form");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)book.getReal("pages"); }),
            "/library/books[0].pages: a real number does not fit a property of type Integer16");
}

TEST_F(ModelValues, NumbersOutOfRangeAreRefused) {
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("pages", 32768); }),
            "/library/books[0].pages: the number 32768 is out of the range of Integer16");
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("copies", -1); }),
            "/library/books[0].copies: the negative number -1 does not fit UInteger64");
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("genre", 1); }),
            "/library/books[0].genre: enumeration library.Genre has no literal with the number 1");
  EXPECT_FALSE(book.isSet("pages"));
}

TEST_F(ModelValues, AFailedSetLeavesTheOldValue) {
  book.set("pages", 12);
  EXPECT_THROW(book.set("pages", 99999), ModelError);
  EXPECT_EQ(book.getInteger("pages"), 12);
}

TEST_F(ModelValues, TextsMustBeWellFormed) {
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("name", "\xC0\x80"); }),
            "/library/books[0].name: the text is not well-formed UTF-8");
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("printed", "yesterday"); }),
            "/library/books[0].printed: \"yesterday\" is not a DateTime");
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("key", "123"); }),
            "/library/books[0].key: \"123\" is not a UUID");
}

TEST_F(ModelValues, SingleAndManyAreNotMixedUp) {
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("tags", "x"); }),
            "/library/books[0].tags: is a collection; add to it instead");
  EXPECT_EQ(errorOf<ModelError>([&] { book.add("name", "x"); }),
            "/library/books[0].name: holds one value; set it instead");
  book.add("years", 1851);
  EXPECT_EQ(errorOf<ModelError>([&] { (void)book.getInteger("years", 1); }),
            "/library/books[0].years: has no position 1, only 1 values");
}

TEST_F(ModelValues, ADerivedPropertyHoldsNothing) {
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("age", 3); }),
            "/library/books[0].age: an integer does not fit a property of type Integer");
}

TEST_F(ModelValues, TextFormsOfNumbersHaveOneSign) {
  for (const char* const property : {"pages", "weight"}) {
    book.setTextForm(property, "+7");
    EXPECT_EQ(std::stod(book.getTextForm(property)), 7) << property;
    for (const char* const text : {"+-7", "-+7", "++7", "--7", "+", "-", "+ 7"}) {
      EXPECT_THROW(book.setTextForm(property, text), ModelError) << property << ": " << text;
      EXPECT_EQ(std::stod(book.getTextForm(property)), 7) << property << ": " << text;
    }
  }
}

TEST_F(ModelValues, TextFormsOfRealsReadBackTheSame) {
  for (const double number : {0.1, -0.0, 1e300, 5e-324, 3.0, std::nan(""), HUGE_VAL, -HUGE_VAL}) {
    book.set("weight", number);
    const std::string text = book.getTextForm("weight");
    book.setTextForm("weight", text);
    const double again = book.getReal("weight");
    EXPECT_TRUE(std::isnan(number) ? std::isnan(again)
                                   : number == again && std::signbit(number) == std::signbit(again))
        << text;
  }
}

TEST_F(ModelValues, AnEnumerationTakesLiteralsByNameAndByText) {
  book.setTextForm("genre", "Novel");
  EXPECT_EQ(book.getInteger("genre"), 0);
  book.setTextForm("genre", "verse");  // shares its number with poetry, the first of that number
  EXPECT_EQ(book.getTextForm("genre"), "poetry");
  EXPECT_THROW(book.setTextForm("genre", "drama"), ModelError);
}

TEST_F(ModelValues, MemoryFollowsWhatIsSet) {
  const std::size_t before = model.getMemoryUsed();
  for (int i = 0; i < 10000; ++i) library.create("books").set("pages", 1);
  const double perElement = static_cast<double>(model.getMemoryUsed() - before) / 10000;
  EXPECT_LT(perElement, 110);  // of a class with 21 properties
}

TEST_F(ModelValues, OneLargeElementDoesNotMakeSmallOnesLarge) {
  for (int round = 0; round < 2000; ++round) {
    Element large = library.create("books");
    for (const char* property :
         {"name", "isbn", "printed", "genre", "pages", "copies", "weight", "lent", "key"})
      large.setTextForm(property, std::string(property) == "printed" ? "2001-01-01"
                                  : std::string(property) == "key"   ? "123e4567-e89b-12d3-a456-426614174000"
                                  : std::string(property) == "genre" ? "novel"
                                  : std::string(property) == "lent"  ? "true"
                                                                     : "1");
    library.create("books").set("pages", 1);
  }
  EXPECT_LT(model.getMemoryUsed() / 4000, 300u);
}

}  // namespace
}  // namespace kr::zero
