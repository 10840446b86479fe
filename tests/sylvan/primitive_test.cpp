// Which values a tree event's primitive takes, and of which kind it then is.
#include <gtest/gtest.h>

#include <limits>
#include <type_traits>
#include <vector>

#include "modeling/sylvan/SylvanPrimitive.h"

namespace modeling::sylvan {
namespace {

template <class... Types>
constexpr bool takesAll = (std::is_constructible_v<SylvanPrimitive, Types> && ...);
template <class... Types>
constexpr bool takesAny = (std::is_constructible_v<SylvanPrimitive, Types> || ...);

template <class Integer>
class PrimitiveOf : public testing::Test {};
using Integers = testing::Types<signed char, short, int, long, long long, unsigned char, unsigned short,
                                unsigned, unsigned long, unsigned long long>;
TYPED_TEST_SUITE(PrimitiveOf, Integers);

TYPED_TEST(PrimitiveOf, AnIntegerIsOfTheKindOfItsSign) {
  using Kind = std::conditional_t<std::is_signed_v<TypeParam>, std::int64_t, std::uint64_t>;
  for (const TypeParam number :
       {std::numeric_limits<TypeParam>::min(), std::numeric_limits<TypeParam>::max()}) {
    const SylvanPrimitive primitive = number;
    ASSERT_TRUE(std::holds_alternative<Kind>(primitive));
    EXPECT_EQ(std::get<Kind>(primitive), static_cast<Kind>(number));
  }
}

TYPED_TEST(PrimitiveOf, AnIntegerCanBeAssigned) {
  SylvanPrimitive primitive("text");
  primitive = TypeParam{5};
  EXPECT_EQ(primitive, SylvanPrimitive(TypeParam{5}));
  EXPECT_EQ(primitive.index(), std::is_signed_v<TypeParam> ? 4u : 3u);
}

TEST(Primitives, TakeNoLetterAsANumber) {
  EXPECT_FALSE((takesAny<char, wchar_t, char8_t, char16_t, char32_t>));
}

TEST(Primitives, TakeNothingAsABooleanThatOnlyConvertsToOne) {
  EXPECT_FALSE((takesAny<void*, const int*, std::true_type, std::vector<bool>::reference>));
  EXPECT_EQ(SylvanPrimitive(true).index(), 0u);
}

TEST(Primitives, TakeNoRealThatADoubleCannotHold) {
  EXPECT_TRUE((takesAll<float, double>));
  EXPECT_FALSE((takesAny<long double>));
  EXPECT_EQ(SylvanPrimitive(0.5f), SylvanPrimitive(0.5));
}

TEST(Primitives, TakeTextsOfEverySortAsStrings) {
  const std::string string = "text";
  for (const SylvanPrimitive& primitive :
       {SylvanPrimitive(string), SylvanPrimitive(std::string_view(string)), SylvanPrimitive("text")}) {
    ASSERT_EQ(primitive.index(), 5u);
    EXPECT_EQ(std::get<std::string>(primitive), "text");
  }
}

TEST(Primitives, AreFalseAtFirst) { EXPECT_EQ(SylvanPrimitive(), SylvanPrimitive(false)); }

}  // namespace
}  // namespace modeling::sylvan
