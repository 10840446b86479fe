// A stream of the caller's is left as peek() and get() for every byte would leave it, however its bytes come.

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "NaiveReader.h"
#include "Tagged.h"
#include "support/PieceBuf.h"

namespace kr::zero::test {
namespace {

using modeling::sylvan::EventRecorder;

// All that the caller can see of a read.
struct Seen {
  std::string ending;
  EventRecorder events;
  std::ios::iostate state;
  std::string rest;  ///< bytes that the buffer still gives

  bool operator==(const Seen&) const = default;
};

std::string describe(const Seen& seen) {
  return seen.ending + ", state " + std::to_string(seen.state) + ", rest " + toHex(seen.rest) + "\n" +
         print(seen.events);
}

using MakeBuffer = std::function<std::unique_ptr<std::streambuf>(std::istream&)>;

std::string restOf(std::streambuf& buffer) {
  std::string rest;
  try {
    for (int c = buffer.sbumpc(); c != EOF; c = buffer.sbumpc()) rest += static_cast<char>(c);
  } catch (const BufferFailure&) {
    rest += "...";
  }
  return rest;
}

// How a reader ended; a naive one is told in the library's words.
std::string inOurWords(const std::function<void()>& call) {
  bool isCorrupt = false;
  const std::string ending = endingOf([&] {
    try {
      call();
    } catch (const NaiveCorrupt&) {
      isCorrupt = true;
    }
  });
  return isCorrupt ? "CorruptInput" : ending;
}

Seen observe(const MakeBuffer& makeBuffer, std::ios::iostate exceptions,
             const std::function<void(std::istream&, Events&)>& readFrom) {
  std::istream stream(nullptr);
  const std::unique_ptr<std::streambuf> buffer = makeBuffer(stream);
  stream.rdbuf(buffer.get());
  stream.exceptions(exceptions);
  Seen seen{};
  seen.ending = inOurWords([&] { readFrom(stream, seen.events); });
  seen.state = stream.rdstate();
  stream.exceptions(std::ios::goodbit);
  seen.rest = restOf(*buffer);
  return seen;
}

void expectSameAsNaive(const std::string& what, const MakeBuffer& makeBuffer) {
  for (const std::ios::iostate exceptions :
       {std::ios::goodbit, std::ios::eofbit, std::ios::failbit, std::ios::badbit,
        std::ios::eofbit | std::ios::failbit | std::ios::badbit}) {
    const Seen expected = observe(makeBuffer, exceptions, [](std::istream& stream, Events& target) {
      NaiveReader(stream, target).readDocument();
    });
    const Seen seen = observe(makeBuffer, exceptions, [](std::istream& stream, Events& target) {
      io::BinaryAssembler(&target).visitStream(stream);
    });
    EXPECT_TRUE(seen == expected) << what << ", exceptions " << exceptions << "\nlibrary: " << describe(seen)
                                  << "naive: " << describe(expected);
  }
}

// Keeps no byte in memory: underflow() and uflow() are asked for each.
class UnbufferedBuf : public std::streambuf {
 public:
  explicit UnbufferedBuf(std::string bytes) : bytes_(std::move(bytes)) {}

 protected:
  int_type underflow() override {
    return position_ == bytes_.size() ? traits_type::eof() : traits_type::to_int_type(bytes_[position_]);
  }
  int_type uflow() override {
    return position_ == bytes_.size() ? traits_type::eof() : traits_type::to_int_type(bytes_[position_++]);
  }

 private:
  std::string bytes_;
  std::size_t position_ = 0;
};

// Gives pieces of three bytes and declares its stream bad while it gives one of them.
class BadWhileGivingBuf : public std::streambuf {
 public:
  BadWhileGivingBuf(std::string bytes, std::size_t at, std::ios& stream)
      : bytes_(std::move(bytes)), at_(at), stream_(stream) {}

 protected:
  int_type underflow() override {
    if (position_ == bytes_.size()) return traits_type::eof();
    const std::size_t piece = std::min<std::size_t>(3, bytes_.size() - position_);
    char* const begin = bytes_.data() + position_;
    position_ += piece;
    setg(begin, begin, begin + piece);
    if (position_ > at_) stream_.setstate(std::ios::badbit);
    return traits_type::to_int_type(*begin);
  }

 private:
  std::string bytes_;
  std::size_t at_;
  std::ios& stream_;
  std::size_t position_ = 0;
};

// Golden documents, whole and cut at every place, with bytes behind them.
std::vector<std::string> documents() {
  std::vector<std::string> all;
  for (const GoldenTagged& document : goldenTagged()) {
    all.push_back(document.bytes);
    all.push_back(document.bytes + "behind");
    if (document.bytes.size() > 80) continue;
    for (std::size_t size = 0; size < document.bytes.size(); ++size)
      all.push_back(document.bytes.substr(0, size));
  }
  all.push_back(littleHeader + fromHex("12 0a 12 02"));
  all.push_back(littleHeader + fromHex("31 ff ff ff ff ff ff ff ff 61 02"));
  return all;
}

TEST(CallersStreams, EndAsAfterPeekAndGetWhateverThePieces) {
  for (const std::string& bytes : documents())
    for (const std::size_t piece : {1u, 2u, 3u, 5u, 7u, 13u})
      expectSameAsNaive("pieces of " + std::to_string(piece) + " of " + toHex(bytes),
                        [&](std::istream&) { return std::make_unique<PieceBuf>(toVector(bytes), piece); });
}

TEST(CallersStreams, EndAsAfterPeekAndGetWhenAllIsInMemory) {
  for (const std::string& bytes : documents())
    expectSameAsNaive("in memory " + toHex(bytes),
                      [&](std::istream&) { return std::make_unique<std::stringbuf>(bytes); });
}

TEST(CallersStreams, EndAsAfterPeekAndGetWhenNothingIsInMemory) {
  for (const std::string& bytes : documents())
    expectSameAsNaive("unbuffered " + toHex(bytes),
                      [&](std::istream&) { return std::make_unique<UnbufferedBuf>(bytes); });
}

TEST(CallersStreams, EndAsAfterPeekAndGetWhenTheBufferFailsAtAnyByte) {
  using Mode = FailingInputBuf::Mode;
  for (const GoldenTagged& document : goldenTagged()) {
    if (document.bytes.size() > 80) continue;
    for (std::size_t good = 0; good <= document.bytes.size(); ++good)
      for (const Mode mode : {Mode::throws, Mode::saysBad, Mode::failsAtSync, Mode::throwsAtSync})
        expectSameAsNaive(document.name + " failing at " + std::to_string(good), [&](std::istream& stream) {
          auto buffer = std::make_unique<FailingInputBuf>(toVector(document.bytes), good, mode);
          buffer->attach(stream);
          return buffer;
        });
  }
}

TEST(CallersStreams, EndAsAfterPeekAndGetWhenTheyGoBadWhileTheyGive) {
  for (const GoldenTagged& document : goldenTagged()) {
    if (document.bytes.size() > 80) continue;
    for (std::size_t at = 0; at < document.bytes.size(); ++at)
      expectSameAsNaive(document.name + " bad at " + std::to_string(at), [&](std::istream& stream) {
        return std::make_unique<BadWhileGivingBuf>(document.bytes, at, stream);
      });
  }
}

// Looks at the stream from within an event.
class Watching : public modeling::sylvan::SylvanEventProcessor<void> {
 public:
  explicit Watching(std::istream& stream) : stream_(stream) {}
  std::vector<std::streamoff> positions;

  void startDocument(const Primitive&) override { note(); }
  void endDocument() override { note(); }
  void startStruct() override { note(); }
  void endStruct() override { note(); }
  void startNamedEntry(const Primitive&) override { note(); }
  void endNamedEntry() override { note(); }
  void startSequence() override { note(); }
  void endSequence() override { note(); }
  void startMetadata() override { note(); }
  void endMetadata() override { note(); }
  void writePrimitive(const Primitive&) override { note(); }

 private:
  void note() { positions.push_back(stream_.tellg()); }
  std::istream& stream_;
};

TEST(CallersStreams, StandBehindEachItemWhenItsEventComes) {
  for (const GoldenTagged& document : goldenTagged()) {
    std::istringstream naiveStream(document.bytes);
    Watching naive(naiveStream);
    NaiveReader(naiveStream, naive).readDocument();
    std::istringstream stream(document.bytes);
    Watching watching(stream);
    io::BinaryAssembler(&watching).visitStream(stream);
    EXPECT_EQ(watching.positions, naive.positions) << document.name;
    EXPECT_FALSE(watching.positions.empty());
  }
}

// A target that makes the stream fail in the middle of the document.
class Spoiling : public EventRecorder {
 public:
  Spoiling(std::istream& stream, std::size_t at) : stream_(stream), at_(at) {}
  void writePrimitive(const Primitive& value) override {
    EventRecorder::writePrimitive(value);
    if (getCount() == at_) stream_.setstate(std::ios::failbit);
  }

 private:
  std::istream& stream_;
  std::size_t at_;
};

TEST(CallersStreams, ThatTheTargetSpoilsEndAsAfterPeekAndGet) {
  const std::string bytes = littleHeader + fromHex("11 12 13 20 05 16 02");
  for (std::size_t at = 2; at < 7; ++at) {
    std::istringstream naiveStream(bytes);
    Spoiling naive(naiveStream, at);
    const std::string expected = inOurWords([&] { NaiveReader(naiveStream, naive).readDocument(); });
    std::istringstream stream(bytes);
    Spoiling spoiling(stream, at);
    io::BinaryAssembler assembler(&spoiling);
    EXPECT_EQ(inOurWords([&] { assembler.visitStream(stream); }), expected) << at;
    EXPECT_TRUE(spoiling == naive) << at;
    EXPECT_EQ(stream.rdstate(), naiveStream.rdstate()) << at;
  }
}

TEST(CallersStreams, FlushTheStreamThatTheyAreTiedToBeforeMoreIsFetched) {
  struct : std::stringbuf {
    int flushes = 0;
    int sync() override { return ++flushes, 0; }
  } prompts;
  std::ostream tied(&prompts);
  PieceBuf buffer(toVector(littleHeader + fromHex("12 12 02")), 1);
  std::istream stream(&buffer);
  stream.tie(&tied);
  EventRecorder recorder;
  io::BinaryAssembler(&recorder).visitStream(stream);
  EXPECT_GE(prompts.flushes, 10);
}

}  // namespace
}  // namespace kr::zero::test
