// What the meta model's record of a property says, and how it is found.
#include <gtest/gtest.h>

#include "kr/zero/io/PropertyCategory.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::meta {

namespace {

class PropertyRecord : public testing::Test {
 protected:
  PropertyRecord() {
    MetaModelBuilder package("urn:r", "r");
    package.enumeration("Color").literal("red", 0).literal("green", 1).literal("far", 9);
    package.primitive("Code");
    package.datatype("Point").property("x", "Integer").id(1);
    auto& base = package.classType("Base");
    base.property("title", "String").id(5);
    base.property("count", "Integer16").many().id(300);
    base.property("color", "Color").id(2);
    base.property("key", "UUID").id(1);
    base.property("born", "DateTime").id(7);
    base.property("code", "Code").id(8);
    base.property("at", "Point").many().id(9);
    base.property("part", "Base").composite().id(10);
    base.property("others", "Base").many().id(11);
    base.property("computed", "Real").derived();
    base.property("hidden", "Base").composite().isTransient().id(12);
    auto& sub = package.classType("Sub");
    sub.supertype("Base");
    sub.property("own", "Boolean").id(16382);
    package.registerIn(registry_);
  }

  StructuredType type(const char* name) const { return StructuredType(registry_.findType(name)); }
  const Property::Impl& base(std::string_view name) const {
    return *type("r.Base")->findProperty(name).get();
  }

  MetaRegistry registry_;
};

}  // namespace

TEST_F(PropertyRecord, SaysWhatTheValuesAre) {
  EXPECT_EQ(base("title").getKind(), PropertyKind::text);
  EXPECT_EQ(base("count").getKind(), PropertyKind::number);
  EXPECT_EQ(base("color").getKind(), PropertyKind::enumeration);
  EXPECT_EQ(base("key").getKind(), PropertyKind::uuid);
  EXPECT_EQ(base("born").getKind(), PropertyKind::dateTime);
  EXPECT_EQ(base("code").getKind(), PropertyKind::text);
  EXPECT_EQ(base("at").getKind(), PropertyKind::datatype);
  EXPECT_EQ(base("part").getKind(), PropertyKind::composition);
  EXPECT_EQ(base("others").getKind(), PropertyKind::association);
  EXPECT_EQ(base("computed").getKind(), PropertyKind::none);
}

TEST_F(PropertyRecord, HasTheCategoryOfReaders) {
  using C = io::PropertyCategory;
  EXPECT_EQ(io::categoryOf(base("title")), C::Primitive());
  EXPECT_EQ(io::categoryOf(base("count")), C::PrimitiveCollection());
  EXPECT_EQ(io::categoryOf(base("color")), C::Primitive());
  EXPECT_EQ(io::categoryOf(base("at")), C::DatatypeCollection());
  EXPECT_EQ(io::categoryOf(base("part")), C::Composition());
  EXPECT_EQ(io::categoryOf(base("others")), C::AssociationCollection());
  EXPECT_EQ(io::categoryOf(base("computed")), C());
}

TEST_F(PropertyRecord, SaysAsWhichNumberValuesTravel) {
  EXPECT_EQ(base("count").getNumberInfo().type, StandardType::integer16);
  EXPECT_EQ(base("color").getNumberInfo().type, StandardType::integer);
  EXPECT_FALSE(base("title").getNumberInfo().isNumber());
  EXPECT_FALSE(base("computed").getNumberInfo().isNumber());
}

TEST_F(PropertyRecord, NamesItsTargetOnlyWhereItHoldsElements) {
  EXPECT_EQ(base("part").getTarget()->name(), "Base");
  EXPECT_EQ(base("others").getTarget()->name(), "Base");
  EXPECT_FALSE(base("at").getTarget());
  EXPECT_FALSE(base("title").getTarget());
}

TEST_F(PropertyRecord, IsFoundByItsNumberInEachClassThatHasIt) {
  for (const char* name : {"r.Base", "r.Sub", "r.Point"}) {
    const auto& all = type(name)->getAllProperties();
    for (std::size_t slot = 0; slot < all.size(); ++slot) {
      const std::uint32_t identifier = all[slot]->getIdentifier();
      if (identifier != 0) {
        EXPECT_EQ(type(name)->findIdentifier(identifier), slot) << name << " " << identifier;
      }
    }
    for (const std::uint64_t other : {0ull, 3ull, 301ull, 16383ull, 1ull << 40})
      EXPECT_EQ(type(name)->findIdentifier(other), StructuredType::Impl::npos) << name << " " << other;
  }
  EXPECT_EQ(type("r.Base")->findIdentifier(16382), StructuredType::Impl::npos);
}

TEST_F(PropertyRecord, TellsAClassWhatToLookFor) {
  EXPECT_TRUE(type("r.Base")->hasAssociations());
  EXPECT_TRUE(type("r.Sub")->hasUnwrittenChildren());
  EXPECT_FALSE(type("r.Point")->hasAssociations());
}

TEST_F(PropertyRecord, OfAnEnumerationKnowsItsNumbers) {
  const Enum color(registry_.findType("r.Color"));
  for (const std::int64_t number : {0, 1, 9}) EXPECT_TRUE(color->hasLiteral(number)) << number;
  for (const std::int64_t number : {-1, 2, 8, 10}) EXPECT_FALSE(color->hasLiteral(number)) << number;
}

TEST(StandardTypeList, HasARowForEachTypeInItsOrder) {
  for (std::size_t i = 0; i < kStandardTypes.size(); ++i)
    EXPECT_EQ(static_cast<std::size_t>(kStandardTypes[i].type), i);
  EXPECT_EQ(infoOf(StandardType::unlimitedNatural).width, 4);
  EXPECT_EQ(infoOf(StandardType::unlimitedNatural).kind, StandardKind::unsignedInteger);
  EXPECT_EQ(infoOf(StandardType::real).width, 8);
  EXPECT_EQ(infoOf(StandardType::uuid).width, 0);
  EXPECT_STREQ(infoOf(StandardType::zoArray).name, "ZoArray");
}

}  // namespace kr::zero::meta
