// Which properties the writer lifts out of the framework's categories.
#include <gtest/gtest.h>

#include "direct/BinaryModelTraverser.h"
#include "direct/DirectModel.h"
#include "kr/zero/meta/MetaModelBuilder.h"

namespace kr::zero::io {

namespace {

constexpr std::uint32_t kSingle = 16;
constexpr std::uint32_t kMany = 4096;

const std::vector<std::string> kFixedWidth = {"Integer",    "Integer8",  "Integer16",        "Integer64",
                                              "Real",       "Boolean",   "UnlimitedNatural", "UInteger8",
                                              "UInteger16", "UInteger64"};
const std::vector<std::string> kTexts = {"String",   "StdString",         "UUID",   "JsonValue",
                                         "DateTime", "StringToStringMap", "ZoArray"};

// A class "t.C" with properties of one type: "one", "many", and others with odd bounds or marks.
struct OneType {
  explicit OneType(const std::string& type) {
    meta::MetaModelBuilder package("urn:t", "t");
    package.enumeration("Kind").literal("a", 0);
    package.primitive("Integer");
    package.datatype("Pair").property("x", "Real");
    auto& c = package.classType("C");
    c.property("one", type);
    c.property("must", type).required();
    c.property("many", type).many();
    c.property("two", type).bounds(0, 2);
    c.property("derived", type).derived();
    c.property("static", type).isStatic();
    c.property("derivedMany", type).many().derived();
    package.registerIn(registry);
  }
  meta::Property property(std::string_view name) const {
    return meta::StructuredType(registry.findType("t.C"))->findProperty(name);
  }
  std::uint32_t categoryOf(std::string_view name) const {
    return BinaryModelTraverser().getPropertyCategory(property(name)).getMask();
  }
  std::uint32_t baseCategoryOf(std::string_view name) const {
    return ModelTraverser().getPropertyCategory(property(name)).getMask();
  }

  meta::MetaRegistry registry;
};

}  // namespace

TEST(Traverser, ASinglePropertyOfFixedWidthIsASixteen) {
  for (const std::string& type : kFixedWidth) {
    const OneType of(type);
    EXPECT_EQ(of.categoryOf("one"), kSingle) << type;
    EXPECT_EQ(of.categoryOf("must"), kSingle) << type;
  }
}

TEST(Traverser, APropertyOfFixedWidthWithAnyOtherUpperBoundIsA4096) {
  for (const std::string& type : kFixedWidth) {
    const OneType of(type);
    EXPECT_EQ(of.categoryOf("many"), kMany) << type;
    EXPECT_EQ(of.categoryOf("two"), kMany) << type;
  }
}

TEST(Traverser, AnEnumerationIsLiftedToo) {
  const OneType of("Kind");
  EXPECT_EQ(of.categoryOf("one"), kSingle);
  EXPECT_EQ(of.categoryOf("must"), kSingle);
  EXPECT_EQ(of.categoryOf("many"), kMany);
}

TEST(Traverser, TextsKeepTheFrameworksCategory) {
  for (const std::string& type : kTexts) {
    const OneType of(type);
    for (const char* name : {"one", "must", "many", "two"})
      EXPECT_EQ(of.categoryOf(name), of.baseCategoryOf(name)) << type << " " << name;
    EXPECT_EQ(of.categoryOf("one"), 0x001u);
    EXPECT_EQ(of.categoryOf("many"), 0x100u);
  }
}

TEST(Traverser, StructuredTypesKeepTheFrameworksCategory) {
  const OneType pair("Pair");
  EXPECT_EQ(pair.categoryOf("one"), 0x002u);
  EXPECT_EQ(pair.categoryOf("many"), 0x200u);
  const OneType object("C");
  EXPECT_EQ(object.categoryOf("one"), 0x004u);
  EXPECT_EQ(object.categoryOf("many"), 0x400u);
}

TEST(Traverser, DerivedAndStaticPropertiesKeepTheFrameworksCategory) {
  for (const std::string type : {"Integer", "Kind", "String"}) {
    const OneType of(type);
    for (const char* name : {"derived", "static", "derivedMany"})
      EXPECT_EQ(of.categoryOf(name), of.baseCategoryOf(name)) << type << " " << name;
  }
}

TEST(Traverser, ATypeOfOnesOwnIsNotLiftedByTheNameOfAStandardOne) {
  const OneType of("t.Integer");
  EXPECT_EQ(of.categoryOf("one"), of.baseCategoryOf("one"));
  EXPECT_EQ(of.categoryOf("many"), of.baseCategoryOf("many"));
}

TEST(Traverser, VisitsWhatTheFrameworkVisitsInItsOrder) {
  const meta::StructuredType type(test::directRegistry().findType("p.N"));
  const PropertyCategory all(0x7FFFFFFF);
  const auto visited = BinaryModelTraverser().getProperties(type, all);
  EXPECT_EQ(visited, ModelTraverser().getProperties(type, all));
  EXPECT_EQ(visited.size(), 22u);
  EXPECT_TRUE(BinaryModelTraverser().isPropertyTransient(test::propertyNamed("p.N", "scratch")));
}

}  // namespace kr::zero::io
