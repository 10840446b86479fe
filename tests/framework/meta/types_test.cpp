#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "MetaDefinitions.h"
#include "kr/zero/meta/StandardTypes.h"

namespace kr::zero::meta {
namespace {

using test::classOf;
using testing::ElementsAre;

struct Standard {
  const char* name;
  StandardType which;
};

const std::vector<Standard>& standardTypes() {
  static const std::vector<Standard> all{{"Boolean", StandardType::boolean},
                                         {"Integer8", StandardType::integer8},
                                         {"UInteger8", StandardType::uinteger8},
                                         {"Integer16", StandardType::integer16},
                                         {"UInteger16", StandardType::uinteger16},
                                         {"Integer", StandardType::integer},
                                         {"UnlimitedNatural", StandardType::unlimitedNatural},
                                         {"Integer64", StandardType::integer64},
                                         {"UInteger64", StandardType::uinteger64},
                                         {"Real", StandardType::real},
                                         {"String", StandardType::string},
                                         {"StdString", StandardType::stdString},
                                         {"UUID", StandardType::uuid},
                                         {"DateTime", StandardType::dateTime},
                                         {"JsonValue", StandardType::jsonValue},
                                         {"StringToStringMap", StandardType::stringToStringMap},
                                         {"ZoArray", StandardType::zoArray}};
  return all;
}

MetaModelBuilder everyKind() {
  MetaModelBuilder package("http://example.org/kinds", "kinds");
  package.primitive("Colour");
  package.enumeration("Size").literal("small", 1).literal("large", 2);
  package.datatype("Point").property("x", "Real");
  package.classType("Thing").property("name", "String");
  return package;
}

TEST(MetaNames, AreThereInUtf8AndUtf16) {
  MetaModelBuilder package("http://example.org/k\u00e4", "k\u00e4");
  package.classType("Gr\u00f6\u00dfe").property("l\u00e4nge", "Real");
  MetaRegistry registry;
  package.registerIn(registry);
  const StructuredType type(registry.findType(std::string_view("k\u00e4.Gr\u00f6\u00dfe")));
  ASSERT_TRUE(type);
  EXPECT_EQ(type->name(), "Gr\u00f6\u00dfe");
  EXPECT_EQ(type->qualifiedName(), "k\u00e4.Gr\u00f6\u00dfe");
  EXPECT_EQ(type->getQualifiedName(), u"k\u00e4.Gr\u00f6\u00dfe");
  EXPECT_EQ(type->packageUri(), "http://example.org/k\u00e4");
  EXPECT_EQ(type->getPackageUri(), u"http://example.org/k\u00e4");
  const Property property = type->findProperty(std::string_view("l\u00e4nge"));
  ASSERT_TRUE(property);
  EXPECT_EQ(property->name(), "l\u00e4nge");
  EXPECT_EQ(property->getName(), u"l\u00e4nge");
}

TEST(MetaStandardTypes, AreKnownByNameInANewRegistry) {
  const MetaRegistry registry;
  for (const Standard& standard : standardTypes()) {
    const PrimitiveType type(registry.findType(std::string_view(standard.name)));
    ASSERT_TRUE(type) << standard.name;
    EXPECT_EQ(type->getStandardType(), standard.which) << standard.name;
  }
}

TEST(MetaStandardTypes, HaveTheirNameAsQualifiedNameAndNoPackage) {
  const MetaRegistry registry;
  for (const Standard& standard : standardTypes()) {
    const Type type = registry.findType(std::string_view(standard.name));
    EXPECT_EQ(type->name(), standard.name);
    EXPECT_EQ(type->qualifiedName(), standard.name);
    EXPECT_EQ(type->getQualifiedName(), toUstring(standard.name));
    EXPECT_EQ(type->getPackageUri(), u"");
    EXPECT_EQ(type->packageUri(), "");
  }
}

TEST(MetaStandardTypes, AreTheSameObjectsInEveryRegistry) {
  const MetaRegistry one;
  const MetaRegistry other;
  for (const Standard& standard : standardTypes()) {
    const std::string_view name(standard.name);
    EXPECT_EQ(one.findType(name), other.findType(name));
    EXPECT_EQ(one.findType(name), MetaRegistry::instance().findType(name));
    EXPECT_EQ(one.findType(name), internal::getPrimitiveTypeFromMetaRegistry(toUstring(name)));
  }
}

TEST(MetaStandardTypes, HaveTheFirstIndices) {
  std::vector<std::uint32_t> indices;
  for (const Standard& standard : standardTypes())
    indices.push_back(internal::getPrimitiveTypeFromMetaRegistry(toUstring(standard.name))->getIndex());
  EXPECT_THAT(indices, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16));
}

TEST(MetaStandardTypes, TheLookUpKnowsNoOtherName) {
  EXPECT_FALSE(internal::getPrimitiveTypeFromMetaRegistry(u""));
  EXPECT_FALSE(internal::getPrimitiveTypeFromMetaRegistry(u"string"));
  EXPECT_FALSE(internal::getPrimitiveTypeFromMetaRegistry(u"kinds.Colour"));
}

TEST(MetaStandardTypes, AHandleIsEmptyUntilItIsFilled) {
  LazyPrimitiveType handle;
  const PrimitiveType real = internal::getPrimitiveTypeFromMetaRegistry(u"Real");
  EXPECT_FALSE(handle);
  EXPECT_FALSE(real == handle);
  handle.fill(real);
  EXPECT_TRUE(handle);
  EXPECT_TRUE(real == handle);
}

TEST(MetaTypes, EachKindHasItsMetaClass) {
  MetaRegistry registry;
  everyKind().registerIn(registry);
  EXPECT_EQ(&registry.findType("kinds.Colour")->getMetaClass(), &PrimitiveType::metaClass());
  EXPECT_EQ(&registry.findType("kinds.Size")->getMetaClass(), &Enum::metaClass());
  EXPECT_EQ(&registry.findType("kinds.Point")->getMetaClass(), &StructuredType::metaClass());
  EXPECT_EQ(&registry.findType("kinds.Thing")->getMetaClass(), &Class::metaClass());
}

TEST(MetaTypes, AMetaClassIsOfTheKindsAboveItOnly) {
  for (const MetaClass* kind : {&PrimitiveType::metaClass(), &Enum::metaClass(), &StructuredType::metaClass(),
                                &Class::metaClass(), &Type::metaClass()}) {
    EXPECT_TRUE(kind->isKindOf(Type::metaClass())) << kind->getName();
    EXPECT_TRUE(kind->isKindOf(*kind)) << kind->getName();
  }
  EXPECT_TRUE(Class::metaClass().isKindOf(StructuredType::metaClass()));
  EXPECT_FALSE(StructuredType::metaClass().isKindOf(Class::metaClass()));
  EXPECT_FALSE(Enum::metaClass().isKindOf(PrimitiveType::metaClass()));
  EXPECT_FALSE(Type::metaClass().isKindOf(Enum::metaClass()));
}

TEST(MetaTypes, AConversionToAnotherKindIsEmpty) {
  MetaRegistry registry;
  everyKind().registerIn(registry);
  const Type colour = registry.findType("kinds.Colour");
  const Type size = registry.findType("kinds.Size");
  const Type point = registry.findType("kinds.Point");
  const Type thing = registry.findType("kinds.Thing");
  const auto kinds = [](Type t) {
    return std::vector<bool>{bool(PrimitiveType(t)), bool(Enum(t)), bool(StructuredType(t)), bool(Class(t))};
  };
  EXPECT_THAT(kinds(colour), ElementsAre(true, false, false, false));
  EXPECT_THAT(kinds(size), ElementsAre(false, true, false, false));
  EXPECT_THAT(kinds(point), ElementsAre(false, false, true, false));
  EXPECT_THAT(kinds(thing), ElementsAre(false, false, true, true));
  EXPECT_THAT(kinds(Type()), ElementsAre(false, false, false, false));
  EXPECT_EQ(Class(thing), thing);
}

TEST(MetaTypes, OnlyAnEnumerationIsAnEnumType) {
  MetaRegistry registry;
  everyKind().registerIn(registry);
  EXPECT_TRUE(zero::internal::isEnumType(registry.findType("kinds.Size")));
  EXPECT_FALSE(zero::internal::isEnumType(registry.findType("kinds.Colour")));
  EXPECT_FALSE(zero::internal::isEnumType(registry.findType("kinds.Point")));
  EXPECT_FALSE(zero::internal::isEnumType(registry.findType("kinds.Thing")));
  EXPECT_FALSE(zero::internal::isEnumType(registry.findType("Integer")));
  EXPECT_FALSE(zero::internal::isEnumType(Type()));
}

TEST(MetaTypes, AUserDefinedPrimitiveIsNoStandardType) {
  MetaRegistry registry;
  MetaModelBuilder package("", "own");
  package.primitive("String");
  package.registerIn(registry);
  const PrimitiveType own(registry.findType("own.String"));
  ASSERT_TRUE(own);
  EXPECT_EQ(own->getStandardType(), StandardType::none);
  EXPECT_NE(own, registry.findType("String"));
}

Enum sizes(MetaRegistry& registry) {
  MetaModelBuilder package("", "e");
  package.enumeration("E")
      .literal("one", 1, "first")
      .literal("uno", 1, "one")
      .literal("minus", -2147483648)
      .literal("two", 2, "first")
      .literal("first", 3, "third");
  package.registerIn(registry);
  return Enum(registry.findType("e.E"));
}

TEST(MetaEnums, TheFirstLiteralStandsForASharedNumber) {
  MetaRegistry registry;
  const Enum e = sizes(registry);
  ASSERT_NE(e->findByNumber(1), nullptr);
  EXPECT_EQ(e->findByNumber(1)->name, "one");
  EXPECT_EQ(e->findByNumber(-2147483648)->name, "minus");
  EXPECT_EQ(e->findByNumber(4), nullptr);
  EXPECT_EQ(e->findByNumber((std::int64_t{1} << 32) + 1), nullptr);
}

TEST(MetaEnums, ANameCountsBeforeAText) {
  MetaRegistry registry;
  const Enum e = sizes(registry);
  EXPECT_EQ(e->findByName("one")->number, 1);
  EXPECT_EQ(e->findByName("one")->text, "first");
  EXPECT_EQ(e->findByName("first")->number, 3);
  EXPECT_EQ(e->findByName("third")->name, "first");
  EXPECT_EQ(e->findByName("none"), nullptr);
}

TEST(MetaEnums, ATextCountsBeforeAName) {
  MetaRegistry registry;
  const Enum e = sizes(registry);
  EXPECT_EQ(e->findByText("first")->name, "one");
  EXPECT_EQ(e->findByText("one")->name, "uno");
  EXPECT_EQ(e->findByText("two")->number, 2);
  EXPECT_EQ(e->findByText(""), nullptr);
}

TEST(MetaEnums, ALiteralWithoutTextHasItsNameAsText) {
  MetaRegistry registry;
  const Enum e = sizes(registry);
  EXPECT_EQ(e->findByName("minus")->text, "minus");
  EXPECT_EQ(e->findByText("minus")->number, -2147483648);
}

TEST(MetaProperties, AreWhatTheirDefinitionsSay) {
  MetaRegistry registry;
  MetaModelBuilder package("http://example.org/p", "p");
  auto& a = package.classType("A");
  a.property("plain", "Integer");
  a.property("all", "A").bounds(2, 7).composite().unordered().nonUnique().isTransient().id(40);
  a.property("text", "String").required().defaultText("x");
  a.property("gone", "Real").derived();
  a.property("shared", "Real").isStatic().id(9);
  package.registerIn(registry);
  const auto get = [&](const char* name) { return test::propertyOf(registry, "p.A", name); };

  const Property plain = get("plain");
  EXPECT_EQ(plain->getName(), u"plain");
  EXPECT_EQ(plain->getType(), registry.findType("Integer"));
  EXPECT_EQ(plain->getOwner(), registry.findType("p.A"));
  EXPECT_TRUE(plain->isOptional());
  EXPECT_FALSE(plain->isMany());
  EXPECT_FALSE(plain->isComposite());
  EXPECT_TRUE(plain->isOrdered());
  EXPECT_TRUE(plain->isUnique());
  EXPECT_TRUE(plain->isStored());
  EXPECT_FALSE(plain->isTransient());
  EXPECT_EQ(plain->getDefaultText(), std::nullopt);
  EXPECT_FALSE(plain->getOpposite());

  const Property all = get("all");
  EXPECT_EQ(all->getLower(), 2u);
  EXPECT_EQ(all->getUpper(), 7);
  EXPECT_TRUE(all->isMany());
  EXPECT_TRUE(all->isComposite());
  EXPECT_FALSE(all->isOrdered());
  EXPECT_FALSE(all->isUnique());
  EXPECT_TRUE(all->isTransient());
  EXPECT_TRUE(all->isStored());
  EXPECT_EQ(all->getIdentifier(), 40u);

  EXPECT_FALSE(get("text")->isOptional());
  EXPECT_EQ(get("text")->getDefaultText(), "x");
  EXPECT_TRUE(get("gone")->isDerived());
  EXPECT_FALSE(get("gone")->isStored());
  EXPECT_EQ(get("gone")->getIdentifier(), 0u);
  EXPECT_TRUE(get("shared")->isStatic());
  EXPECT_FALSE(get("shared")->isStored());
  EXPECT_EQ(get("shared")->getIdentifier(), 9u);
}

TEST(MetaProperties, HaveDenseIndicesInTheirRegistry) {
  MetaRegistry registry;
  for (const char* name : {"one", "two"}) {
    MetaModelBuilder package("", name);
    auto& a = package.classType("A");
    a.property("x", "Integer");
    a.property("y", "Integer");
    package.classType("B").property("z", "Integer");
    package.registerIn(registry);
  }
  std::set<std::uint32_t> indices;
  for (const char* type : {"one.A", "one.B", "two.A", "two.B"})
    for (const Property p : classOf(registry, type)->getOwnedAttributes()) indices.insert(p->getIndex());
  EXPECT_THAT(indices, ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST(MetaProperties, OfADatatypeTypeAreNeverComposite) {
  MetaRegistry registry;
  MetaModelBuilder package("", "p");
  package.datatype("Point").property("x", "Real");
  package.classType("A").property("at", "Point").composite();
  package.registerIn(registry);
  EXPECT_FALSE(test::propertyOf(registry, "p.A", "at")->isComposite());
}

}  // namespace
}  // namespace kr::zero::meta
