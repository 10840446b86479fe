// Streams that come in pieces and streams that fail, at every byte of every document, in both directions.
#include <gtest/gtest.h>

#include <istream>
#include <ostream>
#include <sstream>

#include "support/GoldenDocuments.h"
#include "support/Outcome.h"
#include "support/PieceBuf.h"
#include "support/Reading.h"
#include "support/SampleModel.h"

namespace kr::zero::test {

namespace {

struct Document {
  std::string name;
  const meta::MetaRegistry* registry;
  Bytes bytes;
};

std::vector<Document> allDocuments() {
  std::vector<Document> all;
  for (const GoldenDocument& golden : goldenDocuments())
    all.push_back({golden.name, &goldenRegistry(), golden.bytes});
  all.push_back({"the sample model", &sampleRegistry(), writeDirect(makeSample())});
  return all;
}

Outcome parseStream(io::Parser& parser, std::istream& stream) {
  return outcomeOf(parser, [&] { return parser.parse(io::ParsingInput::fromStream(stream)); });
}

void expectReads(const Document& document, std::istream& stream) {
  const auto parser = makeParser(*document.registry);
  EXPECT_EQ(parseStream(*parser, stream), (Outcome{Ending::success, {}}));
  EXPECT_EQ(toHex(writeDirect(parser->takeModel())), toHex(document.bytes));
}

// Calls `check(document, k)` for every number of good bytes that a failing stream may have.
template <class Check>
void forEachFailure(const Check& check) {
  for (const Document& document : allDocuments()) {
    for (std::size_t good = 0; good < document.bytes.size() && !testing::Test::HasFailure(); ++good) {
      SCOPED_TRACE(document.name + ", fails after " + std::to_string(good) + " bytes");
      check(document, good);
    }
  }
}

Model readDocument(const Document& document) {
  const auto parser = makeParser(*document.registry);
  EXPECT_EQ(parseBytes(*parser, document.bytes).ending, Ending::success);
  return parser->takeModel();
}

Bytes prefixOf(const Bytes& bytes, std::size_t size) {
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

}  // namespace

TEST(Pieces, AStreamMayHandOutItsBytesInPiecesOfAnySize) {
  for (const Document& document : allDocuments()) {
    for (const std::size_t piece : {1u, 2u, 3u, 5u, 7u, 13u}) {
      SCOPED_TRACE(document.name + " in pieces of " + std::to_string(piece));
      PieceBuf buffer(document.bytes, piece);
      std::istream stream(&buffer);
      expectReads(document, stream);
    }
  }
}

TEST(Pieces, AStreamThatThrowsAtItsEndReadsLikeAnyOther) {
  for (const Document& document : allDocuments()) {
    SCOPED_TRACE(document.name);
    std::istringstream stream(std::string(document.bytes.begin(), document.bytes.end()));
    stream.exceptions(std::ios_base::failbit | std::ios_base::badbit);
    expectReads(document, stream);
  }
}

TEST(Pieces, AStreamIsReadFromWhereItStands) {
  const Bytes& document = goldenDocument("texts");
  std::istringstream stream("skipped" + std::string(document.begin(), document.end()));
  stream.ignore(7);
  expectReads({"texts", &goldenRegistry(), document}, stream);
}

TEST(Pieces, AStreamThatHasFailedAlreadyIsRefused) {
  for (const auto state : {std::ios_base::failbit, std::ios_base::badbit}) {
    std::istringstream stream(std::string{"\x01\x02kr\0", 5});
    stream.setstate(state);
    EXPECT_EQ(parseStream(*makeParser(goldenRegistry()), stream).ending, Ending::streamFailed);
  }
}

TEST(Pieces, AStreamWithoutABufferIsRefused) {
  std::istream stream(nullptr);
  EXPECT_EQ(parseStream(*makeParser(goldenRegistry()), stream).ending, Ending::streamFailed);
}

TEST(Pieces, ABufferThatThrowsWhileItIsReadIsAFailedStreamNotAShortDocument) {
  forEachFailure([](const Document& document, std::size_t good) {
    FailingInputBuf buffer(document.bytes, good, FailingInputBuf::Mode::throws);
    std::istream stream(&buffer);
    EXPECT_EQ(parseStream(*makeParser(*document.registry), stream).ending, Ending::streamFailed);
    EXPECT_TRUE(stream.bad());
  });
}

TEST(Pieces, ABufferThatThrowsLetsItsExceptionOutWhereTheStreamSaysSo) {
  forEachFailure([](const Document& document, std::size_t good) {
    FailingInputBuf buffer(document.bytes, good, FailingInputBuf::Mode::throws);
    std::istream stream(&buffer);
    stream.exceptions(std::ios_base::badbit);
    EXPECT_THROW(
        static_cast<void>(makeParser(*document.registry)->parse(io::ParsingInput::fromStream(stream))),
        BufferFailure);
  });
}

TEST(Pieces, AStreamThatTurnsBadWhileItIsReadIsNotAShortDocument) {
  forEachFailure([](const Document& document, std::size_t good) {
    FailingInputBuf buffer(document.bytes, good, FailingInputBuf::Mode::saysBad);
    std::istream stream(&buffer);
    buffer.attach(stream);
    EXPECT_EQ(parseStream(*makeParser(*document.registry), stream).ending, Ending::streamFailed);
  });
}

TEST(Pieces, ReadingDoesNotSynchronise) {
  for (const auto mode : {FailingInputBuf::Mode::failsAtSync, FailingInputBuf::Mode::throwsAtSync}) {
    for (const Document& document : allDocuments()) {
      SCOPED_TRACE(document.name);
      FailingInputBuf buffer(document.bytes, 0, mode);
      std::istream stream(&buffer);
      expectReads(document, stream);
    }
  }
}

TEST(Pieces, AParserReadsOnAfterAStreamThatFailed) {
  const Bytes& document = goldenDocument("children");
  const auto parser = makeParser(goldenRegistry());
  for (std::size_t good = 0; good < document.size(); ++good) {
    FailingInputBuf buffer(document, good, FailingInputBuf::Mode::throws);
    std::istream stream(&buffer);
    EXPECT_EQ(parseStream(*parser, stream).ending, Ending::streamFailed);
    EXPECT_EQ(parseBytes(*parser, document), (Outcome{Ending::success, {}}));
    EXPECT_EQ(toHex(writeDirect(parser->takeModel())), toHex(document));
  }
}

TEST(Pieces, AStreamThatRefusesBytesWhileItIsWrittenShowsItInItsState) {
  forEachFailure([](const Document& document, std::size_t good) {
    FailingOutputBuf buffer(good, FailingOutputBuf::Mode::refuses);
    std::ostream stream(&buffer);
    io::BinarySerializer().serialize(readDocument(document), io::SerializationOutput::toStream(stream));
    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(buffer.getTaken(), prefixOf(document.bytes, good));
  });
}

TEST(Pieces, ABufferThatThrowsWhileItIsWrittenTurnsItsStreamBad) {
  forEachFailure([](const Document& document, std::size_t good) {
    FailingOutputBuf buffer(good, FailingOutputBuf::Mode::throws);
    std::ostream stream(&buffer);
    EXPECT_NO_THROW(
        io::BinarySerializer().serialize(readDocument(document), io::SerializationOutput::toStream(stream)));
    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(buffer.getTaken(), prefixOf(document.bytes, good));
  });
}

TEST(Pieces, AFailureToWriteComesOutWhereTheStreamSaysSo) {
  forEachFailure([](const Document& document, std::size_t good) {
    const Model model = readDocument(document);
    FailingOutputBuf refusing(good, FailingOutputBuf::Mode::refuses);
    std::ostream stream(&refusing);
    stream.exceptions(std::ios_base::badbit);
    EXPECT_THROW(io::BinarySerializer().serialize(model, io::SerializationOutput::toStream(stream)),
                 std::ios_base::failure);
    FailingOutputBuf throwing(good, FailingOutputBuf::Mode::throws);
    std::ostream other(&throwing);
    other.exceptions(std::ios_base::badbit);
    EXPECT_THROW(io::BinarySerializer().serialize(model, io::SerializationOutput::toStream(other)),
                 BufferFailure);
  });
}

TEST(Pieces, WritingLeavesSynchronisingToTheStreamsOwner) {
  for (const auto mode : {FailingOutputBuf::Mode::failsAtSync, FailingOutputBuf::Mode::throwsAtSync}) {
    for (const Document& document : allDocuments()) {
      SCOPED_TRACE(document.name);
      FailingOutputBuf buffer(0, mode);
      std::ostream stream(&buffer);
      io::BinarySerializer().serialize(readDocument(document), io::SerializationOutput::toStream(stream));
      EXPECT_TRUE(stream.good());
      EXPECT_EQ(buffer.getTaken(), document.bytes);
      stream.flush();
      EXPECT_TRUE(stream.bad());
    }
  }
}

TEST(Pieces, ASerializerWritesOnAfterAStreamThatFailed) {
  const Bytes& document = goldenDocument("children");
  const Model model = readDocument({"children", &goldenRegistry(), document});
  io::BinarySerializer serializer;
  for (std::size_t good = 0; good < document.size(); ++good) {
    FailingOutputBuf buffer(good, FailingOutputBuf::Mode::throws);
    std::ostream stream(&buffer);
    stream.exceptions(std::ios_base::badbit);
    EXPECT_THROW(serializer.serialize(model, io::SerializationOutput::toStream(stream)), BufferFailure);
    Bytes bytes;
    serializer.serialize(model, io::SerializationOutput::toByteSequence(bytes));
    EXPECT_EQ(toHex(bytes), toHex(document));
  }
}

}  // namespace kr::zero::test
