// What parsers and serializers keep when a call is over: no open file, and no memory of a large document.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>

#include "kr/zero/KeptMemory.h"
#include "kr/zero/io/Errors.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "modeling/sylvan/NullEventProcessor.h"
#include "support/AllocationMeter.h"
#include "support/GoldenDocuments.h"
#include "support/Paths.h"
#include "support/Reading.h"
#include "support/TaggedReading.h"

namespace kr::zero::test {
namespace {

using io::ParsingInput;
using io::SerializationOutput;

/// Some buffers and tables, each of which may keep a little.
constexpr std::ptrdiff_t kMostKept = 4 * static_cast<std::ptrdiff_t>(kMostKeptBytes);
/// What the next small document may find there.
constexpr std::ptrdiff_t kLittle = static_cast<std::ptrdiff_t>(kMostKeptBytes);
constexpr std::size_t kLongText = std::size_t{1} << 20;

const meta::MetaRegistry& nodes() {
  static const meta::MetaRegistry& registry = [&]() -> const meta::MetaRegistry& {
    static meta::MetaRegistry made;
    meta::MetaModelBuilder package("urn:kept", "kept");
    auto& node = package.classType("Node");
    node.property("text", "String");
    node.property("to", "Node");
    node.property("children", "Node").many().composite();
    package.registerIn(made);
    return made;
  }();
  return registry;
}

/// A chain, then a wide level of elements with identities that refer to each other, then a long text.
Model makeLarge() {
  constexpr int kDepth = 30000;
  constexpr int kWidth = 30000;
  Model model(nodes());
  Element node = model.createRoot("kept.Node");
  const Element root = node;
  for (int i = 0; i < kDepth; ++i) node = node.create("children");
  Element before = node;
  for (int i = 0; i < kWidth; ++i) {
    Element child = Element(root).create("children");
    child.setIdentity("id", "number " + std::to_string(i));
    child.set("to", before);
    before = child;
  }
  before.set("text", std::string(kLongText, 'x'));
  return model;
}

Model makeSmall() {
  Model model(nodes());
  model.createRoot("kept.Node").set("text", "small");
  return model;
}

/// Names of the files that this process has open.
std::vector<std::string> listOpenFiles() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    names.push_back(std::filesystem::read_symlink(entry.path(), error).string());
  }
  return names;
}
bool isOpen(const std::string& path) {
  const auto names = listOpenFiles();
  return std::find(names.begin(), names.end(), path) != names.end();
}

/// A parser of either format, and documents for it.
struct Reader {
  std::string name;
  std::unique_ptr<io::Parser> parser;
  std::string small;
  std::string large;

  bool read(const std::string& document) const {
    const std::vector<unsigned char> bytes(document.begin(), document.end());
    return parser->parse(ParsingInput::fromByteSequence(bytes));
  }
};

std::vector<Reader> makeReaders() {
  const auto direct = [](const Model& model) {
    const Bytes bytes = writeDirect(model);
    return std::string(bytes.begin(), bytes.end());
  };
  std::vector<Reader> readers;
  readers.push_back({"direct", makeParser(nodes()), direct(makeSmall()), direct(makeLarge())});
  readers.push_back(
      {"tagged", makeTaggedParser(nodes()), writeTagged(makeSmall()), writeTagged(makeLarge())});
  return readers;
}

/// What a call that throws or returns leaves behind in memory.
std::ptrdiff_t keptAfter(const std::function<void()>& call) {
  const AllocationMeter meter;
  try {
    call();
  } catch (const std::exception&) {
  }
  return meter.getLiveBytes();
}

void writeTo(io::Serializer& serializer, const Model& model, Bytes& document) {
  serializer.serialize(model, SerializationOutput::toByteSequence(document));
}

/// Refuses to hear more after some events.
class TiredTarget final : public modeling::sylvan::NullEventProcessor {
 public:
  void writePrimitive(const modeling::sylvan::SylvanPrimitive&) override {
    throw std::runtime_error("no more");
  }
};

/// Takes some bytes and then none.
class FullBuffer final : public std::streambuf {
 public:
  explicit FullBuffer(std::size_t room) : room_(room) {}
  int overflow(int byte) override {
    if (room_ == 0) return traits_type::eof();
    --room_;
    return byte;
  }

 private:
  std::size_t room_;
};

Model makeDeep() {
  Model model(nodes());
  Element node = model.createRoot("kept.Node");
  for (int i = 0; i < 20000; ++i) node = node.create("children");
  return model;
}

}  // namespace

TEST(KeptMemory, AParserKeepsNoMemoryOfALargeDocument) {
  ASSERT_TRUE(AllocationMeter::isWatching());
  for (const Reader& reader : makeReaders()) {
    SCOPED_TRACE(reader.name);
    ASSERT_TRUE(reader.read(reader.small));
    const auto kept = keptAfter([&] {
      ASSERT_TRUE(reader.read(reader.large));
      EXPECT_EQ(reader.parser->takeModel().size(), makeLarge().size());
    });
    EXPECT_LE(kept, kMostKept);
  }
}

TEST(KeptMemory, AParserKeepsNothingButTheModelOfADocumentThatFailed) {
  for (const Reader& reader : makeReaders()) {
    SCOPED_TRACE(reader.name);
    ASSERT_TRUE(reader.read(reader.small));
    std::string cut = reader.large;
    cut.resize(cut.size() - 100);
    bool hasFailed = true;
    const auto kept = keptAfter([&] {
      hasFailed = true;
      try {
        hasFailed = !reader.read(cut);
      } catch (...) {
        reader.parser->getModelBuilder().takeModel();
        throw;
      }
    });
    EXPECT_TRUE(hasFailed);
    EXPECT_LE(kept, kMostKept);
  }
}

// In big-endian order, of which nothing is read in larger units: each event goes through the grammar.
TEST(KeptMemory, AParserKeepsNothingOfHowDeepATaggedDocumentWas) {
  const Model model = makeDeep();
  std::string deep = writeTagged(model);
  deep.replace(taggedHeader.size() - 2, 2, "KR");
  const auto parser = makeTaggedParser(nodes());
  const std::string small = writeTagged(makeSmall());
  ASSERT_TRUE(parser->parse(ParsingInput::fromString(small)));
  const auto kept = keptAfter([&] {
    ASSERT_TRUE(parser->parse(ParsingInput::fromString(deep)));
    EXPECT_EQ(parser->takeModel().size(), model.size());
  });
  EXPECT_LE(kept, static_cast<std::ptrdiff_t>(kMostKeptBytes));
}

TEST(KeptMemory, AParserStillTellsOfAFailureWhatItWas) {
  for (const Reader& reader : makeReaders()) {
    SCOPED_TRACE(reader.name);
    std::string cut = reader.small;
    cut.resize(cut.size() - 4);
    EXPECT_ANY_THROW(static_cast<void>(reader.read(cut)));
    EXPECT_NE(reader.parser->describeFailure().find("at byte"), std::string::npos);
    EXPECT_TRUE(reader.read(reader.small));
  }
}

TEST(KeptMemory, ASmallDocumentAfterALargeOneTakesNoMoreRequestsThanBefore) {
  for (const Reader& reader : makeReaders()) {
    SCOPED_TRACE(reader.name);
    const auto countRequests = [&] {
      const AllocationMeter meter;
      EXPECT_TRUE(reader.read(reader.small));
      return meter.getRequests();
    };
    countRequests();
    const auto usual = countRequests();
    EXPECT_EQ(countRequests(), usual);
    ASSERT_TRUE(reader.read(reader.large));
    countRequests();  // buffers are made anew
    EXPECT_EQ(countRequests(), usual);
  }
}

TEST(KeptMemory, ATaggedSerializerKeepsNoMemoryOfALargeModel) {
  io::BinaryKRSylvanSerializer serializer;
  const Model large = makeLarge();
  const Model small = makeSmall();
  std::string first;
  serializer.serialize(small, SerializationOutput::toString(first));
  EXPECT_LE(keptAfter([&] {
              std::string bytes;
              serializer.serialize(large, SerializationOutput::toString(bytes));
            }),
            kMostKept);
  FullBuffer buffer(100'000);
  std::ostream full(&buffer);
  EXPECT_LE(
      keptAfter([&] { EXPECT_ANY_THROW(serializer.serialize(large, SerializationOutput::toStream(full))); }),
      kMostKept);
  std::string again;
  serializer.serialize(small, SerializationOutput::toString(again));
  EXPECT_EQ(again, first);
}

TEST(KeptMemory, ATaggedSerializerKeepsNothingOfHowDeepAModelWasThatCouldNotBeWritten) {
  const Model deep = makeDeep();
  const std::size_t size = writeTagged(deep).size();
  io::BinaryKRSylvanSerializer serializer;
  std::string small;
  serializer.serialize(makeSmall(), SerializationOutput::toString(small));
  FullBuffer buffer(size / 10 * 9);  // the last tenth closes what is open
  std::ostream full(&buffer);
  const auto kept =
      keptAfter([&] { EXPECT_ANY_THROW(serializer.serialize(deep, SerializationOutput::toStream(full))); });
  EXPECT_LE(kept, static_cast<std::ptrdiff_t>(kMostKeptBytes));
}

TEST(KeptMemory, ADirectSerializerKeepsNoTablesOfALargeModel) {
  io::BinarySerializer serializer;
  const Model large = makeLarge();
  const Model small = makeSmall();
  Bytes first;
  serializer.serialize(small, SerializationOutput::toByteSequence(first));
  Bytes document;
  const auto writeLarge = [&] { serializer.serialize(large, SerializationOutput::toByteSequence(document)); };
  writeLarge();  // the buffer of the bytes stays, and grows by doubling
  const auto buffer = static_cast<std::ptrdiff_t>(2 * document.size());
  io::BinarySerializer fresh;
  EXPECT_LE(keptAfter([&] { fresh.serialize(large, SerializationOutput::toByteSequence(document)); }),
            buffer + kMostKept);
  EXPECT_LE(keptAfter(writeLarge), kMostKept);
  Bytes again;
  serializer.serialize(small, SerializationOutput::toByteSequence(again));
  EXPECT_EQ(again, first);
}

// The bytes of documents are no matter of operator new, so all that is counted are tables.
TEST(KeptMemory, OfADeepModelADirectSerializerKeepsNothing) {
  Model deep(nodes());
  Element node = deep.createRoot("kept.Node");
  for (int i = 0; i < 20000; ++i) node = node.create("children");
  io::BinarySerializer serializer;
  Bytes document;
  writeTo(serializer, makeSmall(), document);
  document.reserve(std::size_t{1} << 20);
  EXPECT_LE(keptAfter([&] { writeTo(serializer, deep, document); }), kLittle);
  EXPECT_GT(document.size(), 20000u);
}

TEST(KeptMemory, OfAModelOfManyTypesADirectSerializerKeepsNothing) {
  constexpr int kTypes = 10000;
  meta::MetaModelBuilder package("urn:many", "many");
  for (int i = 0; i < kTypes; ++i) package.classType("T" + std::to_string(i));
  meta::MetaRegistry registry;
  package.registerIn(registry);
  Model model(registry);
  for (int i = 0; i < kTypes; ++i) model.createRoot("many.T" + std::to_string(i));
  io::BinarySerializer serializer;
  Bytes document;
  writeTo(serializer, makeSmall(), document);
  document.reserve(std::size_t{1} << 20);
  EXPECT_LE(keptAfter([&] { writeTo(serializer, model, document); }), kLittle);
  EXPECT_GT(document.size(), static_cast<std::size_t>(kTypes));
}

TEST(KeptMemory, OfManyEventsADirectSerializerKeepsNothingAfterTheNextModel) {
  io::BinarySerializer serializer;
  io::EventProcessor& events = serializer.getEventProcessor();
  const Model small = makeSmall();
  const auto keptOf = [&](const std::function<void()>& send) {
    Bytes document;
    writeTo(serializer, small, document);
    return keptAfter([&] {
      events.setMetaRegistry(nodes());
      events.startDocument();
      send();
      writeTo(serializer, small, document);
    });
  };
  EXPECT_LE(keptOf([&] {
              for (int i = 0; i < 10000; ++i) events.addRegisteredPackage(toUstring(std::to_string(i)));
            }),
            kLittle);
  EXPECT_LE(keptOf([&] {
              for (int i = 0; i < 10000; ++i) events.startStructuredProperty(u"");
            }),
            kLittle);
  EXPECT_LE(keptOf([&] {
              events.startObject(u"", u"kept.Node", u"", u"");
              events.textValue(u"text", ustring(kLongText, u'x'));
            }),
            kLittle);
}

TEST(KeptMemory, ADocumentThatIsTakenInPlaceIsNotCopied) {
  io::BinarySerializer serializer;
  Model model = makeSmall();
  model.createRoot("kept.Node").set("text", std::string(kLongText, 'x'));
  const AllocationMeter meter;
  EXPECT_GT(serializer.serializeInPlace(model).size(), kLongText);
  EXPECT_LT(meter.getLargestRequest(), kLongText / 2);
}

TEST(KeptMemory, AFileIsReadIntoAsMuchMemoryAsItHasBytes) {
  const std::string path = temporaryPath("kept.size");
  std::string bytes(kLongText + 1, '\2');  // no version that there is
  writeFile(path, bytes);
  const auto parser = makeParser(nodes());
  const AllocationMeter meter;
  EXPECT_THROW(static_cast<void>(parser->parseFile(toUstring(path))), io::Error<kr0::io::CorruptInput>);
  EXPECT_LE(meter.getLargestRequest(), bytes.size());
}

TEST(KeptMemory, AnAssemblerKeepsNoMemoryOfALargeDocument) {
  const std::string large = writeTagged(makeLarge());
  modeling::sylvan::NullEventProcessor none;
  TiredTarget tired;
  for (modeling::sylvan::SylvanEventProcessor<void>* const target :
       std::initializer_list<modeling::sylvan::SylvanEventProcessor<void>*>{&none, &tired}) {
    io::BinaryAssembler assembler(target);
    EXPECT_LE(keptAfter([&] { ParsingInput::fromString(large).visitInput(assembler); }), kMostKept);
    EXPECT_EQ(assembler.hasEnded(), target == &none);
    EXPECT_EQ(assembler.getByteOffset() == large.size(), target == &none);
    EXPECT_GT(assembler.getByteOffset(), 0u);
  }
}

TEST(KeptMemory, AnAssemblerClosesItsFile) {
  const std::string path = temporaryPath("kept.krt");
  writeFile(path, writeTagged(makeSmall()));
  modeling::sylvan::NullEventProcessor none;
  TiredTarget tired;
  io::BinaryAssembler whole(&none);
  ParsingInput::fromFile(toUstring(path)).visitInput(whole);
  EXPECT_FALSE(isOpen(path));
  EXPECT_TRUE(whole.hasEnded());
  io::BinaryAssembler failing(&tired);
  EXPECT_THROW(ParsingInput::fromFile(toUstring(path)).visitInput(failing), std::runtime_error);
  EXPECT_FALSE(isOpen(path));
}

TEST(KeptMemory, ParsersCloseTheirFilesHoweverADocumentEnds) {
  for (const Reader& reader : makeReaders()) {
    SCOPED_TRACE(reader.name);
    const std::string path = temporaryPath("kept." + reader.name);
    writeFile(path, reader.small);
    EXPECT_TRUE(reader.parser->parseFile(toUstring(path)));
    EXPECT_FALSE(isOpen(path));
    writeFile(path, reader.small.substr(0, reader.small.size() - 4));
    EXPECT_ANY_THROW(static_cast<void>(reader.parser->parseFile(toUstring(path))));
    EXPECT_FALSE(isOpen(path));
  }
}

TEST(KeptMemory, SerializersCloseTheirFilesHoweverAModelEnds) {
  const std::string path = temporaryPath("kept.out");
  Model twice(nodes());
  twice.createRoot("kept.Node").setIdentity("a", "b");
  twice.createRoot("kept.Node").setIdentity("a", "b");
  io::BinarySerializer direct;
  io::BinaryKRSylvanSerializer tagged;
  for (io::Serializer* const serializer : std::initializer_list<io::Serializer*>{&direct, &tagged}) {
    serializer->serialize(makeSmall(), SerializationOutput::toFile(toUstring(path)));
    EXPECT_FALSE(isOpen(path));
    EXPECT_FALSE(readFile(path).empty());
    EXPECT_THROW(serializer->serialize(twice, SerializationOutput::toFile(toUstring(path))),
                 io::SerializeError);
    EXPECT_FALSE(isOpen(path));
  }
}

TEST(KeptMemory, AnOpenFileShowsAmongTheDescriptors) {
  const std::string path = temporaryPath("kept.open");
  std::ofstream file(path);
  EXPECT_TRUE(isOpen(path));
}

}  // namespace kr::zero::test
