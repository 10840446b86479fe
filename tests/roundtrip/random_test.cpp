// Random models of random meta models: written, read and written again. KR0_PAIRS sets how many; KR0_SEED
// repeats a run, and a failure names the pair to start with.
#include <gtest/gtest.h>

#include <iostream>
#include <map>

#include "support/DirectWalker.h"
#include "support/Environment.h"
#include "support/Outcome.h"
#include "support/RandomModel.h"
#include "support/Reading.h"
#include "support/TaggedReading.h"

namespace kr::zero::test {

namespace {

// What a run has come across, so that a generator that makes nothing of a kind is noticed.
struct Coverage {
  std::size_t elements = 0;
  std::size_t datatypes = 0;
  std::size_t references = 0;
  std::size_t depth = 0;
  std::size_t bytes = 0;
  std::size_t keptByTagged = 0;  // models that hold no negative zero
  std::map<std::string, std::size_t> valuesByType;

  void note(const Model& model, const DirectLayout& layout) {
    elements += layout.elements;
    datatypes += layout.datatypes;
    references += layout.references;
    depth = std::max(depth, layout.maxDepth);
    for (const ConstElement element : model.elements())
      for (const meta::Property p : element.getType()->getAllProperties())
        if (p->isStored() && element.getState(p) == PropertyState::value)
          ++valuesByType[p->getType()->name()];
  }
};

class RoundTrip {
 public:
  void run(std::uint64_t seed) {
    Random random(seed);
    const auto registry = makeRandomRegistry(random);
    const Model model = makeRandomModel(*registry, random);
    const Bytes bytes = write(model);
    coverage_.note(model, walkDirect(bytes, *registry));
    coverage_.bytes += bytes.size();

    const auto parser = makeParser(*registry);
    ASSERT_EQ(parseBytes(*parser, bytes), (Outcome{Ending::success, {}}));
    const Model again = parser->takeModel();
    EXPECT_EQ(findDifference(model, again), std::nullopt);
    EXPECT_EQ(findDifference(again, model), std::nullopt);
    EXPECT_EQ(toHex(write(again)), toHex(bytes));

    const Model copy = model.clone();
    EXPECT_EQ(findDifference(model, copy), std::nullopt);
    EXPECT_EQ(toHex(write(copy)), toHex(bytes));

    goThroughTagged(*registry, again, bytes);
  }

  const Coverage& coverage() const { return coverage_; }

 private:
  Bytes write(const Model& model) {
    Bytes bytes;
    serializer_.serialize(model, io::SerializationOutput::toByteSequence(bytes));
    return bytes;
  }

  // Direct bytes, model, tagged bytes, model, direct bytes: nothing is lost on the way but the signs of
  // zeros, so a model has been through once before it is held against what comes back.
  void goThroughTagged(const meta::MetaRegistry& registry, const Model& model, const Bytes& direct) {
    std::string tagged;
    taggedSerializer_.serialize(model, io::SerializationOutput::toString(tagged));
    EXPECT_EQ(writeTagged(model), tagged);
    const Model once = readTagged(registry, tagged);
    const Model twice = readTagged(registry, writeTagged(once));
    EXPECT_EQ(writeTagged(twice), tagged);
    EXPECT_EQ(findDifference(once, twice), std::nullopt);
    EXPECT_EQ(findDifference(twice, once), std::nullopt);
    const Bytes again = write(once);
    EXPECT_EQ(toHex(write(twice)), toHex(again));
    if (again == direct) {
      EXPECT_EQ(findDifference(model, once), std::nullopt);
      ++coverage_.keptByTagged;
    } else {
      expectOnlySignsOfZerosDiffer(direct, again);
    }
  }

  Model readTagged(const meta::MetaRegistry& registry, const std::string& bytes) {
    const auto parser = makeTaggedParser(registry);
    EXPECT_TRUE(parser->parse(io::ParsingInput::fromString(bytes)))
        << (parser->getProblems().empty() ? "" : parser->getProblems().front());
    return parser->takeModel();
  }

  // The sign of a Real stands in the highest bit of its last byte, after seven bytes of 0 for a zero.
  static void expectOnlySignsOfZerosDiffer(const Bytes& before, const Bytes& after) {
    ASSERT_EQ(after.size(), before.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
      if (before[i] == after[i]) continue;
      EXPECT_EQ(before[i], 0x80) << "byte " << i;
      EXPECT_EQ(after[i], 0) << "byte " << i;
      ASSERT_GE(i, 7u);
      for (std::size_t k = i - 7; k < i; ++k) EXPECT_EQ(before[k], 0) << "byte " << k;
    }
  }

  // One for all, of many registries.
  io::BinarySerializer serializer_;
  io::BinaryKRSylvanSerializer taggedSerializer_;
  Coverage coverage_;
};

}  // namespace

TEST(RandomRoundTrip, ModelsComeBackEqualAndGiveTheSameBytesAgain) {
  const std::uint64_t pairs = numberFromEnvironment("KR0_PAIRS", underAddressSanitizer() ? 2000 : 5000);
  const std::uint64_t seed = seedFor("random models");
  RoundTrip roundTrip;
  for (std::uint64_t pair = 0; pair < pairs; ++pair) {
    SCOPED_TRACE("pair " + std::to_string(pair) + ": KR0_PAIRS=1 KR0_SEED=" + std::to_string(seed + pair));
    ASSERT_NO_THROW(roundTrip.run(seed + pair));
    if (HasFailure()) return;
  }
  const Coverage& coverage = roundTrip.coverage();
  std::cout << pairs << " pairs, " << coverage.elements << " elements, " << coverage.datatypes
            << " datatype values, " << coverage.references << " references, depth up to " << coverage.depth
            << ", " << coverage.bytes << " bytes" << std::endl;
  if (pairs < 1000) return;
  for (const char* type : {"Boolean", "Integer8", "UInteger8", "Integer16", "UInteger16", "Integer",
                           "UnlimitedNatural", "Integer64", "UInteger64", "Real", "String", "StdString",
                           "UUID", "DateTime", "JsonValue", "StringToStringMap", "ZoArray"})
    EXPECT_GT(coverage.valuesByType.count(type), 0u) << type;
  EXPECT_GT(coverage.elements, pairs);
  EXPECT_GT(coverage.datatypes, pairs);
  EXPECT_GT(coverage.references, pairs);
  EXPECT_GT(coverage.depth, 5u);
  EXPECT_GT(coverage.keptByTagged, pairs / 2);
}

TEST(RandomRoundTrip, TheSameSeedGivesTheSameBytes) {
  const auto bytesOf = [](std::uint64_t seed) {
    Random random(seed);
    const auto registry = makeRandomRegistry(random);
    return writeDirect(makeRandomModel(*registry, random));
  };
  for (std::uint64_t seed = 0; seed < 100; ++seed) EXPECT_EQ(bytesOf(seed), bytesOf(seed));
  EXPECT_NE(bytesOf(1), bytesOf(2));
}

TEST(RandomRoundTrip, DefinitionsInAnotherRegistryReadTheSameDocument) {
  const std::uint64_t seed = seedFor("random meta models twice");
  for (std::uint64_t pair = 0; pair < 200; ++pair) {
    SCOPED_TRACE("KR0_SEED=" + std::to_string(seed + pair));
    Random random(seed + pair);
    const std::vector<meta::PackageDefinition> definitions = makeRandomDefinitions(random);
    meta::MetaRegistry one;
    meta::MetaRegistry other;
    one.add(definitions);
    other.add(definitions);
    const Model model = makeRandomModel(one, random);
    const auto parser = makeParser(other);
    ASSERT_EQ(parseBytes(*parser, writeDirect(model)), (Outcome{Ending::success, {}}));
    EXPECT_EQ(findDifference(model, parser->takeModel()), std::nullopt);
  }
}

}  // namespace kr::zero::test
