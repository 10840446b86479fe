// Typed access where a meta model has everything: all types, several supertypes, names that C++ does not
// take.
#include <type_traits>

#include "all.inner.kr0.h"
#include "all.kr0.h"
#include "all.unix_.kr0.h"
#include "cpp/CppTesting.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "other.kr0.h"

namespace kr::zero::test {

namespace all = test_models::all;

namespace {

constexpr Uuid kUuid{0,    0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                     0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};

/// The property of a type by its place among all.
std::string nameAt(meta::StructuredType type, std::size_t slot) {
  return type->getAllProperties().at(slot)->name();
}

}  // namespace

static_assert(sizeof(all::Deeper) == sizeof(Element) && std::is_trivially_copyable_v<all::Deeper>);
static_assert(std::is_convertible_v<all::Bottom, all::Left> &&
              std::is_convertible_v<all::Bottom, all::Right> &&
              std::is_convertible_v<all::Bottom, all::Named>);
static_assert(std::is_convertible_v<all::Deeper, test_models::other::Outsider>);
static_assert(std::is_convertible_v<all::Deeper, all::Mark>);
static_assert(!std::is_convertible_v<all::Extra, all::Right> &&
              !std::is_convertible_v<all::Right, all::Mixed>);
static_assert(std::is_base_of_v<all::Left, all::Bottom>, "the first supertype is the base");

TEST(EveryType, SingleValuesAreTheSameByTypeAndByName) {
  Model model(generatedRegistry());
  const auto values = createRoot<all::Values>(model);
  values.setOneBoolean(true);
  values.setOneInteger8(-128);
  values.setOneUInteger8(255);
  values.setOneInteger16(-32768);
  values.setOneUInteger16(65535);
  values.setOneInteger(-2147483647 - 1);
  values.setOneUnlimitedNatural(4294967295u);
  values.setOneInteger64(INT64_MIN);
  values.setOneUInteger64(UINT64_MAX);
  values.setOneReal(-0.125);
  values.setOneString("caf\xC3\xA9");
  values.setOneStdString("plain");
  values.setOneUUID(kUuid);
  values.setOneDateTime("2024-02-29T12:00:00Z");
  values.setOneJsonValue("{}");
  values.setOneStringToStringMap("a=b");
  values.setOneZoArray("[1]");
  values.setOneKind(all::Kind::lowest);
  values.setOneCode("X1");
  const Element element = values;
  EXPECT_TRUE(element.getBoolean("oneBoolean"));
  EXPECT_EQ(element.getInteger("oneInteger8"), -128);
  EXPECT_EQ(element.getInteger("oneUInteger8"), 255);
  EXPECT_EQ(element.getInteger("oneInteger16"), -32768);
  EXPECT_EQ(element.getInteger("oneUInteger16"), 65535);
  EXPECT_EQ(element.getInteger("oneInteger"), INT32_MIN);
  EXPECT_EQ(element.getInteger("oneUnlimitedNatural"), 4294967295);
  EXPECT_EQ(element.getInteger("oneInteger64"), INT64_MIN);
  EXPECT_EQ(element.getUnsigned("oneUInteger64"), UINT64_MAX);
  EXPECT_EQ(element.getReal("oneReal"), -0.125);
  EXPECT_EQ(element.getText("oneString"), "caf\xC3\xA9");
  EXPECT_EQ(element.getText("oneStdString"), "plain");
  EXPECT_EQ(element.getUuid("oneUUID"), kUuid);
  EXPECT_EQ(element.getText("oneDateTime"), "2024-02-29T12:00:00Z");
  EXPECT_EQ(element.getText("oneJsonValue"), "{}");
  EXPECT_EQ(element.getText("oneStringToStringMap"), "a=b");
  EXPECT_EQ(element.getText("oneZoArray"), "[1]");
  EXPECT_EQ(element.getInteger("oneKind"), INT32_MIN);
  EXPECT_EQ(element.getText("oneCode"), "X1");
  EXPECT_TRUE(values.getOneBoolean());
  EXPECT_EQ(values.getOneInteger8(), -128);
  EXPECT_EQ(values.getOneUInteger8(), 255);
  EXPECT_EQ(values.getOneInteger16(), -32768);
  EXPECT_EQ(values.getOneUInteger16(), 65535);
  EXPECT_EQ(values.getOneInteger(), INT32_MIN);
  EXPECT_EQ(values.getOneUnlimitedNatural(), UINT32_MAX);
  EXPECT_EQ(values.getOneInteger64(), INT64_MIN);
  EXPECT_EQ(values.getOneUInteger64(), UINT64_MAX);
  EXPECT_EQ(values.getOneReal(), -0.125);
  EXPECT_EQ(values.getOneUUID(), kUuid);
  EXPECT_EQ(values.getOneKind(), all::Kind::lowest);
  values.setOneUUID(Uuid{});
  EXPECT_EQ(element.getUuid("oneUUID"), Uuid{});
}

TEST(EveryType, CollectionsAreTheSameByTypeAndByName) {
  Model model(generatedRegistry());
  const auto values = createRoot<all::Values>(model);
  for (const bool truth : {true, false}) values.getManyBoolean().add(truth);
  values.getManyInteger8().add(-1);
  values.getManyUInteger8().add(200);
  values.getManyInteger16().add(-2);
  values.getManyUInteger16().add(60000);
  values.getManyInteger().add(-3);
  values.getManyUnlimitedNatural().add(4000000000u);
  values.getManyInteger64().add(-4);
  values.getManyUInteger64().add(UINT64_MAX);
  for (const double real : {0.5, -1.5}) values.getManyReal().add(real);
  for (const char* text : {"a", "", "c"}) values.getManyString().add(text);
  values.getManyStdString().add("s");
  values.getManyUUID().add(kUuid);
  values.getManyDateTime().add("2024-02-29");
  values.getManyJsonValue().add("1");
  values.getManyStringToStringMap().add("k=v");
  values.getManyZoArray().add("[]");
  for (const all::Kind kind : {all::Kind::two_words, all::Kind::class_}) values.getManyKind().add(kind);
  values.getManyCode().add("C");
  const Element element = values;
  EXPECT_THAT(values.getManyBoolean(), testing::ElementsAre(true, false));
  EXPECT_THAT(values.getManyReal(), testing::ElementsAre(0.5, -1.5));
  EXPECT_THAT(values.getManyString(), testing::ElementsAre("a", "", "c"));
  EXPECT_THAT(values.getManyUUID(), testing::ElementsAre(kUuid));
  EXPECT_THAT(values.getManyKind(), testing::ElementsAre(all::Kind::two_words, all::Kind::class_));
  EXPECT_EQ(values.getManyUInteger64()[0], UINT64_MAX);
  EXPECT_EQ(values.getManyInteger8()[0], -1);
  EXPECT_EQ(values.getManyUInteger8()[0], 200);
  EXPECT_EQ(values.getManyInteger16()[0], -2);
  EXPECT_EQ(values.getManyUInteger16()[0], 60000);
  EXPECT_EQ(values.getManyInteger()[0], -3);
  EXPECT_EQ(values.getManyUnlimitedNatural()[0], 4000000000u);
  EXPECT_EQ(values.getManyInteger64()[0], -4);
  EXPECT_EQ(element.getTextForm("manyKind"), "two words");
  EXPECT_EQ(element.getInteger("manyInteger16"), -2);
  EXPECT_EQ(element.getUuid("manyUUID"), kUuid);
  EXPECT_EQ(element.getText("manyDateTime"), "2024-02-29");
  expectRefused([&] { values.getManyDateTime().add("no date"); }, "manyDateTime", "no date");
  EXPECT_EQ(values.getManyDateTime().size(), 1u);
}

TEST(EveryType, DatatypeValuesAreMadeInPlace) {
  Model model(generatedRegistry());
  const auto values = createRoot<all::Values>(model);
  EXPECT_FALSE(values.getOnePoint());
  const all::Point point = values.createOnePoint();
  point.setX(1.5);
  point.setLabel("here");
  values.getManyPoint().create().setY(-2);
  EXPECT_EQ(values.getOnePoint().getX(), 1.5);
  EXPECT_EQ(values.getManyPoint()[0].getY(), -2);
  EXPECT_EQ(values.element().getElement("onePoint").getText("label"), "here");
  EXPECT_TRUE(is<all::Point>(point));
  EXPECT_FALSE(is<all::Values>(point));
  values.unsetOnePoint();
  expectRefused([&] { static_cast<void>(point.getX()); }, "removed");
}

TEST(Defaults, AreWhatAnUnsetValueReadsAs) {
  Model model(generatedRegistry());
  const auto defaults = createRoot<all::Defaults>(model);
  EXPECT_EQ(defaults.getNumber(), -7);
  EXPECT_EQ(defaults.getReal(), 2.5);
  EXPECT_TRUE(defaults.getTruth());
  EXPECT_EQ(defaults.getText(), "\"quoted\" ?\?/ \xC3\xA9\n");
  EXPECT_EQ(defaults.getKind(), all::Kind::two_words);
  EXPECT_EQ(defaults.getUuid(), kUuid);
  EXPECT_FALSE(defaults.hasNumber());
  defaults.setNumber(0);
  EXPECT_EQ(defaults.getNumber(), 0);
  const auto values = createRoot<all::Values>(model);
  EXPECT_EQ(values.getOneInteger(), 0);
  EXPECT_EQ(values.getOneString(), "");
  EXPECT_EQ(values.getOneUUID(), Uuid{});
}

TEST(Supertypes, PropertiesThatMovedAreFoundThroughEverySupertype) {
  Model model(generatedRegistry());
  const auto deeper = createRoot<all::Deeper>(model);
  // In Right itself it is the second property, here it stands elsewhere.
  const meta::StructuredType type = deeper.element().getType();
  ASSERT_NE(nameAt(type, 1), "rightNumber");
  deeper.setRightNumber(1);
  deeper.setLeftNumber(2);
  deeper.setExtraNumber(3);
  deeper.setMixedNumber(4);
  deeper.setOutsideNumber(5);
  deeper.setName("deep");
  const all::Right right = deeper;
  const all::Left left = deeper;
  const all::Named named = left;
  const test_models::other::Outsider outsider = deeper;
  EXPECT_EQ(right.getRightNumber(), 1);
  EXPECT_EQ(left.getLeftNumber(), 2);
  EXPECT_EQ(outsider.getOutsideNumber(), 5);
  EXPECT_EQ(named.getName(), "deep");
  EXPECT_EQ(right.getName(), "deep");
  right.setRightNumber(10);
  EXPECT_EQ(deeper.getRightNumber(), 10);
  EXPECT_EQ(deeper.element().getInteger("rightNumber"), 10);
  EXPECT_EQ(deeper.element().getInteger("extraNumber"), 3);
  EXPECT_EQ(deeper.element().getInteger("mixedNumber"), 4);
  EXPECT_TRUE(right.hasRightNumber());
  right.unsetRightNumber();
  EXPECT_FALSE(deeper.hasRightNumber());
}

TEST(Supertypes, CastsGoDownEveryWay) {
  Model model(generatedRegistry());
  const all::Right right = createRoot<all::Bottom>(model);
  EXPECT_TRUE(tryAs<all::Left>(right));
  EXPECT_TRUE(tryAs<all::Bottom>(right));
  EXPECT_FALSE(tryAs<all::Mixed>(right));
  EXPECT_TRUE(is<all::Anything>(right)) << "every class conforms to a universal one";
  expectRefused([&] { as<test_models::other::Outsider>(right); }, "all.Bottom", "other.Outsider");
}

TEST(Packages, ThatNeedEachOtherAreUsedTogether) {
  Model model(generatedRegistry());
  const auto returned = createRoot<test_models::other::Returned>(model);
  returned.setRightText("r");
  returned.setKind(all::Kind::NULL_);
  const auto owner = createRoot<all::Owner>(model);
  const auto inside = createRoot<all::inner::Inside>(model);
  inside.setSort(all::inner::Sort::other);
  inside.setInnerName("i");
  owner.getInside().add(inside);
  owner.getOutsiders().add(createRoot<all::Mixed>(model));
  EXPECT_EQ(owner.getInside()[0].getSort(), all::inner::Sort::other);
  EXPECT_EQ(owner.getInside()[0].getInnerName(), "i");
  EXPECT_EQ(owner.getOutsiders().size(), 1u);
}

TEST(References, ToAClassThatEveryElementConformsToTakeAnything) {
  Model model(generatedRegistry());
  const auto owner = createRoot<all::Owner>(model);
  const auto thing = createRoot<all::Thing>(model);
  owner.setWhatever(thing);
  owner.getWhatevers().add(owner);
  owner.getWhatevers().add(thing);
  const Element target = owner.getWhatever();
  EXPECT_EQ(as<all::Thing>(target), thing);
  EXPECT_THAT(owner.getWhatevers(), testing::ElementsAre(owner.element(), thing.element()));
  const auto held = owner.createHolds<all::Extra>();
  EXPECT_EQ(owner.getHolds(), held.element());
}

TEST(References, OppositesOfAllBoundsAreKeptInStep) {
  Model model(generatedRegistry());
  const auto first = createRoot<all::Owner>(model);
  const auto second = createRoot<all::Owner>(model);
  const auto thing = createRoot<all::Thing>(model);
  first.setFavourite(thing);
  EXPECT_EQ(thing.getAdmirer(), first);
  second.setFavourite(thing);
  EXPECT_FALSE(first.getFavourite());
  first.getThings().add(thing);
  second.getThings().add(thing);
  EXPECT_THAT(thing.getOwners(), testing::ElementsAre(first, second));
}

TEST(Names, ThatCppDoesNotTakeAreMadeToFit) {
  Model model(generatedRegistry());
  const auto odd = createRoot<all::class_>(model);
  odd.setMy_name(1);
  odd.setMy_name_2(2);
  odd.setMy_name_3(3);
  odd.setN1st(4);
  odd.setGru00F6u00DFe(5);
  odd.setInt(6);
  odd.setElement(7);
  odd.setUnnamed(8);
  odd.setA_b(9);
  odd.setUnnamed_2(10);
  const Element element = odd;
  EXPECT_EQ(element.getInteger("my-name"), 1);
  EXPECT_EQ(element.getInteger("my_name"), 2);
  EXPECT_EQ(element.getInteger("My name"), 3);
  EXPECT_EQ(element.getInteger("1st"), 4);
  EXPECT_EQ(element.getInteger("Gr\xC3\xB6\xC3\x9F"
                               "e"),
            5);
  EXPECT_EQ(element.getInteger("int"), 6);
  EXPECT_EQ(element.getInteger("element"), 7);
  EXPECT_EQ(element.getInteger("*/"), 8);
  EXPECT_EQ(element.getInteger("a\"b\\"), 9);
  EXPECT_EQ(element.getInteger("_"), 10);
}

TEST(Names, OfClassesAndPackagesKeepApart) {
  Model model(generatedRegistry());
  EXPECT_EQ(createRoot<all::BasicLeft_2>(model).element().getClass()->name(), "BasicLeft");
  EXPECT_EQ(createRoot<all::Left_3>(model).element().getClass()->name(), "Left-");
  EXPECT_EQ(createRoot<all::registerIn_2>(model).element().getClass()->name(), "registerIn");
  EXPECT_EQ(createRoot<all::errno_>(model).element().getClass()->name(), "errno");
  const auto major = createRoot<all::unix_::major_>(model);
  major.setMinor(3);
  EXPECT_EQ(major.element().getInteger("minor"), 3);
  EXPECT_EQ(toText(all::Kind::class_), "class");
  EXPECT_EQ(toText(all::Kind::NULL_), "NULL");
  EXPECT_EQ(static_cast<int>(all::Kind::alsoFirst), 0);
}

TEST(OtherMetaModels, AreRefusedNotMisread) {
  const meta::StructuredType known(generatedRegistry().findType(std::string_view("all.Extra")));
  const std::uint32_t number = known->findProperty(std::string_view("extraNumber"))->getIdentifier();
  for (const char* type : {"String", "Integer64", "Mark"}) {
    meta::MetaRegistry registry;
    meta::MetaModelBuilder builder("http://www.example.org/all", "all");
    builder.classType("Extra").property("other", type).id(number);
    builder.classType("Mark");
    builder.registerIn(registry);
    Model model(registry);
    const auto element = createRoot<all::Extra>(model);
    expectRefused([&] { static_cast<void>(element.getExtraNumber()); }, "all.Extra", "\"other\"",
                  "another meta model");
    expectRefused([&] { element.setExtraNumber(1); }, "another meta model");
    const auto mark = createRoot<all::Mark>(model);
    const all::Extra taken(typed::kUnchecked, mark);
    expectRefused([&] { static_cast<void>(taken.getExtraNumber()); }, "all.Mark",
                  "no property with the number");
  }
}

TEST(Registering, TwiceIsFineAndADifferenceIsNot) {
  meta::MetaRegistry registry;
  all::registerIn(registry);
  all::registerIn(registry);
  test_models::other::registerIn(registry);
  EXPECT_EQ(registry.getPackages().size(), 4u);
  meta::MetaRegistry other;
  meta::MetaModelBuilder builder("http://www.example.org/other", "other");
  builder.classType("Outsider").property("outsideNumber", "Integer64");
  builder.registerIn(other);
  try {
    all::registerIn(other);
    FAIL() << "nothing was thrown";
  } catch (const meta::MetaError& error) {
    EXPECT_THAT(error.what(), testing::HasSubstr("http://www.example.org/other"));
  }
  EXPECT_EQ(other.getPackages().size(), 1u);
}

}  // namespace kr::zero::test
