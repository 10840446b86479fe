// Any bytes at all, given to the reader of the tagged format with grammar and model behind it: cut, damaged,
// deep, large, and with memory that fails. KR0_MUTANTS sets the number of random mutants.
#include <gtest/gtest.h>

#include <array>
#include <iostream>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "hostile/DamageCheck.h"
#include "kr/zero/io/Errors.h"
#include "kr/zero/io/ParseProcessor.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "modeling/sylvan/grammar/GrammarException.h"
#include "support/AllocationMeter.h"
#include "support/Environment.h"
#include "support/GoldenDocuments.h"
#include "support/Outcome.h"
#include "support/Paths.h"
#include "support/Random.h"
#include "support/Reading.h"
#include "support/SampleModel.h"
#include "support/SmallStack.h"
#include "support/TaggedReading.h"

namespace kr::zero::test::tagged {

namespace {

/// How reading damaged bytes of the tagged format may end, and how it may not.
enum class End : std::size_t { success, refused, corrupt, value, grammar, tooLong, noMemory, undocumented };
constexpr std::array<const char*, 8> endNames{"success",    "refused",          "CorruptInput",
                                              "ValueError", "GrammarException", "length_error",
                                              "bad_alloc",  "UNDOCUMENTED"};

End endOf(const Outcome& outcome) {
  switch (outcome.ending) {
    case Ending::success:
      return End::success;
    case Ending::refused:
      return End::refused;
    case Ending::corruptInput:
      return End::corrupt;
    case Ending::valueError:
      return End::value;
    case Ending::outOfMemory:
      return End::noMemory;
    default:
      return End::undocumented;
  }
}

End readTagged(io::Parser& parser, const io::ParsingInput& input) {
  End end = End::undocumented;
  const Outcome outcome = outcomeOf(parser, [&] {
    try {
      return parser.parse(input);
    } catch (const modeling::sylvan::grammar::GrammarException&) {
      end = End::grammar;
      throw;
    } catch (const std::length_error&) {
      end = End::tooLong;
      throw;
    }
  });
  return end != End::undocumented ? end : endOf(outcome);
}

End readTagged(io::Parser& parser, const std::string& bytes) {
  return readTagged(parser, io::ParsingInput::fromString(bytes));
}

Model readGolden(const Bytes& direct) {
  const auto parser = makeParser(goldenRegistry());
  EXPECT_EQ(parseBytes(*parser, direct), (Outcome{Ending::success, {}}));
  return parser->takeModel();
}

struct Document {
  std::string name;
  std::string bytes;
};

/// The golden documents, as the tagged format has them.
const std::vector<Document>& documents() {
  static const std::vector<Document> all = [] {
    std::vector<Document> made;
    for (const GoldenDocument& golden : goldenDocuments())
      made.push_back({golden.name, writeTagged(readGolden(golden.bytes))});
    return made;
  }();
  return all;
}

/// The bound of the direct format holds here too; the most expensive bytes take 40 each, see below.
std::size_t memoryFor(std::size_t bytes) { return memoryFloor + memoryPerByte * bytes; }

/// Reads mutants and checks what must hold for each; see DamageCheck, its sister for the direct format.
class TaggedDamage {
 public:
  TaggedDamage(const meta::MetaRegistry& registry, std::string intact)
      : intact_(std::move(intact)), parser_(makeTaggedParser(registry)), second_(makeTaggedParser(registry)) {
    EXPECT_EQ(readTagged(*parser_, intact_), End::success);
  }

  void examine(const std::string& bytes) {
    const End end = readMeasured(bytes);
    ++census_[static_cast<std::size_t>(end)];
    ++examined_;
    EXPECT_NE(end, End::undocumented);
    const Model model = parser_->getModelBuilder().takeModel();
    EXPECT_EQ(model.clone().size(), model.size());
    if (end == End::success && getCount(End::success) % 8 == 1) examineRoundTrip(model);
    if (examined_ % 64 == 0) {
      EXPECT_EQ(readTagged(*parser_, intact_), End::success);
      EXPECT_EQ(writeTagged(parser_->takeModel()), intact_);
    }
    if (testing::Test::HasFailure())
      ADD_FAILURE() << "for the bytes " << toHex(Bytes(bytes.begin(), bytes.end()));
  }

  std::uint64_t getExamined() const { return examined_; }
  std::uint64_t getCount(End end) const { return census_[static_cast<std::size_t>(end)]; }
  void report() const {
    std::cout << examined_ << " mutants:";
    for (std::size_t i = 0; i < census_.size(); ++i)
      if (census_[i] != 0) std::cout << " " << census_[i] << " " << endNames[i] << ";";
    std::cout << std::endl;
  }

 private:
  End readMeasured(const std::string& bytes) {
    const AllocationMeter meter;
    const End end = readTagged(*parser_, bytes);
    // A text's length is reserved before its bytes are read, as much as it says.
    const bool reserved = parser_->describeFailure().find("String cut short") != std::string::npos ||
                          end == End::tooLong || end == End::noMemory;
    const std::size_t forged = reserved ? meter.getLargestRequest() : 0;
    EXPECT_LE(meter.getPeakBytes(), memoryFor(bytes.size()) + forged);
    return end;
  }

  void examineRoundTrip(const Model& model) {
    std::string first;
    try {
      first = writeTagged(model);
    } catch (const io::SerializeError& e) {
      // A dangling number of the damaged document that is an element's in the one that is written.
      EXPECT_NE(std::string(e.what()).find("which is written with that number"), std::string::npos)
          << e.what();
      return;
    }
    EXPECT_EQ(readTagged(*second_, first), End::success);
    EXPECT_EQ(writeTagged(second_->takeModel()), first);
  }

  std::string intact_;
  std::unique_ptr<io::BinaryKRSylvanParser> parser_;
  std::unique_ptr<io::BinaryKRSylvanParser> second_;
  std::uint64_t examined_ = 0;
  std::array<std::uint64_t, endNames.size()> census_{};
};

void damageSomewhere(std::string& bytes, Random& random) {
  const std::size_t at = random.below(bytes.size());
  switch (random.below(6)) {
    case 0:
      bytes[at] = static_cast<char>(random.below(256));
      break;
    case 1:
      bytes[at] = static_cast<char>(bytes[at] ^ (1 << random.below(8)));
      break;
    case 2:
      bytes.insert(at, random.between(1, 4), static_cast<char>(random.below(0x32)));
      break;
    case 3:
      bytes.erase(at, random.between(1, 4));
      break;
    case 4:
      bytes.insert(at, bytes.substr(random.below(bytes.size()), random.between(1, 16)));
      break;
    default: {
      const std::string& other = random.pick(documents()).bytes;
      bytes = bytes.substr(0, at) + other.substr(random.below(other.size()));
    }
  }
  if (bytes.empty()) bytes = taggedHeader;
}

}  // namespace

TEST(TaggedTruncation, EveryProperPrefixIsCorruptInputThroughEveryWayIn) {
  const std::string path = temporaryPath("prefix.krt");
  std::size_t count = 0;
  for (const Document& document : documents()) {
    SCOPED_TRACE(document.name);
    const auto parser = makeTaggedParser(goldenRegistry());
    for (std::size_t size = 0; size < document.bytes.size(); ++size, ++count) {
      const std::string prefix = document.bytes.substr(0, size);
      ASSERT_EQ(readTagged(*parser, prefix), End::corrupt) << size;
      const Bytes vector(prefix.begin(), prefix.end());
      ASSERT_EQ(readTagged(*parser, io::ParsingInput::fromByteSequence(vector)), End::corrupt) << size;
      std::istringstream stream(prefix);
      ASSERT_EQ(readTagged(*parser, io::ParsingInput::fromStream(stream)), End::corrupt) << size;
      if (size % 8 != 0) continue;  // files take their time
      writeFile(path, prefix);
      ASSERT_EQ(readTagged(*parser, io::ParsingInput::fromFile(toUstring(path))), End::corrupt) << size;
    }
    ASSERT_EQ(readTagged(*parser, document.bytes), End::success);
    EXPECT_EQ(writeTagged(parser->takeModel()), document.bytes);
  }
  EXPECT_GT(count, 1500u);
}

TEST(TaggedDamageTest, EveryByteOfEverySmallDocumentMayHoldAnyValue) {
  ASSERT_TRUE(AllocationMeter::isWatching());
  TaggedDamage check(goldenRegistry(), documents().back().bytes);
  const unsigned step = underAddressSanitizer() ? 7 : 1;
  const std::size_t longest = underAddressSanitizer() ? 256 : 1024;
  for (const Document& document : documents()) {
    if (document.bytes.size() > longest) continue;
    std::string mutant = document.bytes;
    for (std::size_t i = 0; i < mutant.size(); ++i) {
      for (unsigned change = 1; change < 256 && !HasFailure(); change += step) {
        mutant[i] = static_cast<char>(document.bytes[i] ^ static_cast<char>(change));
        check.examine(mutant);
      }
      mutant[i] = document.bytes[i];
    }
    ASSERT_FALSE(HasFailure()) << document.name;
  }
  check.report();
  EXPECT_GT(check.getExamined(), 50000u);
  for (const End end : {End::success, End::refused, End::corrupt, End::value, End::grammar})
    EXPECT_GT(check.getCount(end), 100u) << endNames[static_cast<std::size_t>(end)];
}

TEST(TaggedDamageTest, EveryPairOfBitsOfTheFirst16BytesMayTurnOver) {
  TaggedDamage check(goldenRegistry(), documents().back().bytes);
  const std::size_t bits = underAddressSanitizer() ? 64 : 128;
  for (const Document& document : documents()) {
    for (std::size_t first = 0; first < bits; ++first)
      for (std::size_t second = first + 1; second < bits && !HasFailure(); ++second) {
        std::string mutant = document.bytes;
        for (const std::size_t bit : {first, second})
          mutant[bit / 8] = static_cast<char>(mutant[bit / 8] ^ (1 << (bit % 8)));
        check.examine(mutant);
      }
    ASSERT_FALSE(HasFailure()) << document.name;
  }
  check.report();
  EXPECT_GT(check.getExamined(), underAddressSanitizer() ? 20000u : 80000u);
  EXPECT_GT(check.getCount(End::success), 100u);
  EXPECT_GT(check.getCount(End::corrupt), 1000u);
}

TEST(TaggedDamageTest, RandomDamageIsFound) {
  const std::uint64_t mutants =
      numberFromEnvironment("KR0_MUTANTS", underAddressSanitizer() ? 20000 : 200000);
  Random random(seedFor("random damage to tagged documents"));
  TaggedDamage check(goldenRegistry(), documents().back().bytes);
  while (check.getExamined() < mutants && !HasFailure()) {
    std::string bytes = random.pick(documents()).bytes;
    for (std::size_t n = random.between(1, 3); n > 0; --n) damageSomewhere(bytes, random);
    check.examine(bytes);
  }
  check.report();
}

TEST(TaggedDamageTest, AForgedLengthIsNoCrash) {
  const std::string start = taggedHeader + "\x07\x09\x30\x07version\x20\x01\x10\x09\x30\x08packages\x05\x31";
  const auto parser = makeTaggedParser(goldenRegistry());
  EXPECT_EQ(readTagged(*parser, start + std::string(8, '\xFF')), End::tooLong);
  EXPECT_EQ(readTagged(*parser, start + std::string(6, '\0') + std::string("\x00\x20", 2)), End::noMemory);
  EXPECT_EQ(readTagged(*parser, start + std::string("\x09\0\0\0\0\0\0\0", 8) + "short"), End::corrupt);
}

// --- Memory that fails

namespace {

std::uint64_t failEachRequest(std::uint64_t inARow, const std::function<void()>& attempt) {
  std::uint64_t total = 0;
  for (std::uint64_t n = 0; n < 20000 && !testing::Test::HasFailure(); ++n) {
    std::uint64_t failed = 0;
    {
      const FailingAllocations faults(n, inARow);
      try {
        attempt();
      } catch (const std::bad_alloc&) {
      } catch (const std::ios_base::failure&) {  // what a stream makes of it
      } catch (const io::Error<kr0::io::CorruptInput>&) {
        // What the assembler's source makes of a string stream without memory.
      } catch (const modeling::sylvan::grammar::GrammarException& error) {
        EXPECT_TRUE(std::string(error.what()).ends_with("std::bad_alloc")) << error.what();
      }
      failed = faults.getFailures();
    }
    if (failed == 0) return total;
    total += failed;
  }
  ADD_FAILURE() << "no end of failing requests";
  return total;
}

}  // namespace

TEST(TaggedFaults, ReadingSurvivesEveryFailedRequest) {
  ASSERT_TRUE(AllocationMeter::isWatching());
  std::uint64_t total = 0;
  for (const Document& document : documents()) {
    SCOPED_TRACE(document.name);
    const auto parser = makeTaggedParser(goldenRegistry());
    const auto attempt = [&] { EXPECT_TRUE(parser->parse(io::ParsingInput::fromString(document.bytes))); };
    const std::uint64_t faults =
        failEachRequest(1, attempt) + failEachRequest(FailingAllocations::allOfThem, attempt);
    EXPECT_GT(faults, 0u);
    total += faults;
    ASSERT_EQ(readTagged(*parser, document.bytes), End::success);
    EXPECT_EQ(writeTagged(parser->takeModel()), document.bytes);
  }
  std::cout << total << " requests failed" << std::endl;
}

TEST(TaggedFaults, WritingSurvivesEveryFailedRequest) {
  ASSERT_TRUE(AllocationMeter::isWatching());
  for (const GoldenDocument& golden : goldenDocuments()) {
    SCOPED_TRACE(golden.name);
    const Model model = readGolden(golden.bytes);
    const std::string expected = writeTagged(model);
    io::BinaryKRSylvanSerializer serializer;
    std::string bytes;
    const auto attempt = [&] {
      serializer.serialize(model, io::SerializationOutput::toString(bytes));
      EXPECT_EQ(bytes, expected);
    };
    EXPECT_GT(failEachRequest(1, attempt) + failEachRequest(FailingAllocations::allOfThem, attempt), 0u);
    attempt();
  }
}

TEST(TaggedFaults, AFailureIsHandedOnEvenIfThereIsNoMemoryToNoteIt) {
  ASSERT_TRUE(AllocationMeter::isWatching());
  struct Stop {};
  // Has no memory left from its first element on.
  class Failing final : public io::ParseProcessor {
   public:
    explicit Failing(io::Parser& of)
        : ParseProcessor(of.getParseProcessor()->getCustomizer(), of.getModelBuilder()) {}
    bool push(const ustring&, const ustring&, const ustring&) override {
      faults.emplace(0, FailingAllocations::allOfThem);
      throw Stop();
    }
    void parseCompleted() override {
      failures = faults ? faults->getFailures() : 0;
      faults.reset();
      ++completed;
    }
    std::optional<FailingAllocations> faults;
    std::uint64_t failures = 0;
    int completed = 0;
  };
  const auto parser = makeTaggedParser(goldenRegistry());
  auto failing = std::make_unique<Failing>(*parser);
  Failing& processor = *failing;
  parser->setParseProcessor(std::move(failing));
  EXPECT_THROW(static_cast<void>(parser->parse(io::ParsingInput::fromString(documents().back().bytes))),
               Stop);
  EXPECT_EQ(processor.completed, 1);
  EXPECT_GT(processor.failures, 0u);
}

TEST(TaggedFaults, NothingLeaksFromAFailedWrite) {
  const Model model = readGolden(goldenDocuments().back().bytes);
  const auto failEach = [&] {
    const std::uint64_t faults = failEachRequest(1, [&] { static_cast<void>(writeTagged(model)); });
    EXPECT_GT(faults, 0u);
  };
  failEach();  // makes what is made once per process
  const AllocationMeter meter;
  failEach();
  EXPECT_LE(meter.getLiveBytes(), 0);
}

TEST(TaggedFaults, AStreamAndAFileSurviveEveryFailedRequest) {
  const std::string& bytes = documents().back().bytes;
  const std::string path = temporaryPath("faults.krt");
  writeFile(path, bytes);
  const auto parser = makeTaggedParser(goldenRegistry());
  std::istringstream stream(bytes);
  const auto readStream = [&] {
    stream.clear();
    stream.seekg(0);
    EXPECT_TRUE(parser->parse(io::ParsingInput::fromStream(stream)));
  };
  const auto readFile = [&] { EXPECT_TRUE(parser->parseFile(toUstring(path))); };
  const Model model = readGolden(goldenDocuments().back().bytes);
  io::BinaryKRSylvanSerializer serializer;
  const auto writeStream = [&] {
    std::ostringstream out;
    serializer.serialize(model, io::SerializationOutput::toStream(out));
    EXPECT_EQ(out.str(), bytes);
  };
  const auto writeFile = [&] {
    serializer.serialize(model, io::SerializationOutput::toFile(toUstring(path)));
  };
  for (const std::function<void()>& attempt :
       std::initializer_list<std::function<void()>>{readStream, readFile, writeStream, writeFile})
    for (const std::uint64_t inARow : {std::uint64_t{1}, FailingAllocations::allOfThem})
      EXPECT_GT(failEachRequest(inARow, attempt), 0u);
  EXPECT_EQ(test::readFile(path), bytes);
}

TEST(TaggedFaults, NothingLeaksFromAFailedRead) {
  const std::string& bytes = documents().back().bytes;
  const auto failEach = [&] {
    failEachRequest(1, [&] {
      static_cast<void>(makeTaggedParser(goldenRegistry())->parse(io::ParsingInput::fromString(bytes)));
    });
  };
  failEach();
  const AllocationMeter meter;
  failEach();
  EXPECT_LE(meter.getLiveBytes(), 0);
}

// --- Deep and large documents

namespace {

constexpr std::size_t deep = 100000;
constexpr std::size_t deeper = underAddressSanitizer() ? 200000 : 1000000;

/// A chain through a single property and a collection in turn.
Model makeChain(std::size_t levels) {
  Model model(goldenRegistry());
  Element last = model.createRoot("g.N");
  for (std::size_t i = 1; i < levels; ++i) last = last.create(i % 2 == 0 ? "kid" : "kids");
  return model;
}

std::string text(const std::string& value) {
  return "\x30" + std::string(1, static_cast<char>(value.size())) + value;
}
std::string entry(const std::string& name) { return "\x09" + text(name); }

std::string beginDocument() {
  return taggedHeader + "\x07" + entry("version") + "\x20\x01\x10" + entry("packages") + "\x05" +
         text("urn:g") + "\x06\x10\x08\x05";
}
std::string beginElement() { return "\x07" + entry("type") + text("g.N") + "\x10\x08\x03"; }

struct Large {
  const char* name;
  End end;
  std::function<std::string(std::size_t)> make;
};

std::string times(std::size_t count, const std::string& piece) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += piece;
  return all;
}

const std::vector<Large>& largeDocuments() {
  static const std::string end = "\x06\x02";
  static const std::vector<Large> all{
      {"roots", End::success,
       [](std::size_t n) { return beginDocument() + times(n, beginElement() + "\x04") + end; }},
      {"children", End::success,
       [](std::size_t n) {
         return beginDocument() + beginElement() + entry("kids") + "\x05" +
                times(n, beginElement() + "\x04") + "\x06\x10\x04" + end;
       }},
      {"a chain", End::success,
       [](std::size_t n) {
         return beginDocument() + times(n, beginElement() + entry("kid")) + beginElement() +
                times(n, "\x04\x10") + "\x04" + end;
       }},
      {"open elements", End::corrupt,
       [](std::size_t n) { return beginDocument() + times(n, beginElement() + entry("kid")); }},
      {"texts", End::success,
       [](std::size_t n) {
         return beginDocument() + beginElement() + entry("tags") + "\x05" + times(n, text("")) +
                "\x06\x10\x04" + end;
       }},
      {"numbers", End::success,
       [](std::size_t n) {
         return beginDocument() + beginElement() + entry("numbers") + "\x05" + times(n, "\x13") +
                "\x06\x10\x04" + end;
       }},
      {"empty structs", End::success,
       [](std::size_t n) {
         return beginDocument() + beginElement() + entry("spans") + "\x05" + times(n, "\x03\x04") +
                "\x06\x10\x04" + end;
       }},
      {"references", End::success,
       [](std::size_t n) {
         return beginDocument() + beginElement() + entry("refs") + "\x05" +
                times(n, "\x03" + entry("type") + text("g.N") + "\x10" + entry("id") + "\x05" + text("a") +
                             text("b") + "\x06\x10\x04") +
                "\x06\x10\x04" + end;
       }},
      {"packages", End::success,
       [](std::size_t n) {
         return taggedHeader + "\x07" + entry("version") + "\x20\x01\x10" + entry("packages") + "\x05" +
                times(n, text("urn:g")) + "\x06\x10\x08\x05" + end;
       }},
      {"sequences in a sequence", End::undocumented,  // a value or grammar error
       [](std::size_t n) { return beginDocument() + beginElement() + entry("tags") + times(n, "\x05"); }},
  };
  return all;
}

}  // namespace

TEST(TaggedDepth, ADeepModelIsWrittenAndReadBackOnASmallStack) {
  onSmallStack([] {
    const Model model = makeChain(deep);
    const std::string bytes = writeTagged(model);
    const auto parser = makeTaggedParser(goldenRegistry());
    ASSERT_EQ(readTagged(*parser, bytes), End::success);
    const Model again = parser->takeModel();
    EXPECT_EQ(findDifference(model, again), std::nullopt);
    EXPECT_EQ(writeTagged(again), bytes);
  });
}

TEST(TaggedDepth, AMillionLevelsAreReadOnASmallStack) {
  onSmallStack([] {
    const auto parser = makeTaggedParser(goldenRegistry());
    ASSERT_EQ(readTagged(*parser, writeTagged(makeChain(deeper))), End::success);
    EXPECT_EQ(parser->getModelBuilder().takeModel().size(), deeper);
  });
}

TEST(TaggedDepth, ADocumentThatOnlyOpensElementsIsRefusedOnASmallStack) {
  onSmallStack([] {
    const auto parser = makeTaggedParser(goldenRegistry());
    ASSERT_EQ(readTagged(*parser, largeDocuments()[3].make(deeper)), End::corrupt);
    EXPECT_LT(parser->describeFailure().size(), 4000u);
    EXPECT_EQ(parser->getModelBuilder().takeModel().size(), deeper);
    EXPECT_EQ(readTagged(*parser, documents().back().bytes), End::success);
  });
}

TEST(TaggedDepth, AFailureAtTheBottomIsReportedInAFewWords) {
  onSmallStack([] {
    const auto parser = makeTaggedParser(goldenRegistry());
    const std::string document = largeDocuments()[3].make(deep) + "\x11";
    const Outcome outcome =
        outcomeOf(*parser, [&] { return parser->parse(io::ParsingInput::fromString(document)); });
    EXPECT_EQ(outcome.ending, Ending::valueError) << outcome.text.substr(0, 200);
    EXPECT_LT(outcome.text.size(), 4000u);
  });
}

TEST(TaggedBounds, MemoryStaysWithinAConstantTimesTheBytes) {
  ASSERT_TRUE(AllocationMeter::isWatching());
  for (const Large& large : largeDocuments()) {
    SCOPED_TRACE(large.name);
    for (const std::size_t count : {10u, 1000u, 66000u, 100000u}) {
      const std::string bytes = large.make(count);
      const auto parser = makeTaggedParser(goldenRegistry());
      const AllocationMeter meter;
      const End end = readTagged(*parser, bytes);
      if (large.end == End::undocumented)
        EXPECT_TRUE(end == End::value || end == End::grammar);
      else
        EXPECT_EQ(end, large.end);
      EXPECT_LE(meter.getPeakBytes(), memoryFor(bytes.size()));
      EXPECT_LE(meter.getLargestRequest(), std::max(requestFloor, requestPerByte * bytes.size()));
      if (count == 100000)
        std::cout << large.name << ": "
                  << static_cast<double>(meter.getPeakBytes()) / static_cast<double>(bytes.size())
                  << " bytes live per byte read" << std::endl;
    }
  }
}

namespace {

/// References in a list far down. The parts of each third one stand in another order than usual: it is read
/// event by event, and each time the grammar must learn how deep the document is.
std::string makeUnusualReferences(std::size_t depth, std::size_t count) {
  const std::string type = entry("type") + text("g.N") + "\x10";
  const std::string id = entry("id") + "\x05" + text("a") + text("b") + "\x06\x10";
  const std::string usual = "\x03" + type + id + "\x04";
  const std::string unusual = "\x03" + id + type + "\x04";
  return beginDocument() + times(depth, beginElement() + entry("kid")) + beginElement() + entry("refs") +
         "\x05" + times(count, usual + usual + unusual) + "\x06\x10\x04" + times(depth, "\x10\x04") +
         "\x06\x02";
}

/// The requests for memory that reading so many of them takes; those of the grammar stand out.
std::uint64_t countRequestsForUnusualReferences(io::Parser& parser, std::size_t depth) {
  const std::string bytes = makeUnusualReferences(depth, 1000);
  const AllocationMeter meter;
  EXPECT_EQ(readTagged(parser, bytes), End::success);
  return meter.getRequests();
}

}  // namespace

TEST(TaggedBounds, GoingOnWithEventsManyTimesCostsNoMoreTheDeeperADocumentIs) {
  const auto parser = makeTaggedParser(goldenRegistry());
  const std::uint64_t flat = countRequestsForUnusualReferences(*parser, 0);
  EXPECT_GT(flat, 5000u);  // it goes on with events again and again
  EXPECT_LT(countRequestsForUnusualReferences(*parser, 1000), flat);
  EXPECT_LT(countRequestsForUnusualReferences(*parser, 10000), flat);
}

TEST(TaggedBounds, AfterADocumentOfEventsTheNextOneIsReadInLargerUnits) {
  const auto parser = makeTaggedParser(goldenRegistry());
  std::string bigEndian = beginDocument() + "\x06\x02";
  bigEndian.replace(taggedHeader.size() - 2, 2, "KR");
  EXPECT_EQ(readTagged(*parser, bigEndian), End::success);
  EXPECT_GT(countRequestsForUnusualReferences(*parser, 0), 5000u);  // between them it goes on with events
}

}  // namespace kr::zero::test::tagged
