#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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
using test::namesOf;
using testing::ElementsAre;

constexpr std::size_t npos = StructuredType::Impl::npos;

// A <- B, A <- C, B and C <- D.
void addDiamond(MetaRegistry& registry) {
  PackageDefinition p;
  p.name = "p";
  p.types = {classDefinition("D", {"B", "C"}, {"d"}), classDefinition("C", {"A"}, {"c"}),
             classDefinition("B", {"A"}, {"b1", "b2"}), classDefinition("A", {}, {"a"}),
             classDefinition("Plain", {"D"})};
  registry.add(p);
}

TEST(MetaInheritance, InheritedPropertiesComeFirstInTheOrderOfSupertypes) {
  MetaRegistry registry;
  addDiamond(registry);
  EXPECT_THAT(namesOf(classOf(registry, "p.D")->getAllProperties()), ElementsAre("a", "b1", "b2", "c", "d"));
  EXPECT_THAT(namesOf(classOf(registry, "p.C")->getAllProperties()), ElementsAre("a", "c"));
  EXPECT_THAT(namesOf(classOf(registry, "p.D")->getOwnedAttributes()), ElementsAre("d"));
}

TEST(MetaInheritance, APropertyReachedTwiceIsOne) {
  MetaRegistry registry;
  addDiamond(registry);
  const Class d = classOf(registry, "p.D");
  EXPECT_EQ(d->findProperty("a"), classOf(registry, "p.A")->findProperty("a"));
  EXPECT_EQ(d->getAllProperties().size(), 5u);
}

TEST(MetaInheritance, AClassThatAddsNothingHoldsWhatItsSupertypeHolds) {
  MetaRegistry registry;
  addDiamond(registry);
  const Class plain = classOf(registry, "p.Plain");
  EXPECT_THAT(namesOf(plain->getAllProperties()), ElementsAre("a", "b1", "b2", "c", "d"));
  EXPECT_TRUE(plain->getOwnedAttributes().empty());
}

TEST(MetaInheritance, DerivedAndStaticPropertiesStandInTheirPlaces) {
  MetaRegistry registry;
  MetaModelBuilder p("", "p");
  auto& a = p.classType("A");
  a.property("x", "Integer").derived();
  a.property("y", "Integer");
  a.property("z", "Integer").isStatic();
  p.registerIn(registry);
  EXPECT_THAT(namesOf(classOf(registry, "p.A")->getAllProperties()), ElementsAre("x", "y", "z"));
}

TEST(MetaInheritance, SupertypesAreInDeclarationOrder) {
  MetaRegistry registry;
  addDiamond(registry);
  EXPECT_THAT(classOf(registry, "p.D")->getSupertypes(),
              ElementsAre(classOf(registry, "p.B"), classOf(registry, "p.C")));
}

TEST(MetaInheritance, AClassConformsToItselfAndThoseAboveOnly) {
  MetaRegistry registry;
  addDiamond(registry);
  const auto conforms = [&](const char* a, const char* b) {
    return classOf(registry, a)->conformsTo(classOf(registry, b));
  };
  for (const char* above : {"p.A", "p.B", "p.C", "p.D"}) EXPECT_TRUE(conforms("p.D", above)) << above;
  EXPECT_FALSE(conforms("p.B", "p.C"));
  EXPECT_FALSE(conforms("p.C", "p.B"));
  EXPECT_FALSE(conforms("p.A", "p.D"));
  EXPECT_FALSE(classOf(registry, "p.A")->conformsTo(Class()));
}

TEST(MetaInheritance, EveryClassConformsToAUniversalOne) {
  MetaRegistry registry;
  PackageDefinition p;
  p.name = "p";
  p.types = {classDefinition("Any", {}, {"x"}), classDefinition("A")};
  p.types[0].isUniversal = true;
  registry.add(p);
  const Class any = classOf(registry, "p.Any");
  const Class a = classOf(registry, "p.A");
  EXPECT_TRUE(any->isUniversal());
  EXPECT_TRUE(a->conformsTo(any));
  EXPECT_FALSE(any->conformsTo(a));
  EXPECT_TRUE(a->getAllProperties().empty());
}

TEST(MetaInheritance, AbstractIsWhatTheDefinitionSays) {
  MetaRegistry registry;
  MetaModelBuilder p("", "p");
  p.classType("A").abstractType();
  p.classType("B").supertype("A");
  p.registerIn(registry);
  EXPECT_TRUE(classOf(registry, "p.A")->isAbstract());
  EXPECT_FALSE(classOf(registry, "p.B")->isAbstract());
}

// Classes in several calls, each with some of the earlier ones as supertypes, and beside them a plain set of
// the ancestors of each.
struct RandomClasses {
  RandomClasses(std::uint64_t seed, std::size_t count) {
    test::Random random(seed);
    while (ancestors.size() < count) {
      PackageDefinition package;
      package.name = "p" + std::to_string(ancestors.size());
      const std::size_t batch = random.between(1, 12);
      const unsigned rootChance = static_cast<unsigned>(random.between(0, 40));
      const std::size_t near = random.between(1, 20);
      for (std::size_t i = 0; i < batch; ++i) addClass(package, random, rootChance, near);
      registry.add(package);
    }
    for (const std::string& name : names) classes.push_back(classOf(registry, name));
  }

  void addClass(PackageDefinition& package, test::Random& random, unsigned rootChance, std::size_t near) {
    const std::size_t number = ancestors.size();
    std::set<std::size_t> above;
    std::set<std::size_t> direct;
    if (number > 0 && !random.percent(rootChance))
      for (std::size_t wanted = random.percent(70) ? 1 : random.between(1, 4); wanted > 0; --wanted)
        direct.insert(number - 1 - random.below(std::min(near, number)));
    std::vector<std::string> supertypes;
    for (const std::size_t one : direct) {
      supertypes.push_back(names[one]);
      above.insert(ancestors[one].begin(), ancestors[one].end());
    }
    if (random.percent(50)) std::reverse(supertypes.begin(), supertypes.end());
    above.insert(number);
    const std::string name = "C" + std::to_string(number);
    package.types.push_back(classDefinition(name, supertypes));
    if (random.percent(40)) {
      package.types.back().properties = {test::propertyDefinition("p" + name)};
      // Hierarchies of different calls join freely, so each property has a number of its own.
      package.types.back().properties[0].identifier = static_cast<std::uint32_t>(number + 1);
    }
    if (random.percent(30)) std::swap(package.types.back(), package.types.front());  // use before declaration
    names.push_back(package.name + "." + name);
    ancestors.push_back(std::move(above));
  }

  MetaRegistry registry;
  std::vector<std::string> names;
  std::vector<Class> classes;
  std::vector<std::set<std::size_t>> ancestors;
};

TEST(MetaInheritance, ConformingAgreesWithASetOfAncestors) {
  const std::uint64_t seed = test::seedFor("random hierarchies");
  std::size_t conforming = 0;
  for (std::uint64_t round = 0; round < 40; ++round) {
    const RandomClasses random(seed + round, 120);
    for (std::size_t i = 0; i < random.classes.size(); ++i)
      for (std::size_t j = 0; j < random.classes.size(); ++j) {
        const bool expected = random.ancestors[i].contains(j);
        conforming += expected;
        ASSERT_EQ(random.classes[i]->conformsTo(random.classes[j]), expected)
            << random.names[i] << " to " << random.names[j] << ", round " << round;
      }
  }
  EXPECT_GT(conforming, 40u * 120u * 2u);
}

TEST(MetaInheritance, AllPropertiesAgreeWithTheSetOfAncestors) {
  const std::uint64_t seed = test::seedFor("random hierarchies");
  for (std::uint64_t round = 0; round < 40; ++round) {
    const RandomClasses random(seed + round, 120);
    for (std::size_t i = 0; i < random.classes.size(); ++i) {
      std::set<std::string> expected;
      for (const std::size_t j : random.ancestors[i])
        for (const std::string& name : namesOf(random.classes[j]->getOwnedAttributes()))
          expected.insert(name);
      const std::vector<std::string> found = namesOf(random.classes[i]->getAllProperties());
      ASSERT_EQ(std::set<std::string>(found.begin(), found.end()), expected) << random.names[i];
      ASSERT_EQ(found.size(), expected.size()) << random.names[i];
    }
  }
}

// Positions of properties.

StructuredType withProperties(MetaRegistry& registry, std::size_t count) {
  PackageDefinition p;
  p.name = "p";
  p.types = {classDefinition("A")};
  for (std::size_t i = 0; i < count; ++i)
    p.types[0].properties.push_back(test::propertyDefinition("property" + std::to_string(i)));
  registry.add(p);
  return StructuredType(registry.findType("p.A"));
}

TEST(MetaSlots, AreFoundByNameInBothForms) {
  for (const std::size_t count : {1u, 2u, 5u, 6u, 7u, 100u, 1000u}) {
    MetaRegistry registry;
    const StructuredType a = withProperties(registry, count);
    for (std::size_t i = 0; i < count; ++i) {
      const Property property = a->getAllProperties()[i];
      const std::string name = "property" + std::to_string(i);
      ASSERT_EQ(a->findProperty(std::string_view(name)), property);
      ASSERT_EQ(a->findProperty(std::u16string_view(toUstring(name))), property);
      ASSERT_EQ(a->slotOf(property), i);
    }
  }
}

TEST(MetaSlots, AreFoundByNameWhateverTheHint) {
  MetaRegistry registry;
  const StructuredType a = withProperties(registry, 9);
  for (std::size_t slot = 0; slot < 9; ++slot)
    for (const std::size_t hint :
         {slot, slot - 1, slot + 1, std::size_t{0}, std::size_t{8}, std::size_t{9}, npos}) {
      const ustring& own = a->getAllProperties()[slot]->getName();
      const ustring copy = own;
      EXPECT_EQ(a->findSlot(own, hint), slot) << "hint " << hint;
      EXPECT_EQ(a->findSlot(copy, hint), slot) << "hint " << hint;
    }
}

TEST(MetaSlots, OfOtherNamesAreNowhere) {
  MetaRegistry registry;
  const StructuredType a = withProperties(registry, 9);
  for (const char16_t* name : {u"", u"property", u"property9", u"Property1", u"property11"}) {
    EXPECT_EQ(a->findSlot(ustring(name), 0), npos);
    EXPECT_FALSE(a->findProperty(std::u16string_view(name)));
    EXPECT_FALSE(a->findProperty(std::string_view(toUtf8(name))));
  }
}

TEST(MetaSlots, APropertyTellsItsPlaceInItsOwner) {
  MetaRegistry registry;
  addDiamond(registry);
  for (const char* name : {"p.A", "p.B", "p.C", "p.D"})
    for (const Property property : classOf(registry, name)->getAllProperties()) {
      const std::vector<Property>& owners = property->getOwner()->getAllProperties();
      ASSERT_LT(property->getPosition(), owners.size());
      EXPECT_EQ(owners[property->getPosition()], property) << property->name();
    }
}

TEST(MetaSlots, APropertyIsFoundWhereItStandsElsewhereThanInItsOwner) {
  MetaRegistry registry;
  addDiamond(registry);
  const Class d = classOf(registry, "p.D");
  const Property c = classOf(registry, "p.C")->findProperty("c");
  EXPECT_EQ(c->getPosition(), 1u);
  EXPECT_EQ(d->slotOf(c), 3u);
}

TEST(MetaSlots, OfPropertiesOfOtherTypesAreNowhere) {
  MetaRegistry one;
  MetaRegistry other;
  const StructuredType a = withProperties(one, 3);
  const StructuredType b = withProperties(other, 3);
  EXPECT_EQ(a->slotOf(b->getAllProperties()[1]), npos);
  EXPECT_EQ(a->slotOf(Property()), npos);
}

TEST(MetaSlots, ATypeWithoutPropertiesFindsNothing) {
  MetaRegistry registry;
  const StructuredType a = withProperties(registry, 0);
  EXPECT_TRUE(a->getAllProperties().empty());
  EXPECT_FALSE(a->findProperty("x"));
  EXPECT_EQ(a->findSlot(u"x", 0), npos);
  EXPECT_EQ(a->findSlot(u"x", npos), npos);
}

}  // namespace
}  // namespace kr::zero::meta
