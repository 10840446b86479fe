#include <gtest/gtest.h>

#include "kr/zero/io/DocumentBytes.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "support/RandomModel.h"
#include "support/Reading.h"
#include "support/SampleModel.h"
#include "support/TaggedReading.h"

namespace kr::zero::io {
namespace {

TEST(DocumentBytes, AddUpToTheDocument) {
  const Model sample = test::makeSample();
  EXPECT_EQ(measureDirect(sample).total(), test::writeDirect(sample).size());
  EXPECT_EQ(measureTagged(sample).total(), test::writeTagged(sample).size());
  for (std::uint64_t seed = 1; seed <= 200; ++seed) {
    test::Random random(seed);
    const auto registry = test::makeRandomRegistry(random);
    const Model model = test::makeRandomModel(*registry, random);
    EXPECT_EQ(measureDirect(model).total(), test::writeDirect(model).size()) << "seed " << seed;
    EXPECT_EQ(measureTagged(model).total(), test::writeTagged(model).size()) << "seed " << seed;
  }
}

class DocumentBytesOfShelf : public ::testing::Test {
 protected:
  DocumentBytesOfShelf() {
    meta::MetaModelBuilder builder("urn:s", "s");
    builder.datatype("Span").property("first", "Integer").required();
    auto& book = builder.classType("Book");
    book.property("title", "String").required();
    book.property("years", "Integer").many();
    book.property("span", "Span");
    book.property("next", "Book");
    book.property("parts", "Book").many().composite();
    builder.registerIn(registry);
    Element moby = model.createRoot("s.Book");
    moby.set("title", "abc");
    moby.add("years", 1);
    moby.add("years", 2);
    moby.create("span").set("first", 7);
    moby.create("parts").setReference("next", moby);
  }
  /// "own 12, title 5, ..." of a type.
  static std::string shown(const DocumentBytes& bytes, std::string_view type) {
    for (const TypeBytes& each : bytes.types) {
      if (each.type->name() != type) continue;
      std::string text = "own " + std::to_string(each.own);
      for (const PropertyBytes& property : each.properties)
        text += ", " + property.property->name() + " " + std::to_string(property.bytes);
      return text;
    }
    return "none";
  }
  meta::MetaRegistry registry;
  Model model{registry};
};

// Key, reserved byte, length and name, mark, end: 1 + 1 + 1 + 6 + 1 + 2 for each; the first one has an
// identity.
TEST_F(DocumentBytesOfShelf, GoToWhatTheyAreSpentOn) {
  const DocumentBytes direct = measureDirect(model);
  EXPECT_EQ(direct.frame, 1u + 3 + 1 + 6);
  EXPECT_EQ(shown(direct, "Book"), "own 28, title 5, years 10, next 14");
  EXPECT_EQ(shown(direct, "Span"), "own 3, first 5");
}

TEST_F(DocumentBytesOfShelf, OfTheTaggedFormatNamesCountWithTheirProperties) {
  const DocumentBytes tagged = measureTagged(model);
  EXPECT_EQ(shown(tagged, "Span"), "own 2, first 11");
  EXPECT_EQ(shown(tagged, "Book"), "own 54, title 14, years 15, span 8, next 40, parts 11");
}

TEST(DocumentBytes, OfAnEmptyModelAllIsFrame) {
  const meta::MetaRegistry registry;
  const Model model(registry);
  EXPECT_EQ(measureDirect(model).frame, test::writeDirect(model).size());
  EXPECT_EQ(measureTagged(model).frame, test::writeTagged(model).size());
  EXPECT_TRUE(measureTagged(model).types.empty());
}

}  // namespace
}  // namespace kr::zero::io
