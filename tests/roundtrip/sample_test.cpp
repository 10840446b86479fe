// The sample model through every way in and out.
#include <gtest/gtest.h>

#include <sstream>

#include "kr/zero/io/BinaryFormats.h"
#include "kr/zero/io/ModelFile.h"
#include "support/DirectWalker.h"
#include "support/Outcome.h"
#include "support/Paths.h"
#include "support/Reading.h"
#include "support/SampleModel.h"

namespace kr::zero::test {

TEST(Sample, IsWhatItSays) { expectSample(makeSample()); }

TEST(Sample, GoesThroughBytes) {
  const Bytes bytes = writeDirect(makeSample());
  const auto parser = makeParser(sampleRegistry());
  ASSERT_EQ(parseBytes(*parser, bytes), (Outcome{Ending::success, {}}));
  const Model again = parser->takeModel();
  expectSample(again);
  EXPECT_EQ(findDifference(makeSample(), again), std::nullopt);
}

TEST(Sample, GoesThroughAStream) {
  std::stringstream stream;
  io::BinarySerializer().serialize(makeSample(), io::SerializationOutput::toStream(stream));
  const auto parser = makeParser(sampleRegistry());
  ASSERT_TRUE(parser->parse(io::ParsingInput::fromStream(stream)));
  expectSample(parser->takeModel());
}

TEST(Sample, GoesThroughAFile) {
  const ustring path = toUstring(temporaryPath("sample.krb"));
  io::BinarySerializer().serialize(makeSample(), io::SerializationOutput::toFile(path));
  const auto parser = makeParser(sampleRegistry());
  ASSERT_TRUE(parser->parseFile(path));
  expectSample(parser->takeModel());
}

TEST(Sample, GoesThroughTheFormatProvider) {
  io::registerBinaryFormats();
  const ustring path = toUstring(temporaryPath("provided.krb"));
  io::saveModel(makeSample(), path);
  expectSample(io::loadModel(path, sampleRegistry()));
}

TEST(Sample, EveryWayOutGivesTheSameBytes) {
  const Model model = makeSample();
  const Bytes bytes = writeDirect(model);
  const std::string text(bytes.begin(), bytes.end());
  std::ostringstream stream;
  io::BinarySerializer().serialize(model, io::SerializationOutput::toStream(stream));
  EXPECT_EQ(stream.str(), text);
  const std::string path = temporaryPath("same.krb");
  io::BinarySerializer().serialize(model, io::SerializationOutput::toFile(toUstring(path)));
  EXPECT_EQ(readFile(path), text);
}

TEST(Sample, GivesTheSameBytesAgain) {
  const Bytes bytes = writeDirect(makeSample());
  EXPECT_EQ(writeDirect(makeSample()), bytes);
  const auto parser = makeParser(sampleRegistry());
  ASSERT_EQ(parseBytes(*parser, bytes).ending, Ending::success);
  EXPECT_EQ(writeDirect(parser->takeModel()), bytes);
}

TEST(Sample, HoldsWhatAnObviousReaderFinds) {
  const DirectLayout layout = walkDirect(writeDirect(makeSample()), sampleRegistry());
  EXPECT_EQ(layout.elements, 8u);
  EXPECT_EQ(layout.datatypes, 7u);
  EXPECT_EQ(layout.references, 12u);
  EXPECT_EQ(layout.maxDepth, 3u);
  EXPECT_EQ(layout.ends.size(), 5u);
}

TEST(Sample, IsCopied) {
  const Model model = makeSample();
  const Model copy = model.clone();
  expectSample(copy);
  EXPECT_EQ(findDifference(model, copy), std::nullopt);
  EXPECT_EQ(writeDirect(copy), writeDirect(model));
}

TEST(Sample, ReadsIntoAnotherRegistryOfTheSameMetaModel) {
  meta::MetaRegistry other;
  other.add(sampleDefinition());
  const auto parser = makeParser(other);
  ASSERT_EQ(parseBytes(*parser, writeDirect(makeSample())).ending, Ending::success);
  const Model again = parser->takeModel();
  expectSample(again);
  EXPECT_EQ(findDifference(makeSample(), again), std::nullopt);
}

TEST(Sample, AnyChangeIsADifference) {
  // The comparison that all round trips rest on sees each kind of change.
  const Model model = makeSample();
  const auto changed = [&](const auto& change) {
    Model copy = model.clone();
    change(copy.getRoots().at(0));
    return findDifference(model, copy).has_value();
  };
  EXPECT_FALSE(changed([](Element) {}));
  EXPECT_TRUE(changed([](Element e) { e.set("name", "other"); }));
  EXPECT_TRUE(changed([](Element e) { e.unset("name"); }));
  EXPECT_TRUE(changed([](Element e) { e.setEmpty("oneReal"); }));
  EXPECT_TRUE(changed([](Element e) { e.set("oneReal", 0.2); }));
  EXPECT_TRUE(changed([](Element e) { e.setTextForm("mustColour", "green"); }));
  EXPECT_TRUE(changed([](Element e) { e.add("manyInteger", 1); }));
  EXPECT_TRUE(changed([](Element e) { e.removeAt("manyString", 1); }));
  EXPECT_TRUE(changed([](Element e) { e.setTextForm("oneUUID", "00112233-4455-6677-8899-aabbccddeefe"); }));
  EXPECT_TRUE(changed([](Element e) { e.setTextForm("oneDateTime", "2010-02-01T05:12:32.125+02:00"); }));
  EXPECT_TRUE(changed([](Element e) { e.getElement("place").set("y", 0.0); }));  // was -0.0
  EXPECT_TRUE(changed([](Element e) { e.getElement("area").unset("colour"); }));
  EXPECT_TRUE(changed([](Element e) { e.unset("child"); }));
  EXPECT_TRUE(changed([](Element e) { e.create("children", "sample.Item"); }));
  EXPECT_TRUE(changed([](Element e) { e.set("friend", e); }));
  EXPECT_TRUE(changed([](Element e) { e.unset("anything"); }));
  EXPECT_TRUE(changed([](Element e) { e.removeAt("friends", 3); }));
  EXPECT_TRUE(changed([](Element e) {
    e.putUnresolved("friend", {"sample.Item", "shelf", "grandchild", {}});
  }));
  EXPECT_TRUE(changed([](Element e) { e.clearIdentity(); }));
  EXPECT_TRUE(changed([](Element e) { e.setIdentity("shelf", "other"); }));
  EXPECT_TRUE(changed([](Element e) { e.getModel().createRoot("sample.Item"); }));
  EXPECT_TRUE(changed([](Element e) { e.adopt("children", e.getElement("children", 1), 0); }));
}

}  // namespace kr::zero::test
