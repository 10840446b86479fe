#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "framework/io/LibraryModel.h"

namespace kr::zero {
namespace {

using test::errorOf;

enum class Genre : std::uint8_t { novel = 0, poetry = 5 };
enum class Wide : std::int64_t {};
enum Plain { kPlain };

template <class T>
concept CanBeSet = requires(Element element, T value) {
  element.set("name", value);
};
template <class T>
concept CanBeRead = requires(ConstElement element) {
  element.get<T>("name");
};

class TypedValues : public ::testing::Test, protected test::LibraryFixture {
 protected:
  Element book = model.createRoot("library.Book");
  Element author = model.createRoot("library.Author");
};

TEST_F(TypedValues, WhatIsSetIsReadAsTheSameType) {
  book.set("lent", true);
  book.set("pages", short{300});
  book.set("copies", std::numeric_limits<std::uint64_t>::max());
  book.set("weight", 0.5F);
  book.set("name", std::string("Moby Dick"));
  book.set("isbn", std::string_view("3-16"));
  EXPECT_TRUE(book.get<bool>("lent"));
  EXPECT_EQ(book.get<short>("pages"), 300);
  EXPECT_EQ(book.get<unsigned long long>("copies"), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(book.get<float>("weight"), 0.5F);
  EXPECT_EQ(book.get<double>("weight"), 0.5);
  EXPECT_EQ(book.get<std::string>("name"), "Moby Dick");
  EXPECT_EQ(book.get<std::string_view>("isbn"), "3-16");
}

TEST_F(TypedValues, ACollectionIsReadByPosition) {
  book.add("years", 1851);
  book.add("years", 1956L);
  book.add("tags", "whale");
  EXPECT_EQ(book.get<int>("years", 1), 1956);
  EXPECT_EQ(book.get<std::string>("tags", 0), "whale");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)book.get<int>("years", 2); }),
            "/book[0].years: has no position 2, only 2 values");
}

TEST_F(TypedValues, WhatIsUnsetReadsAsItsDefault) {
  EXPECT_EQ(book.get<int>("pages"), 100);
  EXPECT_EQ(book.get<Genre>("genre"), Genre::poetry);
  EXPECT_EQ(book.get<double>("weight"), 0.0);
  EXPECT_EQ(book.get<std::string>("name"), "");
  EXPECT_EQ(book.get<Uuid>("key"), Uuid{});
  EXPECT_EQ(book.get<DateTime>("printed"), DateTime{});
  EXPECT_FALSE(book.get<Element>("sequel"));
}

TEST_F(TypedValues, AnIntegerOutOfTheTypesRangeIsRefused) {
  book.set("pages", 300);
  EXPECT_EQ(errorOf<ModelError>([&] { (void)book.get<std::int8_t>("pages"); }),
            "/book[0].pages: the number 300 is not between -128 and 127, as asked for");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)book.get<std::uint8_t>("pages"); }),
            "/book[0].pages: the number 300 is greater than 255, the most that was asked for");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)book.get<std::optional<std::uint8_t>>("pages"); }),
            "/book[0].pages: the number 300 is greater than 255, the most that was asked for");
  book.set("pages", -1);
  EXPECT_EQ(book.get<std::int8_t>("pages"), -1);
  EXPECT_EQ(errorOf<ModelError>([&] { (void)book.get<unsigned>("pages"); }),
            "/book[0].pages: the number -1 is negative");
}

TEST_F(TypedValues, ARealBeyondAFloatIsRefusedAndInfinityIsNot) {
  book.set("weight", 1e300);
  EXPECT_EQ(errorOf<ModelError>([&] { (void)book.get<float>("weight"); }),
            "/book[0].weight: the number does not fit the 32 bits that were asked for");
  book.set("weight", std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isinf(book.get<float>("weight")));
}

TEST_F(TypedValues, EnumerationsAreNumbersOrScopedEnumerations) {
  book.set("genre", Genre::novel);
  EXPECT_EQ(book.get<Genre>("genre"), Genre::novel);
  EXPECT_EQ(book.get<int>("genre"), 0);
  book.set("genre", 5);
  EXPECT_EQ(book.get<Genre>("genre"), Genre::poetry);
  book.add("genres", Genre::poetry);
  EXPECT_EQ(book.get<Wide>("genres", 0), Wide{5});
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("genre", Wide{7}); }),
            "/book[0].genre: enumeration library.Genre has no literal with the number 7");
}

TEST_F(TypedValues, UuidsAreTheirBytes) {
  Uuid key{};
  key[0] = 0xAB;
  key[15] = 0x01;
  book.set("key", key);
  EXPECT_EQ(book.get<Uuid>("key"), key);
  EXPECT_EQ(book.getTextForm("key"), "ab000000-0000-0000-0000-000000000001");
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("name", key); }),
            "/book[0].name: a UUID does not fit a property of type String");
}

TEST_F(TypedValues, DatesAndTimesAreTheirParts) {
  book.set("printed", "2010-02-01T05:12:32.125+01:30");
  const auto printed = book.get<DateTime>("printed");
  EXPECT_EQ(printed.year, 2010);
  EXPECT_EQ(printed.nanosecond, 125'000'000u);
  EXPECT_EQ(printed.offsetMinutes, 90);
  Element other = model.createRoot("library.Book");
  other.set("printed", printed);
  EXPECT_EQ(other.getText("printed"), "2010-02-01T05:12:32.125+01:30");
  DateTime wrong = printed;
  wrong.month = 13;
  EXPECT_EQ(errorOf<ModelError>([&] { other.set("printed", wrong); }),
            "/book[2].printed: \"2010-13-01T05:12:32.125+01:30\" is not a DateTime");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)book.get<DateTime>("name"); }),
            "/book[0].name: a date and time does not fit a property of type String");
}

TEST_F(TypedValues, ElementsAreChildrenValuesAndTargets) {
  Element volume = book.create("volumes");
  Element preface = book.create("preface");
  book.set("sequel", volume);
  book.add("authors", author);
  EXPECT_EQ(book.get<Element>("volumes", 0), volume);
  EXPECT_EQ(book.get<ConstElement>("preface"), preface);
  EXPECT_EQ(ConstElement(book).get<ConstElement>("sequel"), volume);
  EXPECT_EQ(book.get<Element>("authors", 0), author);
  static_assert(!CanBeRead<Element>, "a handle that only reads gives none that changes");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)book.get<Element>("name"); }),
            "/book[0].name: a child does not fit a property of type String");
}

TEST_F(TypedValues, AnOptionalTellsWhatIsUnsetOrEmptyFromDefaults) {
  EXPECT_EQ(book.get<std::optional<int>>("pages"), std::nullopt);
  EXPECT_EQ(book.get<std::optional<Genre>>("genre"), std::nullopt);
  EXPECT_EQ(book.get<std::optional<std::string>>("tags"), std::nullopt);
  book.setEmpty("pages");
  EXPECT_EQ(book.get<std::optional<int>>("pages"), std::nullopt);
  book.set("pages", 0);
  EXPECT_EQ(book.get<std::optional<int>>("pages"), 0);
  book.putUnresolved("sequel", {"library.Book", "a", "b", {}});
  EXPECT_EQ(book.get<std::optional<Element>>("sequel"), std::nullopt);
  book.set("sequel", book);
  EXPECT_EQ(book.get<std::optional<Element>>("sequel"), book);
}

TEST_F(TypedValues, SettingNothingMakesEmptyWhatCanBeAndUnsetsTheRest) {
  book.set("pages", std::optional<int>(7));
  EXPECT_EQ(book.get<int>("pages"), 7);
  book.set("pages", std::optional<int>());
  EXPECT_EQ(book.getState("pages"), PropertyState::empty);
  book.set("name", "n");
  book.set("name", std::nullopt);
  EXPECT_EQ(book.getState("name"), PropertyState::unset) << "a required value cannot be empty";
  book.set("sequel", std::optional<Element>(book));
  EXPECT_EQ(book.get<Element>("sequel"), book);
  book.set("sequel", std::optional<Element>());
  EXPECT_EQ(book.getState("sequel"), PropertyState::unset);
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("years", std::optional<int>()); }),
            "/book[0].years: is a collection; add to it instead");
}

TEST_F(TypedValues, NoTypePassesForAnother) {
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("lent", 1); }),
            "/book[0].lent: an integer does not fit a property of type Boolean");
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("pages", true); }),
            "/book[0].pages: a boolean does not fit a property of type Integer16");
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("pages", 1.0F); }),
            "/book[0].pages: a real number does not fit a property of type Integer16");
  EXPECT_EQ(errorOf<ModelError>([&] { book.set("lent", "true"); }),
            "/book[0].lent: a text does not fit a property of type Boolean; use the text form");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)book.get<bool>("pages"); }),
            "/book[0].pages: a boolean does not fit a property of type Integer16");
  EXPECT_EQ(errorOf<ModelError>([&] { (void)book.get<std::string>("pages"); }),
            "/book[0].pages: a text does not fit a property of type Integer16");
  EXPECT_EQ(book.getState("pages"), PropertyState::unset);
}

TEST_F(TypedValues, TypesWhoseMeaningCannotBeToldAreRefusedByTheCompiler) {
  static_assert(!CanBeSet<char> && !CanBeSet<char8_t> && !CanBeSet<char16_t> && !CanBeSet<wchar_t>);
  static_assert(!CanBeSet<std::nullptr_t> && !CanBeSet<int*> && !CanBeSet<long double> && !CanBeSet<Plain>);
  static_assert(!CanBeSet<std::u16string> && !CanBeSet<ConstElement> && !CanBeSet<std::optional<char>>);
  static_assert(!CanBeRead<char> && !CanBeRead<const char*> && !CanBeRead<long double> && !CanBeRead<Plain>);
  static_assert(!CanBeRead<std::optional<char>> && !CanBeRead<std::optional<std::optional<int>>>);
  static_assert(CanBeSet<signed char> && CanBeSet<unsigned char> && CanBeSet<const char*>);
  static_assert(CanBeRead<signed char> && CanBeRead<std::optional<std::string_view>>);
  book.set("pages", static_cast<signed char>('A'));
  EXPECT_EQ(book.get<int>("pages"), 65);
}

}  // namespace
}  // namespace kr::zero
