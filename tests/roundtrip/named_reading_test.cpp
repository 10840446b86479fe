// A processor of a host's own is called by names, ours in larger units: nobody can tell from what comes out.
#include <gtest/gtest.h>

#include <vector>

#include "kr/zero/io/ParseProcessor.h"
#include "kr/zero/io/Serializer.h"
#include "modeling/sylvan/NullEventProcessor.h"
#include "support/Environment.h"
#include "support/GoldenDocuments.h"
#include "support/Paths.h"
#include "support/RandomModel.h"
#include "support/Reading.h"
#include "support/SampleModel.h"
#include "support/TaggedReading.h"

namespace kr::zero::io {
namespace {

/// What ParseProcessor is, and nothing else: but it might override something.
class HostProcessor final : public ParseProcessor {
 public:
  using ParseProcessor::ParseProcessor;
};

/// All that a caller sees of a parse: what was thrown, problems, and the model.
std::string readWith(BinaryKRSylvanParser& parser, const ParsingInput& input) {
  std::string seen;
  try {
    seen = parser.parse(input) ? "read" : "refused";
  } catch (const std::exception& failure) {
    seen = std::string(typeid(failure).name()) + ": " + failure.what();
  }
  for (const std::string& problem : parser.getProblems()) seen += "\n" + problem;
  seen += "\n" + parser.describeFailure() + "\n";
  try {
    return seen + test::writeTagged(parser.getModelBuilder().takeModel());
  } catch (const SerializeError& failure) {  // of a read that broke off, some references were not resolved
    return seen + failure.what();
  }
}

/// Both ways of one registry.
class BothWays {
 public:
  explicit BothWays(const meta::MetaRegistry& registry)
      : units_(test::makeTaggedParser(registry)), names_(test::makeTaggedParser(registry)) {
    names_->setParseProcessor(std::make_unique<HostProcessor>(names_->getParseProcessor()->getCustomizer(),
                                                              names_->getModelBuilder()));
  }
  /// Whether both saw the same; the text goes to the test's output otherwise.
  bool agreeOn(const std::string& bytes) { return agreeOn(ParsingInput::fromString(bytes)); }
  bool agreeOn(const ParsingInput& input) {
    const std::string byUnits = readWith(*units_, input);
    const std::string byNames = readWith(*names_, input);
    EXPECT_EQ(byUnits, byNames);
    return byUnits == byNames;
  }

 private:
  std::unique_ptr<BinaryKRSylvanParser> units_;
  std::unique_ptr<BinaryKRSylvanParser> names_;
};

TEST(TaggedReadingByNames, AgreesWithLargerUnitsOnDamagedSamples) {
  test::Random random(test::seedFor("damaged samples"));
  const std::string whole = test::writeTagged(test::makeSample());
  BothWays ways(test::sampleRegistry());
  ASSERT_TRUE(ways.agreeOn(whole));
  const std::size_t documents = test::underAddressSanitizer() ? 500 : 5000;
  for (std::size_t i = 0; i < documents; ++i) {
    std::string bytes = whole;
    for (std::size_t change = random.between(1, 3); change > 0; --change)
      bytes[random.below(bytes.size())] = static_cast<char>(random.below(256));
    if (random.percent(20)) {
      const std::size_t at = random.below(bytes.size());
      bytes.insert(at, bytes.substr(random.below(bytes.size()), random.below(40)));
    }
    ASSERT_TRUE(ways.agreeOn(bytes)) << "document " << i;
  }
}

TEST(TaggedReadingByNames, AgreesWithLargerUnitsOnRandomModels) {
  test::Random random(test::seedFor("random models"));
  for (int i = 0; i < 200; ++i) {
    const auto registry = test::makeRandomRegistry(random);
    const std::string bytes = test::writeTagged(test::makeRandomModel(*registry, random));
    ASSERT_TRUE(BothWays(*registry).agreeOn(bytes)) << "model " << i;
  }
}

// A file comes in pieces of 64 KiB: units end where one does, and go on in the next.
TEST(TaggedReadingByNames, AgreesWithLargerUnitsOnFilesOfSeveralPieces) {
  test::Random random(test::seedFor("files"));
  const std::string path = test::temporaryPath("pieces.krt");
  BothWays ways(test::sampleRegistry());
  for (int i = 0; i < 40; ++i) {
    Model model(test::sampleRegistry());
    Element last;
    for (int item = 0; item < 1500; ++item) {
      Element made = model.createRoot("sample.Item");
      made.set("name", std::string(random.below(100), 'n'));
      made.set("rightMark", item);
      if (last) made.create("children", "sample.Item").set("friend", last);
      last = made;
    }
    std::string bytes = test::writeTagged(model);
    ASSERT_GT(bytes.size(), 3u << 16);
    if (i % 2 != 0) bytes[random.below(bytes.size())] ^= 0x20;
    test::writeFile(path, bytes);
    ASSERT_TRUE(ways.agreeOn(ParsingInput::fromFile(toUstring(path)))) << "document " << i;
  }
}

/// Cuts a document behind each of its events.
class Cutter final : public modeling::sylvan::SylvanEventProcessor<void> {
 public:
  using Primitive = modeling::sylvan::SylvanPrimitive;

  static std::vector<std::string> cut(const std::string& bytes) {
    Cutter cutter(bytes);
    ParsingInput::fromString(bytes).visitInput(cutter.assembler_);
    return std::move(cutter.items_);
  }

  void startDocument(const Primitive&) override { cut(); }
  void endDocument() override { cut(); }
  void startStruct() override { cut(); }
  void endStruct() override { cut(); }
  void startNamedEntry(const Primitive&) override { cut(); }
  void endNamedEntry() override { cut(); }
  void startSequence() override { cut(); }
  void endSequence() override { cut(); }
  void startMetadata() override { cut(); }
  void endMetadata() override { cut(); }
  void writePrimitive(const Primitive&) override { cut(); }

 private:
  explicit Cutter(const std::string& bytes) : bytes_(bytes) {}
  void cut() {
    const std::size_t offset = assembler_.getByteOffset();
    items_.push_back(bytes_.substr(end_, offset - end_));
    end_ = offset;
  }

  const std::string& bytes_;
  std::vector<std::string> items_;
  std::size_t end_ = 0;
  BinaryAssembler assembler_{this};
};

/// Changes the order of some items, or has some once more or not at all, and some that were not there.
std::string damageItems(test::Random& random, std::vector<std::string> items) {
  static const std::vector<std::string> others = {std::string("\x13", 1),
                                                  "\x16",
                                                  "\x12",
                                                  "\x15",
                                                  "\x20\x05",
                                                  "\x28\x05",
                                                  "\x30\x01x",
                                                  "\x09\x30\x01x",
                                                  std::string("\x31\x01\0\0\0\0\0\0\0y", 10),
                                                  std::string("\x30\x01\xFF", 3)};
  for (std::size_t change = random.between(1, 2); change > 0; --change) {
    const std::size_t at = random.below(items.size());
    const auto item = items.begin() + static_cast<std::ptrdiff_t>(at);
    switch (random.below(5)) {
      case 0:
        if (items.size() > 1) items.erase(item);
        break;
      case 1:
        items.insert(item, std::string(items[random.below(items.size())]));
        break;
      case 2:
        items[at] = items[random.below(items.size())];
        break;
      case 3:
        std::swap(items[at], items[random.below(items.size())]);
        break;
      default:
        items[at] = others[random.below(others.size())];
    }
  }
  std::string bytes;
  for (const std::string& item : items) bytes += item;
  return bytes;
}

/// Tries documents of damaged items, the same number of each of some whole ones.
void agreeOnDamagedItems(const meta::MetaRegistry& registry, const std::vector<std::string>& documents,
                         std::size_t count, test::Random& random) {
  BothWays ways(registry);
  for (const std::string& document : documents) {
    const std::vector<std::string> items = Cutter::cut(document);
    ASSERT_TRUE(ways.agreeOn(document));
    for (std::size_t i = 0; i < count / documents.size(); ++i) {
      const std::string bytes = damageItems(random, items);
      ASSERT_TRUE(ways.agreeOn(bytes)) << test::toHex({bytes.begin(), bytes.end()});
    }
  }
}

const std::size_t kDamagedItems =
    test::numberFromEnvironment("KR0_MUTANTS", test::underAddressSanitizer() ? 6000 : 80000);

TEST(TaggedReadingByNames, AgreesWithLargerUnitsOnDamagedItemsOfGoldenDocuments) {
  test::Random random(test::seedFor("damaged items"));
  std::vector<std::string> documents;
  for (const test::GoldenDocument& document : test::goldenDocuments()) {
    const auto parser = test::makeParser(test::goldenRegistry());
    ASSERT_TRUE(parser->parseByteSequence(document.bytes)) << document.name;
    documents.push_back(test::writeTagged(parser->takeModel()));
  }
  agreeOnDamagedItems(test::goldenRegistry(), documents, kDamagedItems / 2, random);
}

TEST(TaggedReadingByNames, AgreesWithLargerUnitsOnDamagedItemsOfRandomModels) {
  test::Random random(test::seedFor("damaged items of random models"));
  constexpr std::size_t kOfEach = 250;
  for (std::size_t tried = 0; tried < kDamagedItems / 2 && !HasFailure();) {
    const auto registry = test::makeRandomRegistry(random);
    const std::string document = test::writeTagged(test::makeRandomModel(*registry, random));
    if (document.size() > 4000) continue;  // most of a large one is read as it is
    agreeOnDamagedItems(*registry, {document}, kOfEach, random);
    tried += kOfEach;
  }
}

}  // namespace
}  // namespace kr::zero::io
