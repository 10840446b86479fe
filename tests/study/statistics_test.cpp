#include "kr/zero/study/Statistics.h"

#include <gtest/gtest.h>

#include "kr/zero/io/DocumentBytes.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "support/RandomModel.h"

namespace kr::zero::study {
namespace {

class StatisticsOfShelf : public ::testing::Test {
 protected:
  StatisticsOfShelf() {
    meta::MetaModelBuilder builder("urn:s", "s");
    builder.datatype("Span").property("note", "String");
    auto& book = builder.classType("Book");
    book.property("title", "String");
    book.property("tags", "String").many();
    book.property("pages", "Integer");
    book.property("span", "Span");
    book.property("next", "Book").many();
    book.property("parts", "Book").many().composite();
    book.property("memo", "String").isTransient();
    builder.registerIn(registry);
  }
  Statistics gathered() const { return gatherStatistics(model); }
  meta::MetaRegistry registry;
  Model model{registry};
};

TEST_F(StatisticsOfShelf, CountInstancesAndWhatIsSet) {
  Element a = model.createRoot("s.Book");
  Element b = a.create("parts");
  a.create("span").set("note", "n");
  a.set("title", "A");
  b.setEmpty("title");
  b.add("tags", "x");
  b.add("tags", "y");
  b.set("memo", "not in documents");
  const Statistics figures = gathered();
  EXPECT_EQ(figures.elements, 2u);
  EXPECT_EQ(figures.roots, 1u);
  ASSERT_EQ(figures.types.size(), 2u);
  EXPECT_EQ(figures.types[0].type->name(), "Book");
  EXPECT_EQ(figures.types[0].instances, 2u);
  std::string shown;
  for (const PropertyStatistics& property : figures.types[0].properties)
    shown += property.property->name() + " " + std::to_string(property.set) + "/" +
             std::to_string(property.values) + " ";
  EXPECT_EQ(shown, "title 2/1 tags 1/2 span 1/1 parts 1/1 ");
  EXPECT_EQ(figures.types[1].type->name(), "Span");
  EXPECT_EQ(figures.types[1].instances, 1u);
}

TEST_F(StatisticsOfShelf, DepthsAreCountedByLevel) {
  Element a = model.createRoot("s.Book");
  a.create("parts").create("parts");
  a.create("parts");
  a.create("span");
  EXPECT_EQ(gathered().depths, (std::vector<std::uint64_t>{1, 2, 1}));
}

TEST_F(StatisticsOfShelf, ReferencesAreToldApart) {
  Element a = model.createRoot("s.Book");
  a.addReference("next", a);
  a.addReference("next", model.createRoot("s.Book"));
  a.putUnresolved("next", {"s.Book", "x", "1", {}});
  a.putUnresolved("next", {"s.Book", "x", "2", "other.krb"});
  const ReferenceStatistics references = gathered().references;
  EXPECT_EQ(references.resolved, 2u);
  EXPECT_EQ(references.unresolved, 1u);
  EXPECT_EQ(references.outside, 1u);
}

TEST_F(StatisticsOfShelf, TextsAreCountedAndTheFrequentOnesNamed) {
  for (const char* title : {"b", "a", "b", "a", "long one", "c", "c", "c"})
    model.createRoot("s.Book").set("title", title);
  const TextStatistics texts = gathered().texts;
  EXPECT_EQ(texts.count, 8u);
  EXPECT_EQ(texts.bytes, 15u);
  EXPECT_EQ(texts.different, 4u);
  EXPECT_EQ(texts.longest, 8u);
  std::string shown;
  for (const FrequentText& text : texts.most) shown += text.text + std::to_string(text.count) + " ";
  EXPECT_EQ(shown, "c3 a2 b2 ");
  EXPECT_EQ(gatherStatistics(model, 1).texts.most.size(), 1u);
}

// Whatever has bytes is counted, and the other way round.
TEST(StatisticsOfRandomModels, NameTheTypesAndPropertiesThatDocumentsHold) {
  for (std::uint64_t seed = 1; seed <= 100; ++seed) {
    test::Random random(seed);
    const auto registry = test::makeRandomRegistry(random);
    const Model model = test::makeRandomModel(*registry, random);
    const Statistics figures = gatherStatistics(model);
    const io::DocumentBytes bytes = io::measureTagged(model);
    ASSERT_EQ(figures.types.size(), bytes.types.size()) << "seed " << seed;
    for (std::size_t i = 0; i < bytes.types.size(); ++i) {
      EXPECT_EQ(figures.types[i].type, bytes.types[i].type);
      std::vector<meta::Property> counted, measured;
      for (const auto& each : figures.types[i].properties) counted.push_back(each.property);
      for (const auto& each : bytes.types[i].properties) measured.push_back(each.property);
      EXPECT_EQ(counted, measured) << "seed " << seed << ", " << figures.types[i].type->qualifiedName();
    }
  }
}

}  // namespace
}  // namespace kr::zero::study
