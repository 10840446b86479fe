// The sample model through every way in and out of the tagged format.
#include <gtest/gtest.h>

#include "support/Reading.h"
#include "support/SampleModel.h"
#include "support/TaggedReading.h"

namespace kr::zero::test {

namespace {

Model throughTagged(const Model& model) {
  const auto parser = makeTaggedParser(sampleRegistry());
  const std::string bytes = writeTagged(model);
  EXPECT_TRUE(parser->parse(io::ParsingInput::fromString(bytes)));
  return parser->takeModel();
}

/// The sample without what the format cannot keep: a zero's sign.
Model sampleWithoutNegativeZero() {
  Model model = makeSample();
  model.getRoots().at(0).getElement("place").set("y", 0.0);
  return model;
}

}  // namespace

TEST(TaggedSample, ComesBackEqualButForTheSignOfAZero) {
  const Model model = sampleWithoutNegativeZero();
  EXPECT_EQ(findDifference(model, throughTagged(model)), std::nullopt);
  EXPECT_NE(findDifference(makeSample(), throughTagged(makeSample())), std::nullopt);
}

TEST(TaggedSample, GivesTheSameBytesAgain) {
  const std::string bytes = writeTagged(makeSample());
  EXPECT_EQ(writeTagged(throughTagged(makeSample())), bytes);
}

TEST(TaggedSample, GivesTheSameDirectBytes) {
  const Model model = sampleWithoutNegativeZero();
  EXPECT_EQ(toHex(writeDirect(throughTagged(model))), toHex(writeDirect(model)));
}

TEST(TaggedSample, ReadsIntoAnotherRegistryOfTheSameMetaModel) {
  meta::MetaRegistry other;
  other.add(sampleDefinition());
  const Model model = sampleWithoutNegativeZero();
  const auto parser = makeTaggedParser(other);
  const std::string bytes = writeTagged(model);
  ASSERT_TRUE(parser->parse(io::ParsingInput::fromString(bytes)));
  EXPECT_EQ(findDifference(model, parser->takeModel()), std::nullopt);
}

}  // namespace kr::zero::test
