// A document reads as with peek() and get() for every byte, and a stream of the caller's is left as they
// would leave it, however its bytes come.

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "NaiveReader.h"
#include "Tagged.h"
#include "support/Environment.h"
#include "support/PieceBuf.h"
#include "support/Random.h"

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

std::string restOf(std::streambuf* buffer) {
  if (buffer == nullptr) return "no buffer";
  std::string rest;
  try {
    for (int c = buffer->sbumpc(); c != EOF; c = buffer->sbumpc()) rest += static_cast<char>(c);
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

Seen observe(const MakeBuffer& makeBuffer, std::ios::iostate before, std::ios::iostate exceptions,
             const std::function<void(std::istream&, Events&)>& readFrom) {
  std::istream stream(nullptr);
  const std::unique_ptr<std::streambuf> buffer = makeBuffer(stream);
  stream.rdbuf(buffer.get());
  stream.setstate(before);
  stream.exceptions(exceptions);
  Seen seen{};
  seen.ending = inOurWords([&] { readFrom(stream, seen.events); });
  seen.state = stream.rdstate();
  stream.exceptions(std::ios::goodbit);
  seen.rest = restOf(buffer.get());
  return seen;
}

void expectSameAsNaive(const std::string& what, const MakeBuffer& makeBuffer,
                       std::ios::iostate before = std::ios::goodbit) {
  for (const std::ios::iostate exceptions :
       {std::ios::goodbit, std::ios::eofbit, std::ios::failbit, std::ios::badbit,
        std::ios::eofbit | std::ios::failbit | std::ios::badbit}) {
    if ((before & exceptions) != 0) continue;  // no stream is like that
    const Seen expected = observe(makeBuffer, before, exceptions, [](std::istream& stream, Events& target) {
      NaiveReader(stream, target).readDocument();
    });
    const Seen seen = observe(makeBuffer, before, exceptions, [](std::istream& stream, Events& target) {
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

// Items of all kinds, so many that most lie in memory with others behind them; now and then a byte that is
// no tag, a name that is none, a string of any size.
std::string randomDocument(Random& random) {
  static const std::vector<std::string> items{"03",
                                              "04",
                                              "05",
                                              "06",
                                              "07",
                                              "08",
                                              "10",
                                              "11",
                                              "12",
                                              "13",
                                              "15",
                                              "16",
                                              "09 30 01 61",
                                              "09 30 00",
                                              "09 13",
                                              "09 20 07",
                                              "09 30 02 61 62",
                                              "20 ff",
                                              "21 34 12",
                                              "22 01 02 03",
                                              "23 01 02 03 84",
                                              "24 01 02 03 04 85",
                                              "25 01 02 03 04 05 86",
                                              "26 01 02 03 04 05 06 87",
                                              "27 01 02 03 04 05 06 07 88",
                                              "28 ff",
                                              "29 34 12",
                                              "2a 01 02 03",
                                              "2b 01 02 03 84",
                                              "2f 01 02 03 04 05 06 07 88",
                                              "14 00 00 00 00 00 00 f0 3f",
                                              "14 3f f0 00 00 00 00 00 00"};
  const bool isLittle = random.percent(80);
  std::string bytes = isLittle ? littleHeader : bigHeader;
  for (std::size_t count = random.between(20, 120); count != 0; --count) {
    if (random.percent(30)) {
      const std::size_t size = random.percent(90) ? random.below(40) : random.below(256);
      bytes += (random.percent(50) ? "\x09\x30" : "\x30") + std::string(1, static_cast<char>(size));
      for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(random.below(256));
    } else if (random.percent(3)) {
      bytes += fromHex(isLittle ? "31 02 00 00 00 00 00 00 00 61 62" : "31 00 00 00 00 00 00 00 02 61 62");
    } else if (random.percent(99)) {
      bytes += fromHex(random.pick(items));
    } else {
      bytes += fromHex(random.pick<std::string>({"00", "01", "0a", "17", "32", "ff", "09 03", "09 32"}));
    }
  }
  return random.percent(70) ? bytes + "\x02" : bytes;
}

std::vector<std::string> randomDocuments(std::size_t count) {
  Random random(seedFor("tagged documents of many items"));
  std::vector<std::string> all;
  for (std::size_t i = 0; i < count; ++i) all.push_back(randomDocument(random));
  return all;
}

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

TEST(CallersStreams, EndAsAfterPeekAndGetWithManyItems) {
  for (const std::string& bytes : randomDocuments(200)) {
    expectSameAsNaive("in memory " + toHex(bytes),
                      [&](std::istream&) { return std::make_unique<std::stringbuf>(bytes); });
    for (const std::size_t piece : {70u, 100u, 250u})
      expectSameAsNaive("pieces of " + std::to_string(piece) + " of " + toHex(bytes),
                        [&](std::istream&) { return std::make_unique<PieceBuf>(toVector(bytes), piece); });
  }
}

TEST(CallersStreams, EndAsAfterPeekAndGetWhereverManyItemsAreCut) {
  for (const std::string& bytes : randomDocuments(5))
    for (std::size_t size = 0; size < bytes.size(); ++size)
      expectSameAsNaive("cut at " + std::to_string(size) + " " + toHex(bytes), [&](std::istream&) {
        return std::make_unique<std::stringbuf>(bytes.substr(0, size));
      });
}

TEST(CallersStreams, EndAsAfterPeekAndGetWhenAllIsInMemory) {
  for (const std::string& bytes : documents())
    expectSameAsNaive("in memory " + toHex(bytes),
                      [&](std::istream&) { return std::make_unique<std::stringbuf>(bytes); });
}

TEST(CallersStreams, EndAsAfterPeekAndGetWhateverTheirStateBefore) {
  for (const std::ios::iostate before :
       {std::ios::eofbit, std::ios::failbit, std::ios::badbit, std::ios::eofbit | std::ios::failbit})
    for (const std::string& bytes : {std::string(), littleHeader + fromHex("12 02")})
      expectSameAsNaive(
          "state " + std::to_string(before) + " before " + toHex(bytes),
          [&](std::istream&) { return std::make_unique<std::stringbuf>(bytes); }, before);
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

std::vector<std::streamoff> naivePositions(const std::string& bytes) {
  std::istringstream stream(bytes);
  Watching naive(stream);
  inOurWords([&] { NaiveReader(stream, naive).readDocument(); });
  return naive.positions;
}

std::vector<std::string> wholeAndRandomDocuments() {
  std::vector<std::string> all = randomDocuments(200);
  for (const GoldenTagged& document : goldenTagged()) all.push_back(document.bytes);
  return all;
}

TEST(CallersStreams, StandBehindEachItemWhenItsEventComes) {
  for (const std::string& bytes : wholeAndRandomDocuments()) {
    std::istringstream stream(bytes);
    Watching watching(stream);
    inOurWords([&] { io::BinaryAssembler(&watching).visitStream(stream); });
    EXPECT_EQ(watching.positions, naivePositions(bytes)) << toHex(bytes);
    EXPECT_FALSE(watching.positions.empty());
  }
}

// Asks an assembler for its offset at each event, and throws in place of the last of a number of them.
class Asking : public EventRecorder {
 public:
  const io::BinaryAssembler* assembler = nullptr;
  std::size_t last = ~std::size_t{0};
  std::vector<std::streamoff> offsets;

  void startDocument(const Primitive& value) override { note(), EventRecorder::startDocument(value); }
  void endDocument() override { note(), EventRecorder::endDocument(); }
  void startStruct() override { note(), EventRecorder::startStruct(); }
  void endStruct() override { note(), EventRecorder::endStruct(); }
  void startNamedEntry(const Primitive& name) override { note(), EventRecorder::startNamedEntry(name); }
  void endNamedEntry() override { note(), EventRecorder::endNamedEntry(); }
  void startSequence() override { note(), EventRecorder::startSequence(); }
  void endSequence() override { note(), EventRecorder::endSequence(); }
  void startMetadata() override { note(), EventRecorder::startMetadata(); }
  void endMetadata() override { note(), EventRecorder::endMetadata(); }
  void writePrimitive(const Primitive& value) override { note(), EventRecorder::writePrimitive(value); }

 private:
  void note() {
    offsets.push_back(static_cast<std::streamoff>(assembler->getByteOffset()));
    if (offsets.size() == last) throw Thrown();
  }
};

TEST(Strings, ReadAsNaiveStreamsWithTheirPositionsAsOffsets) {
  for (const std::string& bytes : wholeAndRandomDocuments()) {
    std::istringstream stream(bytes);
    EventRecorder naive;
    const std::string expected = inOurWords([&] { NaiveReader(stream, naive).readDocument(); });
    stream.clear();
    Asking asking;
    io::BinaryAssembler assembler(&asking);
    asking.assembler = &assembler;
    EXPECT_EQ(inOurWords([&] { assembler.visitString(bytes); }), expected) << toHex(bytes);
    EXPECT_TRUE(asking == naive) << toHex(bytes);
    EXPECT_EQ(asking.offsets, naivePositions(bytes)) << toHex(bytes);
    EXPECT_EQ(static_cast<std::streamoff>(assembler.getByteOffset()), stream.tellg()) << toHex(bytes);
  }
}

TEST(CallersStreams, HaveOffsetsHoweverTheirBytesCome) {
  for (const std::string& bytes : wholeAndRandomDocuments()) {
    const std::vector<std::streamoff> expected = naivePositions(bytes);
    std::vector<std::unique_ptr<std::streambuf>> buffers;
    buffers.push_back(std::make_unique<std::stringbuf>(bytes));
    buffers.push_back(std::make_unique<UnbufferedBuf>(bytes));
    for (const std::size_t piece : {1u, 7u, 100u})
      buffers.push_back(std::make_unique<PieceBuf>(toVector(bytes), piece));
    for (const auto& buffer : buffers) {
      std::istream stream(buffer.get());
      Asking asking;
      io::BinaryAssembler assembler(&asking);
      asking.assembler = &assembler;
      inOurWords([&] { assembler.visitStream(stream); });
      EXPECT_EQ(asking.offsets, expected) << toHex(bytes);
      EXPECT_EQ(assembler.getByteOffset() + restOf(buffer.get()).size(), bytes.size()) << toHex(bytes);
    }
  }
}

TEST(Strings, StandBehindTheItemWhoseEventThrew) {
  for (const std::string& bytes : randomDocuments(20)) {
    const std::vector<std::streamoff> expected = naivePositions(bytes);
    for (std::size_t last = 1; last <= expected.size(); ++last) {
      Asking asking;
      io::BinaryAssembler assembler(&asking);
      asking.assembler = &assembler;
      asking.last = last;
      EXPECT_THROW(assembler.visitString(bytes), Thrown);
      EXPECT_EQ(static_cast<std::streamoff>(assembler.getByteOffset()), expected[last - 1]) << toHex(bytes);
    }
  }
}

// A target that does something to the stream in place of its own work, at one primitive of the document.
class Meddling : public EventRecorder {
 public:
  Meddling(std::function<void()> act, std::size_t at) : act_(std::move(act)), at_(at) {}
  void writePrimitive(const Primitive& value) override {
    EventRecorder::writePrimitive(value);
    if (getCount() == at_) act_();
  }

 private:
  std::function<void()> act_;
  std::size_t at_;
};

// What a stream and its target come to where the target does that.
Seen observeMeddling(const std::string& bytes, std::size_t at, const std::function<void(std::istream&)>& act,
                     const std::function<void(std::istream&, Events&)>& readFrom) {
  std::istringstream stream(bytes);
  Meddling target([&] { act(stream); }, at);
  Seen seen{};
  seen.ending = inOurWords([&] { readFrom(stream, target); });
  seen.events = target;
  seen.state = stream.rdstate();
  seen.rest = restOf(static_cast<std::istream&>(stream).rdbuf());
  return seen;
}

TEST(CallersStreams, ThatTheTargetMeddlesWithEndAsAfterPeekAndGet) {
  std::stringbuf other(fromHex("12 20 09 05 10 02"));
  const std::vector<std::function<void(std::istream&)>> acts{
      [](std::istream& stream) { stream.setstate(std::ios::failbit); },
      [](std::istream& stream) { stream.setstate(std::ios::eofbit); },
      [](std::istream& stream) { stream.get(); },
      [](std::istream& stream) { stream.unget(); },
      [](std::istream& stream) { stream.seekg(0, std::ios::end); },
      [&](std::istream& stream) {
        other.pubseekpos(0);
        stream.std::ios::rdbuf(&other);
      },
      [](std::istream& stream) { stream.std::ios::rdbuf(nullptr); }};
  const std::string body = fromHex("11 12 13 20 05 16");
  for (const std::string& behind : {std::string("\x02"), std::string(100, '\x11') + "\x02"})
    for (const auto& act : acts)
      for (std::size_t at = 2; at < 7; ++at) {
        const std::string bytes = littleHeader + body + behind;
        const Seen expected = observeMeddling(bytes, at, act, [](std::istream& stream, Events& target) {
          NaiveReader(stream, target).readDocument();
        });
        const Seen seen = observeMeddling(bytes, at, act, [](std::istream& stream, Events& target) {
          io::BinaryAssembler(&target).visitStream(stream);
        });
        EXPECT_TRUE(seen == expected)
            << at << "\nlibrary: " << describe(seen) << "naive: " << describe(expected);
      }
}

// Has all in memory until it is told to forget all but a few bytes.
class ForgetfulBuf : public std::streambuf {
 public:
  explicit ForgetfulBuf(std::string bytes) : bytes_(std::move(bytes)) {
    setg(bytes_.data(), bytes_.data(), bytes_.data() + bytes_.size());
  }
  void forget() { setg(eback(), gptr(), gptr() + 3); }

 private:
  std::string bytes_;
};

TEST(CallersStreams, ThatForgetBytesWhileAnEventIsSentEndAsAfterPeekAndGet) {
  const std::string bytes = littleHeader + std::string(100, '\x12') + "\x02";
  const auto seenBy = [&](std::size_t at, const std::function<void(std::istream&, Events&)>& readFrom) {
    ForgetfulBuf buffer(bytes);
    std::istream stream(&buffer);
    Meddling target([&] { buffer.forget(); }, at);
    const std::string ending = inOurWords([&] { readFrom(stream, target); });
    return Seen{ending, target, stream.rdstate(), restOf(&buffer)};
  };
  for (std::size_t at = 2; at < 60; ++at) {
    const Seen expected =
        seenBy(at, [](std::istream& stream, Events& target) { NaiveReader(stream, target).readDocument(); });
    const Seen seen = seenBy(
        at, [](std::istream& stream, Events& target) { io::BinaryAssembler(&target).visitStream(stream); });
    EXPECT_TRUE(seen == expected) << at << "\nlibrary: " << describe(seen) << "naive: " << describe(expected);
    EXPECT_EQ(seen.events.getCount(), at + 3);
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
