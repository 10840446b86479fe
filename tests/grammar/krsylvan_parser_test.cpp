// The exported parser and serializer of the tagged format.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "kr/zero/io/BinaryFormats.h"
#include "kr/zero/io/Errors.h"
#include "kr/zero/io/ModelFile.h"
#include "modeling/sylvan/grammar/GrammarException.h"
#include "support/GoldenDocuments.h"
#include "support/Paths.h"
#include "support/SampleModel.h"
#include "support/TaggedReading.h"

namespace kr::zero::io {
namespace {

using foundation::core::except::IMsgIDException;
using test::makeTaggedParser;
using test::writeTagged;

const ustring kUtf16 = u"kr";

/// Counts how often it is told that the parse completed.
class CountingProcessor final : public ParseProcessor {
 public:
  CountingProcessor(ParseCustomizer& customizer, ParsingModelBuilder& builder, int& completed)
      : ParseProcessor(customizer, builder), completed_(completed) {}
  void parseCompleted() override { ++completed_; }
  bool push(const ustring& typeName, const ustring& id1, const ustring& id2) override {
    beforePush();
    return ParseProcessor::push(typeName, id1, id2);
  }

  std::function<void()> beforePush = [] {};

 private:
  int& completed_;
};

class TaggedParser : public testing::Test {
 protected:
  TaggedParser() { countCompletions(); }

  void countCompletions() {
    ParseCustomizer& customizer = parser->getParseProcessor()->getCustomizer();
    auto counting = std::make_unique<CountingProcessor>(customizer, parser->getModelBuilder(), completed);
    processor = counting.get();
    parser->setParseProcessor(std::move(counting));
  }
  /// Parses the sample by each operation that takes one.
  void forEachOperation(const std::function<void(const ParsingInput&)>& parse) {
    const std::string bytes = writeTagged(test::makeSample());
    const std::string path = test::temporaryPath("operation.krt");
    test::writeFile(path, bytes);
    for (const ParsingInput& input :
         {ParsingInput::fromFile(toUstring(path)), ParsingInput::fromString(bytes)}) {
      completed = 0;
      parse(input);
    }
  }
  bool parseString(const std::string& bytes) { return parser->parse(ParsingInput::fromString(bytes)); }
  /// The message identifier that a parse fails with; "" for none.
  std::string idOf(const std::function<void()>& parse) {
    try {
      parse();
    } catch (const IMsgIDException& error) {
      return IMsgIDException::get_error_id(error.GetMsgID());
    }
    return "";
  }

  std::unique_ptr<BinaryKRSylvanParser> parser = makeTaggedParser(test::sampleRegistry());
  int completed = 0;
  CountingProcessor* processor = nullptr;
};

/// Derived from nothing; copies of it would be told apart.
struct NoStandardException {
  NoStandardException() = default;
  NoStandardException(const NoStandardException& other) : copies(other.copies + 1) {}
  int copies = 0;
};

constexpr const char* corrupt = "kr0:io:CorruptInput";

TEST_F(TaggedParser, ReportsItsTypeName) {
  EXPECT_STREQ(BinaryKRSylvanParser().getFullyQualifiedVornTypeName(), "kr.zero.io.BinaryKRSylvanParser");
  EXPECT_STREQ(BinaryKRSylvanSerializer().getFullyQualifiedVornTypeName(),
               "kr.zero.io.BinaryKRSylvanSerializer");
}

TEST_F(TaggedParser, CarriesItsFormatName) {
  EXPECT_EQ(parser->getFormatName(), IOFormatProvider::FORMAT_BINARY_KRSYLVAN);
}

TEST_F(TaggedParser, DocumentsOpenWithVersionAndByteOrder) {
  EXPECT_TRUE(writeTagged(test::makeSample()).starts_with(test::taggedHeader));
}

TEST_F(TaggedParser, ReadsAString) {
  ASSERT_TRUE(parseString(writeTagged(test::makeSample())));
  EXPECT_EQ(parser->getModelBuilder().getModel().size(), test::makeSample().size());
  EXPECT_EQ(completed, 1);
}

TEST_F(TaggedParser, ReadsAByteVector) {
  const std::string bytes = writeTagged(test::makeSample());
  ASSERT_TRUE(parser->parseByteSequence({bytes.begin(), bytes.end()}));
  EXPECT_EQ(writeTagged(parser->takeModel()), bytes);
}

TEST_F(TaggedParser, ReadsAStream) {
  const std::string bytes = writeTagged(test::makeSample());
  std::istringstream stream(bytes);
  ASSERT_TRUE(parser->parse(ParsingInput::fromStream(stream)));
  EXPECT_EQ(writeTagged(parser->takeModel()), bytes);
}

TEST_F(TaggedParser, ReadsAFile) {
  const std::string path = test::temporaryPath("sample.krt");
  const std::string bytes = writeTagged(test::makeSample());
  test::writeFile(path, bytes);
  ASSERT_TRUE(parser->parseFile(toUstring(path)));
  EXPECT_EQ(writeTagged(parser->takeModel()), bytes);
}

TEST_F(TaggedParser, AUtf16StringIsNotSupportedAndTheProcessorHearsOfTheEnd) {
  EXPECT_EQ(idOf([&] { static_cast<void>(parser->parse(ParsingInput::fromUString(kUtf16))); }),
            "kr0:io:UstringNotSupported");
  EXPECT_EQ(completed, 1);
}

TEST_F(TaggedParser, ARefusedKindOfInputIsNotToldWithTheFailureOfTheDocumentBefore) {
  EXPECT_EQ(idOf([&] { parseString(writeTagged(test::makeSample()).substr(0, 30)); }), corrupt);
  EXPECT_EQ(idOf([&] { static_cast<void>(parser->parse(ParsingInput::fromUString(kUtf16))); }),
            "kr0:io:UstringNotSupported");
  EXPECT_EQ(parser->describeFailure(), "at byte 0");
}

TEST_F(TaggedParser, AnIntermediateFormIsRefusedAndTheProcessorHearsNothing) {
  const int intermediate = 0;
  EXPECT_FALSE(parser->parse(ParsingInput::fromIntermediateFormat(&intermediate)));
  EXPECT_EQ(completed, 0);
}

TEST_F(TaggedParser, AStreamThatFailsIsNotLookedIntoAndTheProcessorHearsNothing) {
  std::istringstream stream(writeTagged(test::makeSample()));
  stream.setstate(std::ios_base::failbit);
  EXPECT_THROW(static_cast<void>(parser->parse(ParsingInput::fromStream(stream))), std::ios_base::failure);
  EXPECT_EQ(completed, 0);
}

TEST_F(TaggedParser, AStreamIsReadToItsEndForItsFirstDocument) {
  const std::string bytes = writeTagged(test::makeSample());
  std::istringstream stream(bytes + bytes);
  ASSERT_TRUE(parser->parse(ParsingInput::fromStream(stream)));
  EXPECT_EQ(writeTagged(parser->takeModel()), bytes);
  EXPECT_TRUE(stream.eof());
}

TEST_F(TaggedParser, AFailureReachesTheCallerUnchangedOnceTheProcessorHasHeardOfTheEnd) {
  forEachOperation([this](const ParsingInput& input) {
    processor->beforePush = [] { throw std::range_error("in the model"); };
    try {
      static_cast<void>(parser->parse(input));
      ADD_FAILURE() << "nothing thrown";
    } catch (const std::range_error& error) {
      EXPECT_STREQ(error.what(), "in the model");
      EXPECT_EQ(completed, 1);
    }
    processor->beforePush = [] {};
    EXPECT_TRUE(parser->parse(input));
    EXPECT_EQ(completed, 2);
  });
}

TEST_F(TaggedParser, WhatIsNoStandardExceptionReachesTheCallerUnchangedToo) {
  forEachOperation([this](const ParsingInput& input) {
    processor->beforePush = [] { throw NoStandardException(); };
    try {
      static_cast<void>(parser->parse(input));
      ADD_FAILURE() << "nothing thrown";
    } catch (const NoStandardException& error) {
      EXPECT_EQ(error.copies, 0);
      EXPECT_EQ(completed, 1);
    }
    processor->beforePush = [] {};
    EXPECT_TRUE(parser->parse(input));
    EXPECT_EQ(completed, 2);
  });
}

TEST_F(TaggedParser, TheProcessorHearsOfTheEndOnceWhenTheDocumentIsRefused) {
  forEachOperation([this](const ParsingInput& input) {
    processor->beforePush = [this] { processor->addProblem("not this one"); };
    EXPECT_FALSE(parser->parse(input));
    EXPECT_EQ(completed, 1);
  });
}

TEST_F(TaggedParser, AGrammarErrorKeepsItsTypeAndTellsTheProcessorOnce) {
  // A struct where the metadata of the document belongs: the grammar sees starts first.
  try {
    parseString(test::taggedHeader + "\x03");
    FAIL() << "was accepted";
  } catch (const modeling::sylvan::grammar::TracingException& error) {
    EXPECT_TRUE(std::string(error.what()).ends_with("\nexpected StartMetadata, found StartStruct"))
        << error.what();
  }
  EXPECT_EQ(completed, 1);
}

TEST_F(TaggedParser, TheDefaultParserAsksItsHostAndForgetsLocalIdentities) {
  BinaryKRSylvanParser plain;
  EXPECT_FALSE(plain.getModelBuilder().keepsLocalIdentities());
  EXPECT_NE(dynamic_cast<HydratorParseCustomizer*>(&plain.getParseProcessor()->getCustomizer()), nullptr);
}

TEST_F(TaggedParser, AMissingFileIsCorruptInputAndTheProcessorHearsOfTheEnd) {
  EXPECT_EQ(idOf([&] { static_cast<void>(parser->parseFile(toUstring(test::temporaryPath("none.krt")))); }),
            corrupt);
  EXPECT_EQ(completed, 1);
}

TEST_F(TaggedParser, AnEmptyInputIsCorruptInput) {
  EXPECT_EQ(idOf([&] { parseString(""); }), corrupt);
  EXPECT_EQ(completed, 1);
}

TEST_F(TaggedParser, ADocumentWithoutItsEndTagIsCorruptInputAfterItsEvents) {
  std::string bytes = writeTagged(test::makeSample());
  bytes.pop_back();
  EXPECT_EQ(idOf([&] { parseString(bytes); }), corrupt);
  EXPECT_EQ(completed, 1);
  EXPECT_EQ(parser->getModelBuilder().getModel().size(), test::makeSample().size());
  EXPECT_NE(parser->describeFailure().find("the document ends without its end mark, at byte " +
                                           std::to_string(bytes.size())),
            std::string::npos)
      << parser->describeFailure();
}

TEST_F(TaggedParser, AHeaderAloneIsCorruptInput) {
  EXPECT_EQ(idOf([&] { parseString(test::taggedHeader); }), corrupt);
}

TEST_F(TaggedParser, ADocumentOfAnotherShapeIsAGrammarError) {
  EXPECT_THROW(parseString(test::taggedHeader + "\x05\x06\x02"), std::runtime_error);
  EXPECT_EQ(completed, 1);
}

TEST_F(TaggedParser, BytesAfterTheEndTagAreNotRead) {
  EXPECT_TRUE(parseString(writeTagged(test::makeSample()) + "\xFF\xFF"));
}

TEST_F(TaggedParser, AMalformedTextIsCorruptInput) {
  std::string bytes = writeTagged(test::makeSample());
  const std::size_t at = bytes.find("shelf");
  ASSERT_NE(at, bytes.npos);
  bytes[at] = '\xFF';
  EXPECT_EQ(idOf([&] { parseString(bytes); }), corrupt);
  EXPECT_NE(parser->describeFailure().find("a text is not well-formed UTF-8, at byte"), std::string::npos)
      << parser->describeFailure();
}

TEST_F(TaggedParser, AFailureSaysHowFarReadingCame) {
  std::string bytes = writeTagged(test::makeSample());
  bytes.resize(bytes.size() / 2);
  bytes += '\x0A';
  try {
    parseString(bytes);
    FAIL() << "was accepted";
  } catch (const std::exception&) {
    EXPECT_NE(parser->describeFailure().find("at byte "), std::string::npos) << parser->describeFailure();
  }
}

TEST_F(TaggedParser, AFailureSaysWhatWasCut) {
  const std::string bytes = writeTagged(test::makeSample());
  const std::size_t cut = bytes.find("shelf") + 2;
  EXPECT_EQ(idOf([&] { parseString(bytes.substr(0, cut)); }), corrupt);
  EXPECT_TRUE(parser->describeFailure().starts_with("String cut short, at byte " + std::to_string(cut)))
      << parser->describeFailure();
}

TEST_F(TaggedParser, AParserReadsOneDocumentAfterAnotherWhateverTheFirstWas) {
  const std::string bytes = writeTagged(test::makeSample());
  for (const std::size_t cut : {0u, 7u, 20u, 100u, 400u}) {
    EXPECT_ANY_THROW(parseString(bytes.substr(0, cut)));
    ASSERT_TRUE(parseString(bytes));
    EXPECT_EQ(writeTagged(parser->takeModel()), bytes);
  }
}

TEST_F(TaggedParser, AnUnknownPackageIsRefusedWithAReason) {
  const auto other = makeTaggedParser(test::goldenRegistry());
  const std::string bytes = writeTagged(test::makeSample());
  EXPECT_FALSE(other->parse(ParsingInput::fromString(bytes)));
  EXPECT_FALSE(other->getProblems().empty());
}

TEST_F(TaggedParser, TheDefaultParserUsesTheRegistryOfTheProcess) {
  const std::string bytes = writeTagged(Model());
  BinaryKRSylvanParser plain;
  EXPECT_TRUE(plain.parse(ParsingInput::fromString(bytes)));
  EXPECT_EQ(plain.takeModel().size(), 0u);
}

TEST(TaggedSerializer, EachSerializationGetsAFormatterOfItsOwn) {
  BinaryKRSylvanSerializer serializer;
  std::string one;
  std::string two;
  EXPECT_NE(serializer.getTarget(SerializationOutput::toString(one)), nullptr);
  serializer.serialize(test::makeSample(), SerializationOutput::toString(one));
  serializer.serialize(test::makeSample(), SerializationOutput::toString(two));
  EXPECT_EQ(one, two);
}

TEST(TaggedSerializer, TheFirstFormatterGoesWhenTheSecondIsRequested) {
  BinaryKRSylvanSerializer serializer;
  const std::string path = test::temporaryPath("formatter.krt");
  serializer.getTarget(SerializationOutput::toFile(toUstring(path)))->startDocument(nullptr);
  std::string other;
  serializer.getTarget(SerializationOutput::toString(other));
  EXPECT_EQ(test::readFile(path), test::taggedHeader);  // what a formatter's end leaves in its file
}

TEST(TaggedSerializer, TheFirstFormatterIsGoneBeforeTheFileOfTheSecondIsOpened) {
  BinaryKRSylvanSerializer serializer;
  const std::string path = test::temporaryPath("twice.krt");
  const SerializationOutput output = SerializationOutput::toFile(toUstring(path));
  serializer.getTarget(output)->writePrimitive(std::string(1000, 'x'));  // kept back until the file is closed
  const Model empty;
  serializer.serialize(empty, output);
  EXPECT_EQ(test::readFile(path), writeTagged(empty));
}

/// Lets a walk fail at the first property of some class.
class FailingTraverser final : public ModelTraverser {
 public:
  explicit FailingTraverser(const bool& armed) : armed_(armed) {}
  std::vector<meta::Property> getProperties(meta::StructuredType type, PropertyCategory mask) const override {
    if (armed_ && ++calls_ == 2) throw std::runtime_error("enough");
    return ModelTraverser::getProperties(type, mask);
  }

 private:
  const bool& armed_;
  mutable int calls_ = 0;
};

TEST(TaggedSerializer, AFileThatAFailedWalkLeftIsWrittenAnew) {
  bool armed = true;
  BinaryKRSylvanSerializer serializer(std::make_unique<FailingTraverser>(armed));
  const std::string path = test::temporaryPath("anew.krt");
  const auto write = [&](const Model& model) {
    serializer.serialize(model, SerializationOutput::toFile(toUstring(path)));
  };
  EXPECT_THROW(write(test::makeSample()), std::runtime_error);
  armed = false;
  const Model empty;
  write(empty);
  EXPECT_EQ(test::readFile(path), writeTagged(empty));
}

TEST(TaggedSerializer, EveryWayOutGivesTheSameBytes) {
  const Model model = test::makeSample();
  const std::string bytes = writeTagged(model);
  std::ostringstream stream;
  BinaryKRSylvanSerializer serializer(std::make_unique<ModelTraverser>());
  serializer.serialize(model, SerializationOutput::toStream(stream));
  EXPECT_EQ(stream.str(), bytes);
  const std::string path = test::temporaryPath("ways.krt");
  serializer.serialize(model, SerializationOutput::toFile(toUstring(path)));
  EXPECT_EQ(test::readFile(path), bytes);
}

TEST(TaggedSerializer, UnsupportedOutputsAreRefusedBeforeAnythingIsWritten) {
  BinaryKRSylvanSerializer serializer;
  ustring wide = u"kept";
  std::vector<unsigned char> vector{1};
  EXPECT_THROW(serializer.serialize(test::makeSample(), SerializationOutput::toUString(wide)),
               Error<kr0::io::UstringNotSupported>);
  EXPECT_THROW(serializer.serialize(test::makeSample(), SerializationOutput::toByteSequence(vector)),
               Error<kr0::io::IntermediateFormatNotSupported>);
  EXPECT_EQ(wide, u"kept");
  EXPECT_EQ(vector, std::vector<unsigned char>{1});
}

TEST(TaggedSerializer, AnIdentityPrefixIsWritten) {
  BinaryKRSylvanSerializer serializer(std::make_unique<ModelTraverser>(),
                                      std::make_unique<SerializeCustomizer>(u"mine/"));
  std::string bytes;
  serializer.serialize(test::makeSample(), SerializationOutput::toString(bytes));
  EXPECT_NE(bytes.find("mine/shelf"), bytes.npos);
}

TEST(TaggedSerializer, ATextThatIsNotWellFormedIsRefused) {
  BinaryKRSylvanSerializer serializer(std::make_unique<ModelTraverser>(),
                                      std::make_unique<SerializeCustomizer>(ustring(1, u'\xD800')));
  std::string bytes;
  try {
    serializer.serialize(test::makeSample(), SerializationOutput::toString(bytes));
    FAIL() << "was written";
  } catch (const SerializeError& error) {
    EXPECT_STREQ(error.what(), "a text of the model is not well-formed UTF-16");
  }
}

TEST(TaggedFormat, IsRegisteredForSavingAndLoading) {
  registerBinaryFormats();
  const ustring path = toUstring(test::temporaryPath("saved.krt"));
  saveModel(test::makeSample(), path, IOFormatProvider::FORMAT_BINARY_KRSYLVAN);
  EXPECT_EQ(test::readFile(toUtf8(path)), writeTagged(test::makeSample()));
  const Model again = loadModel(path, test::sampleRegistry(), IOFormatProvider::FORMAT_BINARY_KRSYLVAN);
  EXPECT_EQ(again.size(), test::makeSample().size());
}

TEST(TaggedFormat, ASaveThatFailsLeavesTheOldFile) {
  registerBinaryFormats();
  Model model(test::sampleRegistry());
  model.createRoot("sample.Item").setIdentity("a", "b");
  model.createRoot("sample.Item").setIdentity("a", "b");
  const std::string path = test::temporaryPath("kept.krt");
  test::writeFile(path, "old");
  EXPECT_THROW(saveModel(model, toUstring(path), IOFormatProvider::FORMAT_BINARY_KRSYLVAN), zero::Error);
  EXPECT_EQ(test::readFile(path), "old");
}

}  // namespace
}  // namespace kr::zero::io
