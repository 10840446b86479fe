// What the reader of the direct format does with each form, rule by rule.
#include <gtest/gtest.h>

#include <boost/optional.hpp>
#include <fstream>

#include "framework/io/LibraryModel.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/Errors.h"
#include "kr/zero/io/IOFormatProvider.h"
#include "support/Paths.h"
#include "support/Reading.h"

namespace kr::zero::io::reading {
namespace {

using Bytes = std::vector<std::uint8_t>;
using foundation::core::except::IMsgIDException;

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}
Bytes text(const std::string& utf8) {
  Bytes bytes{static_cast<std::uint8_t>(utf8.size())};
  bytes.insert(bytes.end(), utf8.begin(), utf8.end());
  return bytes;
}

const Bytes header{0x01, 0x02, 'k', 'r'};
const Bytes empty{0x01, 0x02, 'k', 'r', 0x00};
const Bytes endMark{0xFF, 0x7F};

/// A meta model with pinned numbers, so that documents can be written by hand.
std::unique_ptr<meta::MetaRegistry> makeRegistry() {
  meta::MetaModelBuilder package("urn:t", "t");
  package.enumeration("Color").literal("red", -1).literal("green", 7);
  package.primitive("Code");
  package.datatype("Pair").property("a", "Integer8").id(1);
  auto& node = package.classType("Node");
  node.property("name", "String").id(1).required();
  node.property("flag", "Boolean").id(2).required();
  node.property("small", "Integer8").id(3).required();
  node.property("maybe", "Integer").id(4);
  node.property("list", "Integer16").id(5).many();
  node.property("color", "Color").id(6).required();
  node.property("pair", "Pair").id(7);
  node.property("child", "Node").id(8).composite();
  node.property("to", "Node").id(9);
  node.property("all", "Node").id(10).many();
  node.property("code", "Code").id(11).required();
  node.property("far", "String").id(300).required();
  node.property("now", "Integer").id(12).derived();
  auto registry = std::make_unique<meta::MetaRegistry>();
  package.registerIn(*registry);
  return registry;
}

/// Writes down what the reader calls, one line a call, and passes it on to the real processor.
class CallRecorder final : public ParseProcessor {
 public:
  using ParseProcessor::ParseProcessor;

  std::string calls;
  int completed = 0;

  void setVersion(const ustring& version) override {
    line("setVersion", version);
    ParseProcessor::setVersion(version);
  }
  bool push(const ustring& type, const ustring& id1, const ustring& id2) override {
    line("push", type, id1, id2);
    return ParseProcessor::push(type, id1, id2);
  }
  void pop(const ustring& name) override {
    line("pop", name);
    ParseProcessor::pop(name);
  }
  void setValue(const ustring& name, const ustring& text) override {
    line("setValue", name, text);
    ParseProcessor::setValue(name, text);
  }
  void setVerbatimValue(const ustring& name, const Value& value) override {
    line("setVerbatimValue", name, value.getMeta().getType()->getQualifiedName());
    calls.back() = ' ';
    calls += std::to_string(value.getWidth()) + " " + std::to_string(value.get<std::int64_t>()) + "\n";
    ParseProcessor::setVerbatimValue(name, value);
  }
  void setEmptyValue(const ustring& name) override {
    line("setEmptyValue", name);
    ParseProcessor::setEmptyValue(name);
  }
  void addDeferredReference(const ustring& type, const ustring& name, const ustring& id1, const ustring& id2,
                            const boost::optional<ustring>& qualifier) override {
    line("addDeferredReference", type, name, id1, id2);
    if (qualifier) line("  qualifier", *qualifier);
    ParseProcessor::addDeferredReference(type, name, id1, id2, qualifier);
  }
  void processDeferred() override {
    line("processDeferred");
    ParseProcessor::processDeferred();
  }
  void parseCompleted() override { ++completed; }

 private:
  template <class... Texts>
  void line(const char* call, const Texts&... texts) {
    calls += call;
    ((calls += " '" + toUtf8(texts) + "'"), ...);
    calls += "\n";
  }
};

class Reading : public ::testing::Test {
 protected:
  Reading() {
    auto customizer = std::make_unique<ParseCustomizer>(*registry);
    auto builder = std::make_unique<ParsingModelBuilder>(false);
    auto processor = std::make_unique<CallRecorder>(*customizer, *builder);
    recorder = processor.get();
    parser = std::make_unique<BinaryParser>(std::move(customizer), std::move(builder));
    parser->setParseProcessor(std::move(processor));
  }

  bool parse(const Bytes& bytes) {
    recorder->calls.clear();
    return parser->parseByteSequence(bytes);
  }
  /// The calls for a root t.Node without identity that holds some property bytes.
  std::string callsFor(const Bytes& properties) {
    EXPECT_TRUE(parse(empty + Bytes{0x00, 0x00} + text("t.Node") + Bytes{0x02} + properties + endMark));
    const std::string before = "setVersion '1'\npush 't.Node' '' ''\n";
    const std::string after = "pop 't.Node'\nprocessDeferred\n";
    const std::string& all = recorder->calls;
    EXPECT_EQ(all.substr(0, before.size()), before);
    EXPECT_EQ(all.substr(all.size() - after.size()), after);
    return all.substr(before.size(), all.size() - before.size() - after.size());
  }
  /// The detail that a corrupt document is refused with.
  std::string detailOf(const Bytes& bytes) {
    try {
      parse(bytes);
    } catch (const Error<kr0::io::CorruptInput>&) {
      const std::string* detail = parser->getSpan()->findContextBelow("error-message");
      return detail != nullptr ? *detail : "no detail";
    }
    return "accepted";
  }

  std::unique_ptr<meta::MetaRegistry> registry = makeRegistry();
  CallRecorder* recorder = nullptr;
  std::unique_ptr<BinaryParser> parser;
};

TEST_F(Reading, TheSmallestDocumentHasFiveBytesAndNoElement) {
  EXPECT_TRUE(parse({0x01, 0x02, 0x6B, 0x72, 0x00}));
  EXPECT_EQ(recorder->calls, "setVersion '1'\nprocessDeferred\n");
  EXPECT_EQ(recorder->completed, 1);
}

TEST_F(Reading, OnlyVersionOneIsRead) {
  EXPECT_EQ(detailOf({0x00, 0x02, 'k', 'r', 0x00}), "Invalid version number");
  EXPECT_EQ(detailOf({0x02, 0x02, 'k', 'r', 0x00}), "Invalid version number");
  EXPECT_EQ(recorder->completed, 0);
}

TEST_F(Reading, ALongerFormOfVersionOneIsAccepted) { EXPECT_TRUE(parse({0x81, 0x00, 0x02, 'k', 'r', 0x00})); }

TEST_F(Reading, BigEndianDocumentsAreRefused) {
  EXPECT_EQ(detailOf({0x01, 0x02, 'K', 'R', 0x00}), "Invalid endian flag");
}

TEST_F(Reading, PackagesAreHandedToTheCustomizerInOrder) {
  EXPECT_FALSE(parse(header + Bytes{0x02} + text("urn:t") + text("urn:u")));
  EXPECT_EQ(recorder->getCustomizer().getPackageUris(), (std::vector<ustring>{u"urn:t", u"urn:u"}));
  EXPECT_EQ(parser->getProblems(),
            (std::vector<std::string>{"the package \"urn:u\" is not known; give its meta model"}));
  EXPECT_EQ(recorder->completed, 1);  // a refusal still completes the parse
}

TEST_F(Reading, ARootWithoutIdentityIsPushedAndPopped) { EXPECT_EQ(callsFor({}), ""); }

TEST_F(Reading, AnIdentityHasTwoTexts) {
  EXPECT_TRUE(
      parse(empty + Bytes{0x00, 0x00} + text("t.Node") + Bytes{0x01} + text("a") + text("b") + endMark));
  EXPECT_EQ(recorder->calls, "setVersion '1'\npush 't.Node' 'a' 'b'\npop 't.Node'\nprocessDeferred\n");
}

TEST_F(Reading, TheReservedNumberOfAHeaderIsIgnored) {
  EXPECT_TRUE(parse(empty + Bytes{0x00, 0xFF, 0x01} + text("t.Node") + Bytes{0x02} + endMark));
}

TEST_F(Reading, ATextGoesToSetValue) {
  EXPECT_EQ(callsFor(Bytes{0x01} + text("n\xC3\xA9")), "setValue 'name' 'n\xC3\xA9'\n");
}

TEST_F(Reading, AUserDefinedPrimitiveIsAText) {
  EXPECT_EQ(callsFor(Bytes{0x0B} + text("x")), "setValue 'code' 'x'\n");
}

TEST_F(Reading, ABooleanIsTrueExactlyForTheByteOne) {
  EXPECT_EQ(callsFor({0x02, 0x01}), "setVerbatimValue 'flag' 'Boolean' 1 1\n");
  EXPECT_EQ(callsFor({0x02, 0x02}), "setVerbatimValue 'flag' 'Boolean' 1 0\n");
  EXPECT_EQ(callsFor({0x02, 0x00}), "setVerbatimValue 'flag' 'Boolean' 1 0\n");
  EXPECT_EQ(callsFor({0x02, 0xFF}), "setVerbatimValue 'flag' 'Boolean' 1 0\n");
}

TEST_F(Reading, AnOptionalValueHasAMarkInFront) {
  EXPECT_EQ(callsFor({0x04, 0xEE}), "setEmptyValue 'maybe'\n");
  EXPECT_EQ(callsFor({0x04, 0xDD, 5, 0, 0, 0}), "setVerbatimValue 'maybe' 'Integer' 4 5\n");
  EXPECT_EQ(callsFor({0x04, 0x00, 5, 0, 0, 0}), "setVerbatimValue 'maybe' 'Integer' 4 5\n");
}

TEST_F(Reading, ACollectionHasACountAndNoMark) {
  EXPECT_EQ(callsFor({0x05, 0x02, 1, 0, 2, 1}),
            "setVerbatimValue 'list' 'Integer16' 2 1\nsetVerbatimValue 'list' 'Integer16' 2 258\n");
}

TEST_F(Reading, ACountOfZeroProducesNoCalls) { EXPECT_EQ(callsFor({0x05, 0x00}), ""); }

TEST_F(Reading, AnEnumerationIsAFourByteNumberWidenedTo64Bits) {
  EXPECT_EQ(callsFor({0x06, 0xFF, 0xFF, 0xFF, 0xFF}), "setVerbatimValue 'color' 't.Color' 8 -1\n");
}

TEST_F(Reading, ADatatypeOpensAnElementWithoutHeader) {
  EXPECT_EQ(callsFor(Bytes{0x07, 0x01, 0xDD, 0x2A} + endMark),
            "push 't.Pair' '' ''\nsetVerbatimValue 'a' 'Integer8' 1 42\npop 'pair'\n");
}

TEST_F(Reading, ACompositionOpensAnElementThatClosesUnderItsProperty) {
  EXPECT_EQ(callsFor(Bytes{0x08, 0x00} + text("t.Node") + Bytes{0x02} + endMark),
            "push 't.Node' '' ''\npop 'child'\n");
}

TEST_F(Reading, ASingleAssociationIsAlwaysOneReference) {
  EXPECT_EQ(callsFor(Bytes{0x09, 0x00} + text("t.Node") + Bytes{0x01} + text("a") + text("b")),
            "addDeferredReference 't.Node' 'to' 'a' 'b'\n");
}

TEST_F(Reading, AReferenceMayHaveAQualifier) {
  EXPECT_EQ(callsFor(Bytes{0x0A, 0x02, 0x00} + text("t.Node") + Bytes{0x02} + text("q") + text("a") +
                     text("b") + Bytes{0x07} + text("t.Node") + Bytes{0x00} + text("c") + text("d")),
            "addDeferredReference 't.Node' 'all' 'a' 'b'\n  qualifier 'q'\n"
            "addDeferredReference 't.Node' 'all' 'c' 'd'\n");
}

TEST_F(Reading, PropertyNumbersMayTakeSeveralBytes) {
  EXPECT_EQ(callsFor(Bytes{0xAC, 0x02} + text("x")), "setValue 'far' 'x'\n");
}

TEST_F(Reading, AnUnknownPropertyNumberIsOutOfRange) {
  const std::string what = test::errorOf<std::out_of_range>([&] {
    parse(empty + Bytes{0x00, 0x00} + text("t.Node") + Bytes{0x02, 0x63});
  });
  EXPECT_EQ(what, "invalid unordered_map<K, T> key");
  EXPECT_EQ(test::errorOf<std::out_of_range>([&] { parse(empty + Bytes{0x05}); }), what);
}

TEST_F(Reading, AnEndWithNothingOpenIsCorrupt) {
  EXPECT_NE(detailOf(empty + endMark), "accepted");
  EXPECT_NE(detailOf(empty + endMark), "no detail");
}

TEST_F(Reading, AnElementLeftOpenIsRefusedWithItsPath) {
  EXPECT_FALSE(parse(empty + Bytes{0x00, 0x00} + text("t.Node") + Bytes{0x02}));
  EXPECT_EQ(parser->getProblems().at(0), "the document ends inside the element /node");
}

TEST_F(Reading, AFixedWidthValueIsNotTheLastByteOfADocument) {
  const Bytes start = empty + Bytes{0x00, 0x00} + text("t.Node") + Bytes{0x02, 0x03};
  const std::string expected = "Invalid input of decodePrimitiveFromBinaryInLittleEndian";
  EXPECT_EQ(test::errorOf<std::runtime_error>([&] { parse(start + Bytes{0x2A}); }), expected);
  recorder->calls.clear();
  EXPECT_EQ(recorder->calls.find("setVerbatimValue"), std::string::npos);
  EXPECT_FALSE(parse(start + Bytes{0x2A, 0x02, 0x01}));  // open at the end, but the value was read
  EXPECT_NE(recorder->calls.find("setVerbatimValue 'small' 'Integer8' 1 42"), std::string::npos);
}

TEST_F(Reading, WhatIsCutIsCorruptAndTold) {
  for (const Bytes& cut :
       {Bytes{}, Bytes{0x81}, Bytes{0x01, 0x02, 'k'}, header, header + Bytes{0x01, 0x05, 'u'},
        empty + Bytes{0x00}, empty + Bytes{0x00, 0x00, 0x7F, 't'},
        empty + Bytes{0x00, 0x00} + text("t.Node")}) {
    const std::string detail = detailOf(cut);
    EXPECT_NE(detail, "accepted");
    EXPECT_NE(detail, "no detail");
    EXPECT_NE(parser->getSpan()->findContextBelow("byte-offset"), nullptr);
  }
}

TEST_F(Reading, ACountBeyondTheInputIsRefusedAtOnce) {
  const Bytes huge{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01};
  EXPECT_NE(detailOf(header + huge), "accepted");
  EXPECT_NE(detailOf(empty + Bytes{0x00, 0x00} + text("t.Node") + Bytes{0x02, 0x05} + huge), "accepted");
  EXPECT_NE(detailOf(empty + Bytes{0x00, 0x00} + text("t.Node") + Bytes{0x02, 0x0A} + huge), "accepted");
  EXPECT_NE(detailOf(empty + Bytes{0x00, 0x00} + huge), "accepted");
}

TEST_F(Reading, MalformedUtf8IsCorrupt) {
  EXPECT_NE(detailOf(empty + Bytes{0x00, 0x00} + text("t.Node") + Bytes{0x02, 0x01, 0x01, 0x80}), "accepted");
}

TEST_F(Reading, ADerivedPropertyHasNoNumber) { EXPECT_THROW(callsFor({0x0C, 1, 0, 0, 0}), std::exception); }

TEST_F(Reading, ANarrowStringIsRefusedAndTheSpanSaysWhy) {
  for (const std::string& input : {std::string(), std::string("\x01\x02kr", 5)}) {
    try {
      static_cast<void>(parser->parse(ParsingInput::fromString(input)));
      FAIL();
    } catch (const IMsgIDException& e) {
      EXPECT_EQ(IMsgIDException::get_error_id(e.GetMsgID()), "kr0:io:StringNotSupportedByParser");
      const log::Span step = parser->getSpan()->getChildren().at(0);
      EXPECT_EQ(step->getName(), "doParseString");
      EXPECT_EQ(*step->findContext("error-message"), "This parser does not support string");
      EXPECT_EQ(*step->findContext("exception-message"), e.what());
      EXPECT_EQ(step->getError(), "kr0:io:StringNotSupportedByParser");
    }
  }
  EXPECT_EQ(recorder->calls, "");
}

TEST_F(Reading, AUtf16StringIsRefusedAndTheSpanSaysWhy) {
  const ustring utf16;
  EXPECT_THROW(static_cast<void>(parser->parse(ParsingInput::fromUString(utf16))),
               Error<kr0::io::UstringNotSupportedByParser>);
  EXPECT_EQ(*parser->getSpan()->findContextBelow("error-message"), "This parser does not support ustring");
}

TEST_F(Reading, AMissingFileIsNotFoundWithItsNameAndNoDetail) {
  const ustring path = toUstring(test::temporaryPath("missing.krb"));
  try {
    static_cast<void>(parser->parseFile(path));
    FAIL();
  } catch (const Error<kr0::io::FileNotFound>& e) {
    ASSERT_EQ(e.GetMsgID().getArguments().size(), 1u);
    EXPECT_EQ(std::get<2>(e.GetMsgID().getArguments()[0]), path);
    const log::Span step = parser->getSpan()->getChildren().at(0);
    EXPECT_EQ(step->getName(), "doParseFile");
    EXPECT_EQ(*step->findContext("file-name"), toUtf8(path));
    EXPECT_EQ(step->findContext("error-message"), nullptr);
    EXPECT_EQ(*step->findContext("exception-message"), e.what());
  }
  EXPECT_EQ(recorder->completed, 0);
}

TEST_F(Reading, OnlyADocumentThatWasNotAcceptedHasAnOffsetInItsSpan) {
  const auto offset = [this] { return parser->getSpan()->findContextBelow("byte-offset"); };
  EXPECT_TRUE(parse(empty));
  EXPECT_EQ(offset(), nullptr);
  EXPECT_FALSE(parse(header + Bytes{0x01} + text("urn:u")));
  ASSERT_NE(offset(), nullptr);
  EXPECT_EQ(*offset(), "11");
  EXPECT_THROW(parse(header), Error<kr0::io::CorruptInput>);
  ASSERT_NE(offset(), nullptr);
  EXPECT_EQ(*offset(), "4");
}

// A folder opens like a file and says that it has more bytes than there is memory.
TEST_F(Reading, AFolderFailsAsWhatCannotBeReadAndNotForItsSize) {
  try {
    static_cast<void>(parser->parseFile(u"/"));
    FAIL();
  } catch (const std::bad_alloc&) {
    FAIL();
  } catch (const std::length_error&) {
    FAIL();
  } catch (const std::exception& error) {
    EXPECT_STRNE(error.what(), "");
  }
}

TEST_F(Reading, AnEmptyFileIsReadLikeAnyOther) {
  const std::string path = test::temporaryPath("empty.krb");
  test::writeFile(path, "");
  EXPECT_THROW(static_cast<void>(parser->parseFile(toUstring(path))), Error<kr0::io::CorruptInput>);
}

TEST_F(Reading, AFileAndAStreamGiveWhatTheBytesGive) {
  const Bytes bytes = empty + Bytes{0x00, 0x00} + text("t.Node") + Bytes{0x02} + endMark;
  const std::string path = test::temporaryPath("one.krb");
  test::writeFile(path, std::string(bytes.begin(), bytes.end()));
  EXPECT_TRUE(parser->parseFile(toUstring(path)));
  EXPECT_EQ(parser->takeModel().size(), 1u);
  std::ifstream stream(path, std::ios::binary);
  EXPECT_TRUE(parser->parse(ParsingInput::fromStream(stream)));
  EXPECT_EQ(parser->takeModel().size(), 1u);
}

TEST_F(Reading, AParserReadsOneDocumentAfterAnother) {
  EXPECT_THROW(parse({0x02}), Error<kr0::io::CorruptInput>);
  EXPECT_TRUE(parse(empty + Bytes{0x00, 0x00} + text("t.Node") + Bytes{0x02} + endMark));
  EXPECT_EQ(parser->takeModel().size(), 1u);
}

TEST_F(Reading, TheParserTellsItsNames) {
  EXPECT_STREQ(parser->getFullyQualifiedVornTypeName(), "kr.zero.io.BinaryParser");
  EXPECT_STREQ(BinaryParser().getFullyQualifiedVornTypeName(), "kr.zero.io.BinaryParser");
  EXPECT_EQ(parser->getFormatName(), IOFormatProvider::FORMAT_BINARY);
}

// Short texts are looked at in a few words, long ones one byte after the other.
TEST_F(Reading, AnIllFormedByteIsFoundAnywhereInTextsOfAnyLength) {
  const auto reader = test::makeParser(*registry);
  const auto read = [&](const std::string& name) {
    return reader->parseByteSequence(empty + Bytes{0x00, 0x00} + text("t.Node") + Bytes{0x02, 0x01} +
                                     text(name) + endMark);
  };
  for (std::size_t size = 0; size <= 40; ++size) {
    EXPECT_TRUE(read(std::string(size, '~'))) << size;
    for (std::size_t at = 0; at < size; ++at) {
      std::string name(size, '~');
      name[at] = '\x80';
      EXPECT_THROW(read(name), Error<kr0::io::CorruptInput>) << at << " of " << size;
    }
  }
}

TEST_F(Reading, ANumberOfFixedWidthThatIsCutIsCalledSo) {
  const auto reader = test::makeParser(*registry);
  for (const Bytes& number : {Bytes{}, Bytes{0x05}})
    EXPECT_THROW(static_cast<void>(reader->parseByteSequence(empty + Bytes{0x00, 0x00} + text("t.Node") +
                                                             Bytes{0x02, 0x03} + number)),
                 std::runtime_error);
  EXPECT_EQ(reader->getFailure().detail, "Number cut short");
}

// Their first byte is 80, which says that more follow, and more bytes follow than it says by itself.
TEST_F(Reading, NumbersWhoseFirstGroupIsZeroAreReadToTheirEnd) {
  constexpr std::size_t kCount = 128;
  const Bytes size{0x80, 0x01};
  const std::string name(kCount, 'n');
  const Bytes document = empty + Bytes{0x00} + size + text("t.Node") + Bytes{0x02, 0x01} + size +
                         Bytes(kCount, 'n') + Bytes{0x05} + size + Bytes(2 * kCount, 0x07) + endMark;
  const auto reader = test::makeParser(*registry);
  ASSERT_TRUE(reader->parseByteSequence(document));
  const Model model = reader->takeModel();
  const ConstElement node = *model.roots().begin();
  EXPECT_EQ(node.getText("name"), name);
  EXPECT_EQ(node.size("list"), kCount);
  EXPECT_EQ(node.getInteger("list", kCount - 1), 0x0707);
}

}  // namespace
}  // namespace kr::zero::io::reading
