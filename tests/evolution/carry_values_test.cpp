// What becomes of single values when the type or the bounds of their property change.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "evolution/CarryTesting.h"

namespace kr::zero::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

void addEnumeration(meta::MetaModelBuilder& package) {
  package.enumeration("Colour").literal("red", 0).literal("blue", 1);
}

/// A class whose one property "value" is of one type before and of another now.
struct Retyped : Versions {
  Retyped(const std::string& typeBefore, const std::string& typeNow)
      : Versions([=](auto& package) { define(package, typeBefore); },
                 [=](auto& package) { define(package, typeNow); }) {}
  static void define(meta::MetaModelBuilder& package, const std::string& type) {
    addEnumeration(package);
    package.primitive("Mail");
    package.classType("Thing").property("value", type);
  }
};

/// What a value, given as text, is now; "lost" where it is left out.
std::string carriedText(const std::string& typeBefore, const std::string& text, const std::string& typeNow) {
  const Retyped versions(typeBefore, typeNow);
  Model model(versions.before);
  model.createRoot("shelf.Thing").setTextForm("value", text);
  const CarryOverResult result = versions.carry(model, allowing());
  const ConstElement thing = rootsOf(result)[0];
  EXPECT_EQ(result.report.isLossless(), thing.isSet("value"));
  return thing.isSet("value") ? thing.getTextForm("value") : "lost";
}

}  // namespace

TEST(CarryValues, AWiderIntegerKeepsEveryNumber) {
  EXPECT_EQ(carriedText("Integer8", "-128", "Integer16"), "-128");
  EXPECT_EQ(carriedText("UInteger16", "65535", "Integer"), "65535");
  EXPECT_EQ(carriedText("Integer", "-2147483648", "Integer64"), "-2147483648");
  EXPECT_EQ(carriedText("UnlimitedNatural", "4294967295", "UInteger64"), "4294967295");
}

TEST(CarryValues, ANarrowerIntegerKeepsTheNumbersThatItHas) {
  EXPECT_EQ(carriedText("Integer64", "127", "Integer8"), "127");
  EXPECT_EQ(carriedText("Integer64", "128", "Integer8"), "lost");
  EXPECT_EQ(carriedText("Integer64", "-128", "Integer8"), "-128");
  EXPECT_EQ(carriedText("Integer64", "-129", "Integer8"), "lost");
  EXPECT_EQ(carriedText("Integer", "-1", "UInteger64"), "lost");
  EXPECT_EQ(carriedText("Integer", "255", "UInteger8"), "255");
  EXPECT_EQ(carriedText("Integer", "256", "UInteger8"), "lost");
  EXPECT_EQ(carriedText("UInteger64", "9223372036854775807", "Integer64"), "9223372036854775807");
  EXPECT_EQ(carriedText("UInteger64", "9223372036854775808", "Integer64"), "lost");
}

TEST(CarryValues, AnIntegerBecomesTheVeryRealOrNone) {
  EXPECT_EQ(carriedText("Integer", "2147483647", "Real"), "2147483647.0");
  EXPECT_EQ(carriedText("Integer64", "9007199254740992", "Real"), "9007199254740992.0");
  EXPECT_EQ(carriedText("Integer64", "9007199254740993", "Real"), "lost");
  EXPECT_EQ(carriedText("Integer64", "9223372036854775807", "Real"), "lost");
  EXPECT_EQ(carriedText("Integer64", "-9223372036854775808", "Real"), "-9223372036854775808.0");
  EXPECT_EQ(carriedText("UInteger64", "18446744073709551615", "Real"), "lost");
  EXPECT_EQ(carriedText("UInteger64", "9223372036854775808", "Real"), "9223372036854775808.0");
}

TEST(CarryValues, ARealBecomesTheVeryIntegerOrNone) {
  EXPECT_EQ(carriedText("Real", "42", "Integer8"), "42");
  EXPECT_EQ(carriedText("Real", "42.5", "Integer8"), "lost");
  EXPECT_EQ(carriedText("Real", "-0", "Integer8"), "lost");
  EXPECT_EQ(carriedText("Real", "INF", "Integer64"), "lost");
  EXPECT_EQ(carriedText("Real", "NaN", "Integer64"), "lost");
  EXPECT_EQ(carriedText("Real", "9223372036854775808", "Integer64"), "lost");
  EXPECT_EQ(carriedText("Real", "9223372036854775808", "UInteger64"), "9223372036854775808");
  EXPECT_EQ(carriedText("Real", "18446744073709551616", "UInteger64"), "lost");
}

TEST(CarryValues, ARealKeepsEveryBit) {
  const Retyped versions("Real", "Real");
  Model model(versions.before);
  const std::vector<double> values = {-0.0, 0.1, std::numeric_limits<double>::denorm_min(),
                                      std::bit_cast<double>(std::uint64_t{0x7FF8000000001234})};
  for (const double value : values) model.createRoot("shelf.Thing").set("value", value);
  const CarryOverResult result = versions.carry(model);
  for (std::size_t i = 0; i < values.size(); ++i)
    EXPECT_EQ(std::bit_cast<std::uint64_t>(rootsOf(result)[i].getReal("value")),
              std::bit_cast<std::uint64_t>(values[i]));
}

TEST(CarryValues, ABooleanIsNoNumber) {
  EXPECT_EQ(carriedText("Boolean", "true", "Boolean"), "true");
  EXPECT_EQ(carriedText("Boolean", "true", "Integer"), "lost");
  EXPECT_EQ(carriedText("Integer", "1", "Boolean"), "lost");
}

TEST(CarryValues, TextsNumbersAndLiteralsDoNotBecomeEachOther) {
  EXPECT_EQ(carriedText("String", "42", "Integer"), "lost");
  EXPECT_EQ(carriedText("Integer", "42", "String"), "lost");
  EXPECT_EQ(carriedText("shelf.Colour", "blue", "Integer"), "lost");
  EXPECT_EQ(carriedText("shelf.Colour", "blue", "String"), "lost");
}

TEST(CarryValues, ATextStaysTheSameTextInAnotherTypeOfTexts) {
  EXPECT_EQ(carriedText("String", "a@b.c", "shelf.Mail"), "a@b.c");
  EXPECT_EQ(carriedText("shelf.Mail", "a@b.c", "StdString"), "a@b.c");
  EXPECT_EQ(carriedText("DateTime", "2026-11-22T10:00Z", "String"), "2026-11-22T10:00Z");
}

TEST(CarryValues, ATextBecomesADateTimeOrUuidWhereItIsOne) {
  EXPECT_EQ(carriedText("String", "2026-11-22", "DateTime"), "2026-11-22");
  EXPECT_EQ(carriedText("String", "yesterday", "DateTime"), "lost");
  const std::string uuid = "01234567-89ab-cdef-0123-456789abcdef";
  EXPECT_EQ(carriedText("String", uuid, "UUID"), uuid);
  EXPECT_EQ(carriedText("UUID", uuid, "String"), uuid);
  EXPECT_EQ(carriedText("UUID", uuid, "UUID"), uuid);
  EXPECT_EQ(carriedText("UUID", uuid, "DateTime"), "lost");
  EXPECT_EQ(carriedText("String", "01234567-89AB-cdef-0123-456789abcdef", "UUID"), "lost");
}

TEST(CarryValues, LiteralsGoByNameAndNotByNumber) {
  const auto define = [](std::vector<const char*> names) {
    return [=](meta::MetaModelBuilder& package) {
      auto& colour = package.enumeration("Colour");
      for (std::size_t i = 0; i < names.size(); ++i) colour.literal(names[i], static_cast<std::int32_t>(i));
      package.classType("Thing").property("value", "Colour");
    };
  };
  const Versions versions(define({"red", "blue", "green"}), define({"green", "red"}));
  Model model(versions.before);
  for (const char* name : {"red", "blue", "green", "blue"})
    model.createRoot("shelf.Thing").setTextForm("value", name);
  EXPECT_THAT(lossesOf(versions, model),
              ElementsAre("shelf.Thing.value: 2 values \"blue\" left out, shelf.Colour has no such literal "
                          "(/thing[1], /thing[3])"));
  const CarryOverResult result = versions.carry(model, allowing());
  EXPECT_EQ(rootsOf(result)[0].getInteger("value"), 1);
  EXPECT_FALSE(rootsOf(result)[1].isSet("value"));
  EXPECT_EQ(rootsOf(result)[2].getInteger("value"), 0);
}

TEST(CarryValues, OfLiteralsThatShareANumberAnyThatIsThereWillDo) {
  const Versions versions(
      [](auto& package) {
        package.enumeration("Colour").literal("blue", 7).literal("azure", 7);
        package.classType("Thing").property("value", "Colour");
      },
      [](auto& package) {
        package.enumeration("Colour").literal("azure", 3);
        package.classType("Thing").property("value", "Colour");
      });
  Model model(versions.before);
  model.createRoot("shelf.Thing").setInteger("value", 7);
  const CarryOverResult result = versions.carry(model);
  EXPECT_EQ(rootsOf(result)[0].getTextForm("value"), "azure");
}

namespace {

/// A class whose one property "value" has one set of bounds before and another now.
Versions rebounded(const std::string& type, std::pair<std::uint32_t, std::int32_t> before,
                   std::pair<std::uint32_t, std::int32_t> now) {
  const auto define = [=](auto bounds) {
    return [=](meta::MetaModelBuilder& package) {
      addEnumeration(package);
      package.classType("Thing").property("value", type).bounds(bounds.first, bounds.second);
    };
  };
  return Versions(define(before), define(now));
}

}  // namespace

TEST(CarryValues, ASingleValueBecomesTheOnlyOneOfACollection) {
  const Versions versions = rebounded("Integer", {0, 1}, {0, -1});
  Model model(versions.before);
  model.createRoot("shelf.Thing").set("value", 5);
  model.createRoot("shelf.Thing").setEmpty("value");
  model.createRoot("shelf.Thing");
  const CarryOverResult result = versions.carry(model);
  const auto roots = rootsOf(result);
  ASSERT_EQ(roots[0].size("value"), 1u);
  EXPECT_EQ(roots[0].getInteger("value", 0), 5);
  EXPECT_EQ(roots[1].getState("value"), PropertyState::empty);
  EXPECT_EQ(roots[2].getState("value"), PropertyState::unset);
}

TEST(CarryValues, ACollectionOfOneBecomesASingleValue) {
  const Versions versions = rebounded("String", {0, -1}, {0, 1});
  Model model(versions.before);
  model.createRoot("shelf.Thing").add("value", "only");
  model.createRoot("shelf.Thing").setEmpty("value");
  const CarryOverResult result = versions.carry(model);
  EXPECT_EQ(rootsOf(result)[0].getText("value"), "only");
  EXPECT_EQ(rootsOf(result)[1].getState("value"), PropertyState::empty);
}

TEST(CarryValues, OfMoreValuesThanOneTheFirstStaysWhereThatIsAllowed) {
  const Versions versions = rebounded("Integer", {0, -1}, {0, 1});
  Model model(versions.before);
  Element thing = model.createRoot("shelf.Thing");
  for (const int value : {4, 5, 6}) thing.add("value", value);
  EXPECT_THAT(
      lossesOf(versions, model),
      ElementsAre("shelf.Thing.value: 2 values left out, shelf.Thing.value has room for one (/thing)"));
  const CarryOverResult result = versions.carry(model, allowing());
  EXPECT_EQ(rootsOf(result)[0].getInteger("value"), 4);
}

TEST(CarryValues, WhatCannotBeEmptyLosesThat) {
  const Versions versions = rebounded("Integer", {0, 1}, {1, 1});
  Model model(versions.before);
  model.createRoot("shelf.Thing").setEmpty("value");
  EXPECT_THAT(lossesOf(versions, model),
              ElementsAre("shelf.Thing.value: 1 value explicitly empty, and shelf.Thing.value must have a "
                          "value (/thing)"));
}

TEST(CarryValues, NoMoreThanTheUpperBoundIsNoticedAndNotCut) {
  const Versions versions = rebounded("Integer", {0, 5}, {0, 2});
  Model model(versions.before);
  Element thing = model.createRoot("shelf.Thing");
  for (const int value : {4, 5, 6}) thing.add("value", value);
  const CarryOverResult result = versions.carry(model);
  EXPECT_EQ(rootsOf(result)[0].size("value"), 3u);
  EXPECT_THAT(sentencesOf(result.report.notices),
              ElementsAre("shelf.Thing.value: 1 element with more than 2 values (/thing)"));
}

TEST(CarryValues, WhatIsNewlyRequiredAndUnsetIsNoticed) {
  const Versions versions(
      [](auto& package) { package.classType("Thing").property("old", "String").required(); },
      [](auto& package) {
        package.classType("Thing").property("old", "String").required();
        package.classType("Other");
      });
  const Versions stricter(
      [](auto& package) { package.classType("Thing").property("value", "String"); },
      [](auto& package) { package.classType("Thing").property("value", "String").required(); });
  Model required(versions.before), optional(stricter.before);
  required.createRoot("shelf.Thing");
  optional.createRoot("shelf.Thing");
  EXPECT_THAT(versions.carry(required).report.notices, IsEmpty());
  EXPECT_THAT(sentencesOf(stricter.carry(optional).report.notices),
              ElementsAre("shelf.Thing.value: 1 element without the required value (/thing)"));
}

TEST(CarryValues, AnotherDefaultForWhatIsUnsetIsNoticed) {
  const auto define = [](const char* text) {
    return [=](meta::MetaModelBuilder& package) {
      package.classType("Thing").property("value", "Integer").defaultText(text);
    };
  };
  const Versions versions(define("1"), define("2"));
  Model model(versions.before);
  model.createRoot("shelf.Thing");
  EXPECT_THAT(sentencesOf(versions.carry(model).report.notices),
              ElementsAre("shelf.Thing.value: 1 value unset, and the default is \"2\", not \"1\""));
  model.createRoot("shelf.Thing").set("value", 1);
  EXPECT_THAT(sentencesOf(versions.carry(model).report.notices),
              ElementsAre("shelf.Thing.value: 1 value unset, and the default is \"2\", not \"1\""));
}

}  // namespace kr::zero::test
