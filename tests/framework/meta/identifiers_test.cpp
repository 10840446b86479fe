#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "MetaDefinitions.h"
#include "support/Environment.h"
#include "support/Random.h"

namespace kr::zero::meta {
namespace {

using test::classDefinition;
using test::classOf;
using test::propertyDefinition;
using test::propertyOf;
using testing::ElementsAre;

std::vector<std::uint32_t> identifiersOf(const MetaRegistry& registry, std::string_view type) {
  std::vector<std::uint32_t> found;
  for (const Property property : StructuredType(registry.findType(type))->getAllProperties())
    found.push_back(property->getIdentifier());
  return found;
}

TEST(MetaIdentifiers, AreGivenFromOneOnInDeclarationOrder) {
  MetaRegistry registry;
  PackageDefinition p;
  p.name = "p";
  p.types = {classDefinition("A", {}, {"x", "y", "z"})};
  registry.add(p);
  EXPECT_THAT(identifiersOf(registry, "p.A"), ElementsAre(1, 2, 3));
}

TEST(MetaIdentifiers, StartAnewInClassesThatDoNotMeet) {
  MetaRegistry registry;
  PackageDefinition p;
  p.name = "p";
  p.types = {classDefinition("Base", {}, {"x"}), classDefinition("A", {"Base"}, {"y"}),
             classDefinition("B", {"Base"}, {"z"}), classDefinition("C", {}, {"w"})};
  registry.add(p);
  EXPECT_THAT(identifiersOf(registry, "p.A"), ElementsAre(1, 2));
  EXPECT_THAT(identifiersOf(registry, "p.B"), ElementsAre(1, 2));
  EXPECT_THAT(identifiersOf(registry, "p.C"), ElementsAre(1));
}

TEST(MetaIdentifiers, DifferWhereTwoHierarchiesMeetFurtherDown) {
  MetaRegistry registry;
  PackageDefinition p;
  p.name = "p";
  p.types = {classDefinition("A", {}, {"x"}), classDefinition("B", {}, {"y"}),
             classDefinition("Join", {"A", "B"})};
  registry.add(p);
  EXPECT_THAT(identifiersOf(registry, "p.A"), ElementsAre(1));
  EXPECT_THAT(identifiersOf(registry, "p.B"), ElementsAre(2));
}

TEST(MetaIdentifiers, PinnedOnesCountBeforeThoseGiven) {
  MetaRegistry registry;
  MetaModelBuilder p("", "p");
  auto& a = p.classType("A");
  a.property("x", "Integer");
  a.property("y", "Integer");
  auto& b = p.classType("B").supertype("A");
  b.property("u", "Integer").id(1);
  b.property("v", "Integer");
  p.registerIn(registry);
  EXPECT_THAT(identifiersOf(registry, "p.B"), ElementsAre(2, 3, 1, 4));
}

TEST(MetaIdentifiers, FollowPackagesThenNestedOnesAfterTheirParentsTypes) {
  MetaRegistry registry;
  MetaModelBuilder p("", "p");
  auto& nested = p.package("", "n");
  nested.classType("N").property("n", "Integer");
  p.classType("P").property("p", "Integer");
  MetaModelBuilder q("", "q");
  q.classType("Q").property("q", "Integer");
  q.classType("Join").supertype("Q").supertype("p.n.N").supertype("p.P");
  registry.add({p.definition(), q.definition()});
  EXPECT_EQ(propertyOf(registry, "q.Join", "p")->getIdentifier(), 1u);
  EXPECT_EQ(propertyOf(registry, "q.Join", "n")->getIdentifier(), 2u);
  EXPECT_EQ(propertyOf(registry, "q.Join", "q")->getIdentifier(), 3u);
}

TEST(MetaIdentifiers, OfClassesKnownBeforeStayAndAreAvoided) {
  MetaRegistry registry;
  PackageDefinition p;
  p.name = "p";
  p.types = {classDefinition("A", {}, {"x", "y"})};
  registry.add(p);
  PackageDefinition q;
  q.name = "q";
  q.types = {classDefinition("B", {"p.A"}, {"z"})};
  registry.add(q);
  EXPECT_THAT(identifiersOf(registry, "q.B"), ElementsAre(1, 2, 3));
}

TEST(MetaIdentifiers, ClassesKnownBeforeAreAvoidedFromFurtherUpToo) {
  MetaRegistry registry;
  PackageDefinition p;
  p.name = "p";
  p.types = {classDefinition("A", {}, {"x", "y"})};
  registry.add(p);
  PackageDefinition q;
  q.name = "q";
  q.types = {classDefinition("Mixin", {}, {"z"}), classDefinition("B", {"p.A", "Mixin"})};
  registry.add(q);
  EXPECT_THAT(identifiersOf(registry, "q.Mixin"), ElementsAre(3));
}

TEST(MetaIdentifiers, DerivedAndStaticPropertiesTakeNoneUnlessPinned) {
  MetaRegistry registry;
  MetaModelBuilder p("", "p");
  auto& a = p.classType("A");
  a.property("d", "Integer").derived();
  a.property("s", "Integer").isStatic();
  a.property("zero", "Integer").derived().id(0);
  a.property("pinned", "Integer").derived().id(1);
  a.property("x", "Integer");
  a.property("t", "Integer").isTransient();
  p.registerIn(registry);
  EXPECT_THAT(identifiersOf(registry, "p.A"), ElementsAre(0, 0, 0, 1, 2, 3));
}

TEST(MetaIdentifiers, OfDatatypesStartAnewEach) {
  MetaRegistry registry;
  MetaModelBuilder p("", "p");
  auto& point = p.datatype("Point");
  point.property("x", "Real");
  point.property("y", "Real");
  auto& line = p.datatype("Line");
  line.property("from", "Point");
  line.property("to", "Point").id(1);
  p.registerIn(registry);
  EXPECT_THAT(identifiersOf(registry, "p.Point"), ElementsAre(1, 2));
  EXPECT_THAT(identifiersOf(registry, "p.Line"), ElementsAre(2, 1));
}

PackageDefinition classWithProperties(std::size_t count) {
  PackageDefinition p;
  p.name = "p";
  p.types = {classDefinition("A")};
  for (std::size_t i = 0; i < count; ++i)
    p.types[0].properties.push_back(propertyDefinition("p" + std::to_string(i)));
  return p;
}

TEST(MetaIdentifiers, SufficeForAllNumbersThereAre) {
  MetaRegistry registry;
  registry.add(classWithProperties(16382));
  EXPECT_EQ(propertyOf(registry, "p.A", "p0")->getIdentifier(), 1u);
  EXPECT_EQ(propertyOf(registry, "p.A", "p16381")->getIdentifier(), 16382u);
}

TEST(MetaIdentifiers, AreRefusedToAClassWithMorePropertiesThanNumbers) {
  MetaRegistry registry;
  EXPECT_EQ(test::refusal(registry, {classWithProperties(16383)}),
            "class p.A: it has more than 16382 stored properties");
}

TEST(MetaIdentifiers, AreRefusedWhereClassesBelowHaveThemAll) {
  PackageDefinition p = classWithProperties(16382);
  p.types[0].supertypes = {"Base"};
  for (std::size_t i = 0; i < 16381; ++i)
    p.types[0].properties[i].identifier = static_cast<std::uint32_t>(i + 1);
  p.types[0].properties.pop_back();
  p.types.push_back(classDefinition("B", {"Base"}));
  p.types.back().properties = {propertyDefinition("last")};
  p.types.back().properties[0].identifier = 16382;
  p.types.push_back(classDefinition("Base", {}, {"x"}));
  MetaRegistry registry;
  EXPECT_EQ(test::refusal(registry, {p}),
            "class p.Base: no identifier is left for property \"x\": properties that meet it have all 16382");
}

// The rule once more, slowly: every property in turn takes the smallest number that none has which shares a
// class with it.
class SlowNumbers {
 public:
  explicit SlowNumbers(const std::vector<TypeDefinition>& classes) : classes_(classes) {
    for (std::size_t i = 0; i < classes.size(); ++i) position_[classes[i].name] = i;
    for (std::size_t i = 0; i < classes.size(); ++i) collect(i, i);
    for (const TypeDefinition& type : classes)
      for (const PropertyDefinition& p : type.properties) numbers_[p.name] = p.identifier.value_or(0);
    for (std::size_t i = 0; i < classes.size(); ++i)
      for (const PropertyDefinition& p : classes[i].properties)
        if (!p.identifier && !p.derived) numbers_[p.name] = smallest(i);
  }
  const std::map<std::string, std::uint32_t>& get() const { return numbers_; }

 private:
  void collect(std::size_t type, std::size_t ancestor) {
    above_[type].insert(ancestor);
    for (const std::string& name : classes_[ancestor].supertypes) collect(type, position_[name]);
  }
  std::uint32_t smallest(std::size_t owner) {
    std::set<std::uint32_t> taken;
    for (const auto& [type, above] : above_)
      if (above.contains(owner))
        for (const std::size_t ancestor : above)
          for (const PropertyDefinition& p : classes_[ancestor].properties) taken.insert(numbers_[p.name]);
    std::uint32_t number = 1;
    while (taken.contains(number)) ++number;
    return number;
  }

  const std::vector<TypeDefinition>& classes_;
  std::map<std::string, std::size_t> position_;
  std::map<std::size_t, std::set<std::size_t>> above_;
  std::map<std::string, std::uint32_t> numbers_;
};

PackageDefinition randomPackage(test::Random& random) {
  PackageDefinition package;
  package.name = "p";
  const std::size_t count = random.between(1, 25);
  std::uint32_t pin = 0;
  for (std::size_t i = 0; i < count; ++i) {
    TypeDefinition type = classDefinition("C" + std::to_string(i));
    std::set<std::size_t> above;
    if (i > 0)
      for (std::size_t wanted = random.below(4); wanted > 0; --wanted) above.insert(random.below(i));
    for (const std::size_t one : above) type.supertypes.push_back("C" + std::to_string(one));
    for (std::size_t wanted = random.below(5); wanted > 0; --wanted) {
      PropertyDefinition p = propertyDefinition(type.name + "_" + std::to_string(wanted));
      p.derived = random.percent(10);
      if (random.percent(20)) p.identifier = pin += static_cast<std::uint32_t>(random.between(1, 4));
      type.properties.push_back(p);
    }
    package.types.push_back(type);
  }
  for (std::size_t i = count - 1; i > 0; --i) std::swap(package.types[i], package.types[random.below(i + 1)]);
  return package;
}

TEST(MetaIdentifiers, AgreeWithTheRuleAppliedSlowly) {
  test::Random random(test::seedFor("random meta models"));
  std::size_t compared = 0;
  for (int round = 0; round < 500; ++round) {
    const PackageDefinition package = randomPackage(random);
    MetaRegistry registry;
    registry.add(package);
    std::map<std::string, std::uint32_t> found;
    for (const TypeDefinition& type : package.types)
      for (const Property p : classOf(registry, "p." + type.name)->getOwnedAttributes())
        found[p->name()] = p->getIdentifier();
    ASSERT_EQ(found, SlowNumbers(package.types).get()) << "round " << round;
    compared += found.size();
  }
  EXPECT_GT(compared, 5000u);
}

TEST(MetaIdentifiers, AreTheSameEveryTime) {
  test::Random random(test::seedFor("random meta models"));
  const PackageDefinition package = randomPackage(random);
  MetaRegistry one;
  one.add(package);
  MetaRegistry other;
  other.add(MetaModelBuilder("", "before").definition());
  other.add(package);
  for (const TypeDefinition& type : package.types)
    EXPECT_EQ(identifiersOf(one, "p." + type.name), identifiersOf(other, "p." + type.name));
}

}  // namespace
}  // namespace kr::zero::meta
