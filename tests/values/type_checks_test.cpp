// Which type is which, and what the checks let pass.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kr/zero/io/Errors.h"
#include "values/TypeChecks.h"
#include "values/TypeCode.h"
#include "values/ValuesModel.h"

namespace kr::zero::io::values {

namespace {

using test::single;
using test::typeNamed;
using testing::ElementsAre;

template <class Row>
class EveryRow : public testing::Test {};
using CheckedRows = testing::Types<Integer8, UInteger8, Integer16, UInteger16, Integer, UnlimitedNatural,
                                   Integer64, UInteger64, Real, Boolean, String, StdString, DateTime, UUID,
                                   JsonValue, StringToStringMap, ZoArray>;
TYPED_TEST_SUITE(EveryRow, CheckedRows);

const std::vector<std::string>& standardTypeNames() {
  static const std::vector<std::string> names = {
      "Boolean",   "Integer8",          "UInteger8", "Integer16", "UInteger16", "Integer", "UnlimitedNatural",
      "Integer64", "UInteger64",        "Real",      "String",    "StdString",  "UUID",    "DateTime",
      "JsonValue", "StringToStringMap", "ZoArray"};
  return names;
}

ValueMeta with(std::string_view type, ValueFlags flags) { return {typeNamed(type), flags}; }

// The arguments of the refusal that `check` raises; fails where it raises none.
template <class Check>
std::vector<resource_core::MsgArgument> refusalOf(const Check& check) {
  try {
    check();
  } catch (const Error<kr0::messages::CannotCastIncompatibleTypes>& e) {
    EXPECT_EQ(e.GetMsgID().getFullIdentifier(), "kr0:messages:CannotCastIncompatibleTypes");
    return e.GetMsgID().getArguments();
  }
  ADD_FAILURE() << "nothing was refused";
  return {};
}

}  // namespace

TYPED_TEST(EveryRow, IsTheStandardTypeOfItsNameAndNoOther) {
  for (const std::string& name : standardTypeNames())
    EXPECT_EQ(isStandardType<TypeParam>(typeNamed(name)), toUstring(name) == TypeParam::name) << name;
}

TYPED_TEST(EveryRow, IsNoTypeOfOnesOwn) {
  for (const char* name : {"v.Kind", "v.Code", "v.Integer", "v.Pair"})
    EXPECT_FALSE(isStandardType<TypeParam>(typeNamed(name))) << name;
  EXPECT_FALSE(isStandardType<TypeParam>(meta::Type()));
}

TYPED_TEST(EveryRow, RequiresASingleValueOfItsType) {
  const std::string name = toUtf8(TypeParam::name);
  EXPECT_NO_THROW(requireStandardType<TypeParam>(single(name)));
  EXPECT_THROW(requireStandardType<TypeParam>(with(name, ValueFlags::empty)),
               Error<kr0::messages::CannotCastIncompatibleTypes>);
  EXPECT_THROW(requireStandardType<TypeParam>(with(name, ValueFlags::collection)),
               Error<kr0::messages::CannotCastIncompatibleTypes>);
}

TYPED_TEST(EveryRow, RefusesOtherStandardTypesByTheirName) {
  for (const std::string& name : standardTypeNames()) {
    if (toUstring(name) == TypeParam::name) continue;
    EXPECT_THAT(refusalOf([&] { requireStandardType<TypeParam>(single(name)); }),
                ElementsAre(resource_core::MsgArgument(toUstring(name))));
  }
}

TYPED_TEST(EveryRow, TakesEnumerationsWhereItIsAnInteger) {
  const bool isInteger =
      std::is_integral_v<typename TypeParam::Number> && !std::is_same_v<TypeParam, Boolean>;
  const auto check = [] { requireStandardType<TypeParam>(single("v.Kind")); };
  if (isInteger)
    EXPECT_NO_THROW(check());
  else
    EXPECT_THAT(refusalOf(check), ElementsAre(resource_core::MsgArgument(u"v.Kind")));
}

TYPED_TEST(EveryRow, TakesNoEnumerationThatIsNotASingleValue) {
  for (const ValueFlags flags : {ValueFlags::empty, ValueFlags::collection})
    EXPECT_THAT(refusalOf([&] { requireStandardType<TypeParam>(with("v.Kind", flags)); }),
                ElementsAre(resource_core::MsgArgument(u"v.Kind")));
}

TYPED_TEST(EveryRow, AsAnEntryMayBeThereOrNot) {
  const std::string name = toUtf8(TypeParam::name);
  EXPECT_NO_THROW(requireEntryStandardType<TypeParam>(with(name, ValueFlags::single)));
  EXPECT_NO_THROW(requireEntryStandardType<TypeParam>(with(name, ValueFlags::empty)));
  EXPECT_THAT(refusalOf([&] { requireEntryStandardType<TypeParam>(with(name, ValueFlags::collection)); }),
              ElementsAre(resource_core::MsgArgument(ustring(TypeParam::name))));
}

TYPED_TEST(EveryRow, AsAnEntryTakesNoEnumeration) {
  EXPECT_THAT(refusalOf([] { requireEntryStandardType<TypeParam>(single("v.Kind")); }),
              ElementsAre(resource_core::MsgArgument(u"v.Kind")));
}

TEST(TypeChecks, AValueWithoutATypeIsRefusedWithAnEmptyName) {
  EXPECT_THAT(refusalOf([] { requireStandardType<Integer>(ValueMeta(meta::Type(), ValueFlags::empty)); }),
              ElementsAre(resource_core::MsgArgument(ustring())));
}

TEST(TypeCode, TellsHowTheValuesOfATypeAreCarried) {
  const std::vector<std::pair<const char*, int>> codes = {{"v.Kind", 26},     {"v.Pair", 1},
                                                          {"Boolean", 16},    {"Integer8", 21},
                                                          {"Integer16", 22},  {"Integer", 23},
                                                          {"Integer64", 24},  {"UInteger8", 17},
                                                          {"UInteger16", 18}, {"UnlimitedNatural", 19},
                                                          {"UInteger64", 20}, {"Real", 25},
                                                          {"String", 2},      {"StdString", 2},
                                                          {"UUID", 2},        {"JsonValue", 2},
                                                          {"DateTime", 2},    {"StringToStringMap", 2},
                                                          {"ZoArray", 2},     {"v.Code", 3},
                                                          {"v.Integer", 3}};
  for (const auto& [name, code] : codes)
    EXPECT_EQ(static_cast<int>(typeCodeOf(typeNamed(name))), code) << name;
}

TEST(TypeCode, TextsAreTheTwoCodesOfPrimitivesWithoutAFixedWidth) {
  for (int code = 0; code <= 30; ++code)
    EXPECT_EQ(isCarriedAsText(static_cast<TypeCode>(code)), code == 2 || code == 3) << code;
}

}  // namespace kr::zero::io::values
