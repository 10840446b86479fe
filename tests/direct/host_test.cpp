// What a host may get wrong, and is told, or is spared.
#include <gtest/gtest.h>

#include <concepts>
#include <stdexcept>

#include "direct/DirectModel.h"
#include "kr/zero/io/BinarySerializer.h"
#include "kr/zero/io/Errors.h"
#include "kr/zero/io/EventProcessor.h"

namespace kr::zero::io {

namespace {

using test::Bytes;
using test::DirectBytes;

/// What a call says of an argument; empty where it says nothing.
template <class Call>
std::string argumentErrorOf(Call call) {
  try {
    call();
    return {};
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
}

class PlainSerializer final : public Serializer {
 public:
  using Serializer::Serializer;
  const char* getFullyQualifiedVornTypeName() const override { return "test.PlainSerializer"; }
};

/// Forgets to call the base when a document begins.
class ForgetfulProcessor final : public ParseProcessor {
 public:
  using ParseProcessor::ParseProcessor;
  void reset() override { ++resets; }
  int resets = 0;
};

const Bytes kGood = DirectBytes().header({"urn:p"}).root("p.N").key(1).text("a").end();
const Bytes kRefused = DirectBytes().header({"urn:p"}).root("p.N").child(18, "p.Ghost").end().end();
const Bytes kCut = DirectBytes().header({"urn:p"}).root("p.N").key(1).raw({9});

}  // namespace

TEST(Collaborators, OfAParserMustBeThere) {
  const auto customizer = [] { return std::make_unique<ParseCustomizer>(test::directRegistry()); };
  const auto builder = [] { return std::make_unique<ParsingModelBuilder>(false); };
  EXPECT_EQ(argumentErrorOf([&] { BinaryParser(nullptr, builder()); }), "a parser needs a customizer");
  EXPECT_EQ(argumentErrorOf([&] { BinaryParser(customizer(), nullptr); }), "a parser needs a model builder");
  EXPECT_EQ(argumentErrorOf([&] { BinaryParser(customizer(), builder()).setParseProcessor(nullptr); }),
            "a parser needs a processor");
}

TEST(Collaborators, OfASerializerMustBeThere) {
  const auto traverser = [] { return std::make_unique<ModelTraverser>(); };
  const auto customizer = [] { return std::make_unique<SerializeCustomizer>(); };
  EXPECT_EQ(argumentErrorOf([&] { PlainSerializer(nullptr, customizer(), nullptr); }),
            "a serializer needs a traverser");
  EXPECT_EQ(argumentErrorOf([&] { PlainSerializer(traverser(), nullptr, nullptr); }),
            "a serializer needs a customizer");
  EXPECT_EQ(argumentErrorOf([&] { PlainSerializer(traverser(), customizer(), nullptr); }),
            "a serializer needs an event processor");
}

TEST(ForgetfulProcessors, DoNotCarryOneDocumentIntoTheNext) {
  const auto parser = test::directParser();
  auto made = std::make_unique<ForgetfulProcessor>(parser->getParseProcessor()->getCustomizer(),
                                                   parser->getModelBuilder());
  const ForgetfulProcessor& processor = *made;
  parser->setParseProcessor(std::move(made));
  EXPECT_FALSE(parser->parseByteSequence(kRefused));
  EXPECT_THROW(static_cast<void>(parser->parseByteSequence(kCut)), Error<kr0::io::CorruptInput>);
  ASSERT_TRUE(parser->parseByteSequence(kGood));
  EXPECT_EQ(processor.resets, 3);
  EXPECT_TRUE(parser->getProblems().empty());
  EXPECT_EQ(parser->takeModel().size(), 1u);
}

TEST(TakingAModel, TakesADocumentThatWasAccepted) {
  const auto parser = test::directParser();
  EXPECT_THROW(parser->takeModel(), std::logic_error);
  EXPECT_FALSE(parser->parseByteSequence(kRefused));
  EXPECT_THROW(parser->takeModel(), std::logic_error);
  EXPECT_THROW(static_cast<void>(parser->parseByteSequence(kCut)), Error<kr0::io::CorruptInput>);
  EXPECT_THROW(parser->takeModel(), std::logic_error);
  ASSERT_TRUE(parser->parseByteSequence(kGood));
  EXPECT_EQ(parser->takeModel().size(), 1u);
  EXPECT_THROW(parser->takeModel(), std::logic_error);
}

TEST(TakingAModel, WhatARefusedDocumentLeftIsTheBuilders) {
  const auto parser = test::directParser();
  EXPECT_FALSE(parser->parseByteSequence(kRefused));
  EXPECT_EQ(parser->getModelBuilder().takeModel().size(), 1u);
}

template <class Input>
concept CanBeInput = requires(Input&& input) {
  ParsingInput::fromString(std::forward<Input>(input));
}
|| requires(Input&& input) { ParsingInput::fromUString(std::forward<Input>(input)); }
|| requires(Input&& input) { ParsingInput::fromByteSequence(std::forward<Input>(input)); };

TEST(ParsingInputs, AreNotMadeFromWhatIsGoneBeforeTheParse) {
  EXPECT_TRUE((CanBeInput<const std::string&> && CanBeInput<const ustring&> && CanBeInput<const Bytes&>));
  EXPECT_FALSE(CanBeInput<std::string>);
  EXPECT_FALSE(CanBeInput<ustring>);
  EXPECT_FALSE(CanBeInput<Bytes>);
}

}  // namespace kr::zero::io
