#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "MetaDefinitions.h"
#include "support/CollidingTexts.h"
#include "support/Environment.h"
#include "support/SmallStack.h"

namespace kr::zero::meta {
namespace {

using test::classDefinition;
using test::classOf;
using test::propertyDefinition;

double threadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Seconds of this thread for taking in the package; bounds hold for optimised builds only.
double secondsToAdd(MetaRegistry& registry, const PackageDefinition& package) {
  const double start = threadSeconds();
  registry.add(package);
  const double seconds = threadSeconds() - start;
  testing::Test::RecordProperty("seconds", std::to_string(seconds));
  return seconds;
}

constexpr bool isOptimised() {
#if !defined(__OPTIMIZE__) || defined(__SANITIZE_THREAD__)
  return false;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
  return false;
#endif
#endif
  return !test::underAddressSanitizer();
}

// The size to test with: a build with instruments takes a tenth of it, to end in good time.
constexpr std::size_t sized(std::size_t count) { return isOptimised() ? count : count / 10; }

void expectBelowASecond(double seconds) {
  if (isOptimised()) {
    EXPECT_LT(seconds, 1.0);
  }
}

std::string name(std::size_t number) { return "C" + std::to_string(number); }

// A tree in which each class has 8 below it, every seventh also a mixin, with 10 properties each.
PackageDefinition broadMetaModel(std::size_t classes) {
  PackageDefinition p;
  p.name = "broad";
  for (std::size_t i = 0; i < classes; ++i) {
    TypeDefinition type = classDefinition(name(i));
    if (i > 0) type.supertypes.push_back(name((i - 1) / 8));
    if (i % 7 == 0) type.supertypes.push_back("Mixin" + std::to_string(i % 10));
    for (std::size_t j = 0; j < 10; ++j)
      type.properties.push_back(propertyDefinition("p" + std::to_string(i) + "_" + std::to_string(j)));
    p.types.push_back(type);
  }
  for (std::size_t i = 0; i < 10; ++i) {
    const std::string mixin = "Mixin" + std::to_string(i);
    p.types.push_back(classDefinition(mixin));
    p.types.back().properties = {propertyDefinition("m" + mixin)};
  }
  return p;
}

TEST(MetaScale, FiveThousandClassesTakeLessThanASecond) {
  MetaRegistry registry;
  const double seconds = secondsToAdd(registry, broadMetaModel(5000));
  EXPECT_TRUE(classOf(registry, "broad.C4999")->conformsTo(classOf(registry, "broad.C0")));
  EXPECT_TRUE(classOf(registry, "broad.C4998")->conformsTo(classOf(registry, "broad.Mixin8")));
  EXPECT_EQ(classOf(registry, "broad.C0")->findProperty("p0_0")->getIdentifier(), 1u);
  expectBelowASecond(seconds);
}

// How much longer a registry takes for names of one std::hash than for others; the quickest of some runs
// each.
double slowdownBy(const std::vector<std::string>& colliding,
                  PackageDefinition (*define)(const std::vector<std::string>&)) {
  std::vector<std::string> harmless;
  for (std::size_t i = 0; i < colliding.size(); ++i) {
    harmless.push_back(std::to_string(10000000 + i));
    harmless.back() = "harmless" + harmless.back();
  }
  const auto quickest = [define](const std::vector<std::string>& names) {
    const PackageDefinition package = define(names);
    double least = 1e9;
    for (int run = 0; run < 5; ++run) {
      MetaRegistry registry;
      least = std::min(least, secondsToAdd(registry, package));
    }
    return least;
  };
  return quickest(colliding) / quickest(harmless);
}

PackageDefinition packageOfTypes(std::vector<TypeDefinition> types) {
  PackageDefinition p;
  p.name = "package";
  p.types = std::move(types);
  return p;
}

constexpr std::size_t kManyNames = 6000;
constexpr double kMostSlowdown = 3;

TEST(MetaScale, ClassNamesOfOneHashSlowNothingDown) {
  const auto names = test::makeCollidingTexts(sized(kManyNames), "package.");
  if (names.empty()) GTEST_SKIP() << "the hash of this standard library is another one";
  EXPECT_LE(slowdownBy(names,
                       [](const std::vector<std::string>& all) {
                         std::vector<TypeDefinition> types;
                         for (const std::string& one : all) types.push_back(classDefinition(one));
                         return packageOfTypes(std::move(types));
                       }),
            kMostSlowdown);
}

TEST(MetaScale, PropertyNamesOfOneHashSlowNothingDown) {
  const auto names = test::makeCollidingTexts(sized(kManyNames));
  if (names.empty()) GTEST_SKIP() << "the hash of this standard library is another one";
  EXPECT_LE(slowdownBy(names,
                       [](const std::vector<std::string>& all) {
                         TypeDefinition type = classDefinition("C");
                         for (const std::string& one : all)
                           type.properties.push_back(propertyDefinition(one));
                         return packageOfTypes({type});
                       }),
            kMostSlowdown);
}

TEST(MetaScale, LiteralsOfOneHashSlowNothingDown) {
  const auto names = test::makeCollidingTexts(sized(kManyNames));
  if (names.empty()) GTEST_SKIP() << "the hash of this standard library is another one";
  EXPECT_LE(
      slowdownBy(names,
                 [](const std::vector<std::string>& all) {
                   TypeDefinition type;
                   type.kind = TypeDefinition::Kind::enumeration;
                   type.name = "E";
                   for (const std::string& one : all)
                     type.literals.push_back({one, {}, static_cast<std::int32_t>(type.literals.size())});
                   return packageOfTypes({type});
                 }),
      kMostSlowdown);
}

TEST(MetaScale, PackageNamesOfOneHashSlowNothingDown) {
  const auto names = test::makeCollidingTexts(sized(kManyNames), "package.");
  if (names.empty()) GTEST_SKIP() << "the hash of this standard library is another one";
  EXPECT_LE(slowdownBy(names,
                       [](const std::vector<std::string>& all) {
                         PackageDefinition p = packageOfTypes({});
                         for (const std::string& one : all) {
                           p.packages.emplace_back();
                           p.packages.back().name = one;
                         }
                         return p;
                       }),
            kMostSlowdown);
}

TEST(MetaScale, AThousandSubclassesWithPropertiesOnBothLevelsTakeLessThanASecond) {
  PackageDefinition p;
  p.name = "flat";
  p.types = {classDefinition("Base")};
  for (std::size_t i = 0; i < 500; ++i) p.types[0].properties.push_back(propertyDefinition("b" + name(i)));
  for (std::size_t i = 0; i < 1000; ++i) {
    p.types.push_back(classDefinition(name(i), {"Base"}));
    for (std::size_t j = 0; j < 20; ++j)
      p.types.back().properties.push_back(propertyDefinition("s" + name(i) + "_" + std::to_string(j)));
  }
  MetaRegistry registry;
  const double seconds = secondsToAdd(registry, p);
  EXPECT_EQ(classOf(registry, "flat.C0")->findProperty("sC0_0")->getIdentifier(), 501u);
  EXPECT_EQ(classOf(registry, "flat.C999")->findProperty("sC999_19")->getIdentifier(), 520u);
  expectBelowASecond(seconds);
}

TEST(MetaScale, ManySubclassesOfAClassWithAllPropertiesThereCanBeTakeLessThanASecond) {
  PackageDefinition p;
  p.name = "wide";
  p.types = {classDefinition("Base")};
  for (std::size_t i = 0; i < 16382; ++i) p.types[0].properties.push_back(propertyDefinition("b" + name(i)));
  for (std::size_t i = 0; i < 5000; ++i) p.types.push_back(classDefinition(name(i), {"Base"}));
  MetaRegistry registry;
  const double seconds = secondsToAdd(registry, p);
  EXPECT_EQ(classOf(registry, "wide.C4999")->getAllProperties().size(), 16382u);
  expectBelowASecond(seconds);
}

// Declared from the bottom to the top, the order that would cost a naive walk the most stack.
PackageDefinition chain(std::size_t length, const TypeDefinition& top) {
  PackageDefinition p;
  p.name = "chain";
  for (std::size_t i = length; i-- > 1;) p.types.push_back(classDefinition(name(i), {name(i - 1)}));
  p.types.push_back(top);
  p.types.back().name = name(0);
  return p;
}

TEST(MetaScale, AChainOfAHundredThousandSupertypesNeedsLittleStack) {
  const PackageDefinition p = chain(sized(100000), classDefinition("", {}, {"x", "y"}));
  test::onSmallStack([&p] {
    MetaRegistry registry;
    registry.add(p);
    const Class bottom = classOf(registry, "chain." + name(p.types.size() - 1));
    const Class middle = classOf(registry, "chain." + name(p.types.size() / 2));
    EXPECT_TRUE(bottom->conformsTo(middle));
    EXPECT_FALSE(middle->conformsTo(bottom));
    EXPECT_EQ(bottom->findProperty("y")->getIdentifier(), 2u);
  });
}

TEST(MetaScale, AChainThatIsLinkedToATwinAtEveryStepStaysSmall) {
  PackageDefinition p;
  p.name = "ladder";
  const std::size_t rungs = sized(20000);
  p.types = {classDefinition("C0"), classDefinition("D0")};
  for (std::size_t i = 1; i < rungs; ++i) {
    p.types.push_back(classDefinition(name(i), {name(i - 1), "D" + std::to_string(i - 1)}));
    p.types.push_back(classDefinition("D" + std::to_string(i), {"D" + std::to_string(i - 1), name(i - 1)}));
  }
  const std::string last = std::to_string(rungs - 1);
  test::onSmallStack([&p, &last] {
    MetaRegistry registry;
    registry.add(p);
    const Class bottom = classOf(registry, "ladder.C" + last);
    EXPECT_TRUE(bottom->conformsTo(classOf(registry, "ladder.D0")));
    EXPECT_FALSE(bottom->conformsTo(classOf(registry, "ladder.D" + last)));
  });
}

TEST(MetaScale, ACircleOfAHundredThousandSupertypesNeedsLittleStack) {
  const PackageDefinition p = chain(sized(100000), classDefinition("", {name(sized(100000) - 1)}));
  test::onSmallStack([&p] {
    MetaRegistry registry;
    const std::string rest = "and " + std::to_string(p.types.size() - 10) + " more";
    EXPECT_NE(test::refusal(registry, {p}).find(rest), std::string::npos);
  });
}

TEST(MetaScale, DatatypesAHundredThousandDeepInEachOtherNeedLittleStack) {
  PackageDefinition p;
  p.name = "deep";
  const std::size_t depth = sized(100000);
  for (std::size_t i = 0; i < depth; ++i) {
    p.types.emplace_back();
    p.types.back().kind = TypeDefinition::Kind::datatype;
    p.types.back().name = name(i);
    p.types.back().properties = {propertyDefinition("inner", i + 1 < depth ? name(i + 1) : "Integer")};
  }
  test::onSmallStack([&p] {
    MetaRegistry registry;
    registry.add(p);
    const std::size_t last = p.types.size() - 1;
    const Property inner = test::propertyOf(registry, "deep." + name(last - 1), "inner");
    ASSERT_TRUE(inner);
    EXPECT_EQ(inner->getType(), registry.findType("deep." + name(last)));
  });
}

TEST(MetaScale, AChainWhosePropertyListsWouldTakeGigabytesIsRefused) {
  PackageDefinition p = chain(6000, classDefinition(""));
  for (TypeDefinition& type : p.types) type.properties = {propertyDefinition("p" + type.name)};
  MetaRegistry registry;
  EXPECT_EQ(
      test::refusal(registry, {p}),
      "class chain.C4095: the classes up to here inherit too many properties, more than 8388608 in all");
}

TEST(MetaScale, ManyCallsCostNoMoreThanOne) {
  MetaRegistry registry;
  const double start = threadSeconds();
  for (std::size_t i = 0; i < 5000; ++i) {
    PackageDefinition p;
    p.name = "p" + std::to_string(i);
    p.types = {classDefinition("A", i == 0 ? std::vector<std::string>{} : std::vector<std::string>{"p0.A"})};
    p.types[0].properties = {propertyDefinition("x" + std::to_string(i))};
    registry.add(p);
  }
  const double seconds = threadSeconds() - start;
  EXPECT_EQ(registry.getPackages().size(), 5000u);
  EXPECT_EQ(registry.findType("p4999.A")->getIndex(), 17u + 4999u);
  expectBelowASecond(seconds);
}

/// Classes Z with one supertype more each.
PackageDefinition staircase(std::size_t steps) {
  PackageDefinition p;
  p.name = "p";
  for (std::size_t i = 0; i < steps; ++i) {
    p.types.push_back(classDefinition("L" + std::to_string(i)));
    p.types.push_back(classDefinition("Z" + std::to_string(i), {"L" + std::to_string(i)}));
    if (i > 0) p.types.back().supertypes.push_back("Z" + std::to_string(i - 1));
  }
  return p;
}

TEST(MetaScale, ClassesThatInheritFromMillionsInAllAreRefused) {
  MetaRegistry registry;
  EXPECT_EQ(test::refusal(registry, {staircase(1000)}), "");
  MetaRegistry other;
  EXPECT_THAT(
      test::refusal(other, {staircase(4000)}),
      testing::EndsWith("the classes up to here inherit from too many classes with several supertypes"));
}

// Each of the last classes has all of the middle ones above it, which all have the many properties.
TEST(MetaScale, ClassesThatInheritThePropertiesOfManyTimesAreRefused) {
  PackageDefinition p;
  p.name = "p";
  p.types = {classDefinition("Top")};
  for (int i = 0; i < 4000; ++i) p.types[0].properties.push_back(propertyDefinition("a" + std::to_string(i)));
  std::vector<std::string> middle;
  for (int i = 0; i < 200; ++i) {
    middle.push_back("M" + std::to_string(i));
    p.types.push_back(classDefinition(middle.back(), {"Top"}));
    p.types.back().properties = {propertyDefinition("m" + std::to_string(i))};
  }
  for (int i = 0; i < 100; ++i) p.types.push_back(classDefinition("Z" + std::to_string(i), middle));
  MetaRegistry registry;
  EXPECT_THAT(test::refusal(registry, {p}),
              testing::EndsWith("the classes up to here inherit the same properties in too many ways"));
}

}  // namespace
}  // namespace kr::zero::meta
