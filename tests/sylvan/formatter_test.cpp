// The rules of the writer of the tagged format.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <utility>
#include <variant>
#include <vector>

#include "Tagged.h"
#include "kr/zero/io/Errors.h"
#include "modeling/sylvan/grammar/GrammarException.h"
#include "modeling/sylvan/grammar/RuleSet.h"
#include "support/Paths.h"
#include "support/PieceBuf.h"
#include "sylvan/FormatterInternals.h"

namespace kr::zero::test {
namespace {

using io::BinaryFormatter;
using io::SerializationOutput;
using io::tagged::FormatterInternals;

constexpr char emptyDocument[] = "01 20 01 30 02 6b 72 02";

void produceEmpty(Events& to) {
  to.startDocument(nullptr);
  to.endDocument();
}

TEST(Formatting, ToAStringDropsWhatItHeld) {
  std::string bytes = "what was there before";
  BinaryFormatter formatter(SerializationOutput::toString(bytes));
  EXPECT_EQ(bytes, "");
  produceEmpty(formatter);
  EXPECT_EQ(toHex(bytes), emptyDocument);
}

/// A sink that is none of the framework's.
class HostSink final : public io::Sink {
 public:
  explicit HostSink(std::string& calls) : calls_(calls) {}
  io::Sink& write(const std::string&) override {
    calls_ += "write ";
    return *this;
  }
  io::Sink& writeByte(const unsigned char& byte) override {
    calls_ += toHex(std::string(1, static_cast<char>(byte))) + ' ';
    return *this;
  }
  void flush() override { calls_ += "flush"; }

 private:
  std::string& calls_;
};

TEST(Formatting, ASinkOfAHostsOwnGetsEachByteByItself) {
  std::string unused;
  std::string calls;
  BinaryFormatter formatter(SerializationOutput::toString(unused));
  FormatterInternals::setSink(formatter, std::make_unique<HostSink>(calls));
  formatter.startDocument(nullptr);
  formatter.startNamedEntry(text("ab"));
  formatter.writePrimitive(u(300));
  formatter.writePrimitive(text(std::string(100, 'x').c_str()));
  formatter.endNamedEntry();
  formatter.endDocument();
  std::string expected = "01 20 01 30 02 6b 72 09 30 02 61 62 21 2c 01 30 64 ";
  for (int i = 0; i < 100; ++i) expected += "78 ";
  EXPECT_EQ(calls, expected + "10 02 flush");
  EXPECT_EQ(unused, "");
}

TEST(Formatting, NothingReachesTheOutputBeforeASinkThatTookItsPlace) {
  std::ostringstream stream;
  std::string calls;
  BinaryFormatter formatter(SerializationOutput::toStream(stream));
  formatter.startStruct();
  FormatterInternals::setSink(formatter, std::make_unique<HostSink>(calls));
  formatter.endStruct();
  EXPECT_EQ(toHex(stream.str()), "03");
  EXPECT_EQ(calls, "04 ");
}

TEST(Formatting, IgnoresTheValueAtTheStart) {
  for (const Primitive& value : {Primitive(nullptr), Primitive(true), u(7), text("other")}) {
    const std::string bytes = write([&](Events& to) {
      to.startDocument(value);
      to.endDocument();
    });
    EXPECT_EQ(toHex(bytes), emptyDocument);
  }
}

TEST(Formatting, DropsAPrimitiveDirectlyInAStruct) {
  const std::string body = writeBody([](Events& to) {
    to.startStruct();
    to.writePrimitive(true);
    to.endStruct();
  });
  EXPECT_EQ(toHex(body), "03 04");
}

TEST(Formatting, KeepsAPrimitiveInAnEntryOfAStruct) {
  const std::string body = writeBody([](Events& to) {
    to.startStruct();
    to.startNamedEntry(text("a"));
    to.writePrimitive(true);
    to.endNamedEntry();
    to.endStruct();
  });
  EXPECT_EQ(toHex(body), "03 09 30 01 61 12 10 04");
}

TEST(Formatting, DropsAPrimitiveBetweenEntriesOfAStruct) {
  const std::string body = writeBody([](Events& to) {
    to.startStruct();
    to.startNamedEntry(text("a"));
    to.endNamedEntry();
    to.writePrimitive(true);
    to.endStruct();
    to.writePrimitive(false);
  });
  EXPECT_EQ(toHex(body), "03 09 30 01 61 10 04 11");
}

TEST(Formatting, KeepsAPrimitiveInASequenceInAStruct) {
  const std::string body = writeBody([](Events& to) {
    to.startStruct();
    to.startSequence();
    to.writePrimitive(true);
    to.endSequence();
    to.startMetadata();
    to.writePrimitive(false);
    to.endMetadata();
    to.endStruct();
  });
  EXPECT_EQ(toHex(body), "03 05 12 06 07 11 08 04");
}

TEST(Formatting, KeepsANameDirectlyInAStruct) {
  const std::string body = writeBody([](Events& to) {
    to.startStruct();
    to.startNamedEntry(u(5));
  });
  EXPECT_EQ(toHex(body), "03 09 20 05");
}

TEST(Formatting, WritesSequences) {
  const std::string body = writeBody([](Events& to) {
    to.startSequence();
    to.writePrimitive(u(300));
    to.endSequence();
  });
  EXPECT_EQ(toHex(body), "05 21 2c 01 06");
}

TEST(Formatting, WritesMetadata) {
  const std::string body = writeBody([](Events& to) {
    to.startMetadata();
    to.startNamedEntry(text("x"));
    to.writePrimitive(s(-1));
    to.endNamedEntry();
    to.endMetadata();
  });
  EXPECT_EQ(toHex(body), "07 09 30 01 78 28 01 10 08");
}

TEST(Formatting, WritesAPrimitiveBeforeAnyDocument) { EXPECT_EQ(writeOne(true), "12"); }

TEST(Formatting, WritesAnEndWithNothingOpen) {
  const std::string bytes = write([](Events& to) {
    to.endStruct();
    to.endSequence();
    to.writePrimitive(true);
  });
  EXPECT_EQ(toHex(bytes), "04 06 12");
}

TEST(Formatting, AfterAResetAppendsAndForgetsWhatWasOpen) {
  std::string bytes;
  BinaryFormatter formatter(SerializationOutput::toString(bytes));
  formatter.startStruct();
  formatter.reset();
  formatter.writePrimitive(true);
  EXPECT_EQ(toHex(bytes), "03 12");
}

// An assignment that throws may leave a primitive without alternative. GNU's standard library keeps the old
// one, so that there it can only be held that the old value is written.
TEST(Formatting, OfAPrimitiveWithoutAlternativeFailsAndWritesNothing) {
  struct Throws {
    operator std::string() const { throw Thrown(); }
  };
  Primitive broken = true;
  EXPECT_THROW(broken.emplace<std::string>(Throws()), Thrown);
  const bool keepsOldValue = broken == Primitive(true);
  EXPECT_NE(keepsOldValue, broken.valueless_by_exception());
  const std::string ending = keepsOldValue ? "success" : "bad_variant_access";
  const std::string value = keepsOldValue ? "12" : "";
  std::string bytes;
  BinaryFormatter formatter(SerializationOutput::toString(bytes));
  EXPECT_EQ(endingOf([&] { formatter.writePrimitive(broken); }), ending);
  EXPECT_EQ(toHex(bytes), value);
}

TEST(Formatting, RefusesOtherOutputs) {
  ustring wide = u"kept";
  std::vector<unsigned char> sequence{1, 2};
  int intermediate = 0;
  const auto endingFor = [](const SerializationOutput& output) {
    return endingOf([&] { BinaryFormatter formatter(output); });
  };
  EXPECT_EQ(endingFor(SerializationOutput::toUString(wide)), "UstringNotSupported");
  EXPECT_EQ(endingFor(SerializationOutput::toByteSequence(sequence)), "IntermediateFormatNotSupported");
  EXPECT_EQ(endingFor(SerializationOutput::toIntermediateFormat(&intermediate)),
            "IntermediateFormatNotSupported");
  EXPECT_EQ(wide, u"kept");
  EXPECT_EQ(sequence, (std::vector<unsigned char>{1, 2}));
}

TEST(Formatting, RefusalsCarryTheirMessage) {
  ustring wide;
  try {
    BinaryFormatter formatter(SerializationOutput::toUString(wide));
    FAIL() << "no exception";
  } catch (const foundation::core::except::IMsgIDException& e) {
    EXPECT_EQ(e.get_error_id(e.GetMsgID()), "kr0:io:UstringNotSupported");
  }
}

TEST(Formatting, GivesTheSameBytesThroughEveryOutput) {
  for (const GoldenTagged& document : goldenTagged()) {
    const std::string expected = write(document.produce);
    std::ostringstream memory;
    BinaryFormatter toMemory(SerializationOutput::toStream(memory));
    document.produce(toMemory);
    EXPECT_EQ(toHex(memory.str()), toHex(expected)) << document.name;

    FailingOutputBuf unbuffered(0, FailingOutputBuf::Mode::failsAtSync);  // takes all bytes, one at a time
    std::ostream plain(&unbuffered);
    BinaryFormatter toPlain(SerializationOutput::toStream(plain));
    endingOf([&] { document.produce(toPlain); });
    EXPECT_EQ(unbuffered.getTaken(), toVector(expected)) << document.name;

    const std::string path = temporaryPath("formatted.krs");
    {
      BinaryFormatter toFile(SerializationOutput::toFile(toUstring(path)));
      document.produce(toFile);
    }
    EXPECT_EQ(toHex(readFile(path)), toHex(expected)) << document.name;
  }
}

TEST(Formatting, OfALongStringGivesTheSameBytesThroughEveryOutput) {
  std::string content;
  for (unsigned i = 0; i < 100000; ++i) content += static_cast<char>(i * i % 251);
  const auto produce = [&](Events& to) { to.writePrimitive(text(content)); };
  const std::string expected = write(produce);
  std::ostringstream memory;
  BinaryFormatter toMemory(SerializationOutput::toStream(memory));
  produce(toMemory);
  EXPECT_TRUE(memory.str() == expected);
  const std::string path = temporaryPath("formatted-long.krs");
  {
    BinaryFormatter toFile(SerializationOutput::toFile(toUstring(path)));
    produce(toFile);
  }
  EXPECT_TRUE(readFile(path) == expected);
}

// An item of each size up to 70 bytes of text, numbers of each width, each at any distance from the end of
// the string's memory.
TEST(Formatting, GivesTheSameBytesWhateverRoomTheStringHas) {
  for (std::size_t taken = 0; taken < 150; ++taken) {
    for (std::size_t size = 0; size <= 70; ++size) {
      const std::string content(size, static_cast<char>('a' + size % 26));
      const std::uint64_t number = ~std::uint64_t{0} >> (8 * (size % 8));
      std::string bytes;
      bytes.reserve(150);
      BinaryFormatter formatter(SerializationOutput::toString(bytes));
      for (std::size_t i = 0; i < taken; ++i) formatter.writePrimitive(true);
      formatter.writePrimitive(text(content));
      const std::string head = std::string("\x30") + static_cast<char>(size);
      EXPECT_EQ(bytes, std::string(taken, '\x12') + head + content);
      formatter.writePrimitive(u(number));
      const std::string tag(1, static_cast<char>(0x27 - size % 8));
      EXPECT_EQ(bytes.substr(taken + 2 + size), tag + std::string(8 - size % 8, '\xff'));
      formatter.startNamedEntry(text(content));
      EXPECT_EQ(bytes.substr(taken + 2 + size + 9 - size % 8), "\x09" + head + content);
    }
  }
}

TEST(Formatting, HasWrittenAFileWhenTheDocumentEnds) {
  const std::string path = temporaryPath("flushed.krs");
  BinaryFormatter formatter(SerializationOutput::toFile(toUstring(path)));
  formatter.startDocument(nullptr);
  formatter.endDocument();
  EXPECT_EQ(toHex(readFile(path)), emptyDocument);
}

// Counts what a stream is asked for.
class CountingBuf : public std::stringbuf {
 public:
  int flushes = 0;

 protected:
  int sync() override {
    ++flushes;
    return std::stringbuf::sync();
  }
};

TEST(Formatting, FlushesAtTheEndOfADocumentOnly) {
  CountingBuf buffer;
  std::ostream stream(&buffer);
  BinaryFormatter formatter(SerializationOutput::toStream(stream));
  formatter.startDocument(nullptr);
  formatter.startSequence();
  formatter.endSequence();
  EXPECT_EQ(buffer.flushes, 0);
  formatter.endDocument();
  EXPECT_EQ(buffer.flushes, 1);
}

TEST(Formatting, ToAStreamThatFlushesAlwaysKeepsItFlushed) {
  CountingBuf buffer;
  std::ostream stream(&buffer);
  stream << std::unitbuf;
  BinaryFormatter formatter(SerializationOutput::toStream(stream));
  for (int events = 1; events < 5; ++events) {
    formatter.startSequence();
    EXPECT_GE(buffer.flushes, events);
  }
  EXPECT_EQ(toHex(buffer.str()), "05 05 05 05");
}

TEST(Formatting, FlushesTheStreamThatItsOwnIsTiedTo) {
  CountingBuf before;
  std::ostream tied(&before);
  std::ostringstream stream;
  stream.tie(&tied);
  BinaryFormatter formatter(SerializationOutput::toStream(stream));
  for (int events = 1; events < 5; ++events) {
    formatter.writePrimitive(true);
    EXPECT_GE(before.flushes, events);
  }
  EXPECT_EQ(toHex(stream.str()), "12 12 12 12");
}

TEST(Formatting, AppendsToWhatAStreamHolds) {
  std::ostringstream stream;
  stream << "before";
  BinaryFormatter formatter(SerializationOutput::toStream(stream));
  formatter.writePrimitive(text("x"));
  stream << "after";
  EXPECT_EQ(stream.str(), "before\x30\x01xafter");
}

TEST(Formatting, ReportsAStreamThatHasFailed) {
  for (const auto state : {std::ios::failbit, std::ios::badbit}) {
    std::ostringstream stream;
    stream << "before";  // there is room in memory now
    stream.setstate(state);
    BinaryFormatter formatter(SerializationOutput::toStream(stream));
    EXPECT_EQ(endingOf([&] { formatter.startStruct(); }), "stream failure");
    EXPECT_EQ(stream.str(), "before");
  }
}

// A stream that has met the end of what it was read for takes no byte, and does not count as failed.
TEST(Formatting, ReportsAStreamThatIsAtItsEnd) {
  std::stringstream stream;
  stream << "before";
  stream.setstate(std::ios::eofbit);
  BinaryFormatter formatter(SerializationOutput::toStream(stream));
  EXPECT_EQ(endingOf([&] { formatter.startStruct(); }), "stream failure");
  EXPECT_EQ(endingOf([&] { formatter.endDocument(); }), "stream failure");
  EXPECT_EQ(stream.str(), "before");
}

TEST(Formatting, LeavesTheStreamsExceptionsToItsOwner) {
  for (const auto exceptions : {std::ios::goodbit, std::ios::badbit | std::ios::failbit}) {
    FailingOutputBuf buffer(1, FailingOutputBuf::Mode::throws);
    std::ostream stream(&buffer);
    stream.exceptions(exceptions);
    BinaryFormatter formatter(SerializationOutput::toStream(stream));
    formatter.startStruct();
    EXPECT_EQ(endingOf([&] { formatter.endStruct(); }),
              exceptions == std::ios::goodbit ? "stream failure" : "BufferFailure");
    EXPECT_EQ(stream.exceptions(), exceptions);
    EXPECT_TRUE(stream.bad());
  }
}

// Fails once where it is told to, and takes everything before and after.
class FailingOnceBuf : public std::streambuf {
 public:
  bool refusesByte = false;
  bool failsSync = false;
  std::string taken;

 protected:
  int_type overflow(int_type c) override {
    if (std::exchange(refusesByte, false)) return traits_type::eof();
    taken += traits_type::to_char_type(c);
    return c;
  }
  int sync() override { return std::exchange(failsSync, false) ? -1 : 0; }
};

// What is open shows in what becomes of a primitive: directly in a struct it is dropped.
class FormattingToAStreamThatFailsOnce : public ::testing::Test {
 protected:
  template <class Event>
  void expectFailure(bool FailingOnceBuf::*failure, const Event& event) {
    buffer.*failure = true;
    EXPECT_EQ(endingOf(event), "stream failure");
    stream.clear();
  }

  FailingOnceBuf buffer;
  std::ostream stream{&buffer};
  BinaryFormatter formatter{SerializationOutput::toStream(stream)};
};

TEST_F(FormattingToAStreamThatFailsOnce, AConstructIsOpenBeforeItsStartIsWritten) {
  expectFailure(&FailingOnceBuf::refusesByte, [&] { formatter.startStruct(); });
  formatter.writePrimitive(true);
  EXPECT_EQ(toHex(buffer.taken), "");
}

TEST_F(FormattingToAStreamThatFailsOnce, AnEntryIsOpenBeforeItsNameIsWritten) {
  formatter.startStruct();
  expectFailure(&FailingOnceBuf::refusesByte, [&] { formatter.startNamedEntry(true); });
  formatter.writePrimitive(false);
  EXPECT_EQ(toHex(buffer.taken), "03 11");
}

TEST_F(FormattingToAStreamThatFailsOnce, AConstructIsOpenUntilItsEndIsWritten) {
  formatter.startStruct();
  expectFailure(&FailingOnceBuf::refusesByte, [&] { formatter.endStruct(); });
  formatter.writePrimitive(true);
  formatter.endStruct();
  formatter.writePrimitive(false);
  EXPECT_EQ(toHex(buffer.taken), "03 04 11");
}

TEST_F(FormattingToAStreamThatFailsOnce, ADocumentIsOpenUntilItsEndIsWrittenAndFlushed) {
  formatter.startStruct();
  formatter.startDocument(nullptr);
  expectFailure(&FailingOnceBuf::refusesByte, [&] { formatter.endDocument(); });
  formatter.writePrimitive(true);
  expectFailure(&FailingOnceBuf::failsSync, [&] { formatter.endDocument(); });
  formatter.writePrimitive(true);
  formatter.endDocument();
  formatter.writePrimitive(true);
  EXPECT_EQ(toHex(buffer.taken), "03 01 20 01 30 02 6b 72 12 02 12 02");
}

TEST(Formatting, LeavesAllBytesBeforeTheOneThatAStreamRefuses) {
  const GoldenTagged& document = goldenTagged()[2];
  const std::string expected = write(document.produce);
  for (const auto mode : {FailingOutputBuf::Mode::refuses, FailingOutputBuf::Mode::throws})
    for (std::size_t good = 0; good < expected.size(); ++good) {
      FailingOutputBuf buffer(good, mode);
      std::ostream stream(&buffer);
      BinaryFormatter formatter(SerializationOutput::toStream(stream));
      EXPECT_EQ(endingOf([&] { document.produce(formatter); }), "stream failure") << good;
      EXPECT_EQ(buffer.getTaken(), toVector(expected.substr(0, good)));
    }
}

TEST(Formatting, ReportsAFailureToFlush) {
  for (const auto mode : {FailingOutputBuf::Mode::failsAtSync, FailingOutputBuf::Mode::throwsAtSync}) {
    FailingOutputBuf buffer(0, mode);
    std::ostream stream(&buffer);
    BinaryFormatter formatter(SerializationOutput::toStream(stream));
    formatter.startDocument(nullptr);
    EXPECT_EQ(endingOf([&] { formatter.endDocument(); }), "stream failure");
  }
}

TEST(Formatting, ReportsAFileThatCannotBeCreatedByItsPath) {
  const std::string path = temporaryPath("missing/out.krs");
  try {
    BinaryFormatter formatter(SerializationOutput::toFile(toUstring(path)));
    FAIL() << "no exception";
  } catch (const std::ios_base::failure& e) {
    EXPECT_NE(std::string(e.what()).find(path), std::string::npos) << e.what();
  }
}

TEST(Formatting, RefusesAPathThatIsNoText) {
  EXPECT_THROW(BinaryFormatter(SerializationOutput::toFile(ustring(1, 0xD800))), std::invalid_argument);
}

TEST(Formatting, ReportsAFullDeviceAtTheEndOfTheDocument) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "there is no /dev/full here";
  BinaryFormatter formatter(SerializationOutput::toFile(u"/dev/full"));
  formatter.startDocument(nullptr);
  EXPECT_EQ(endingOf([&] { formatter.endDocument(); }), "stream failure");
}

TEST(Formatting, ReportsAFullDeviceAtTheSmallWriteThatDrainsTheBuffer) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "there is no /dev/full here";
  BinaryFormatter formatter(SerializationOutput::toFile(u"/dev/full"));
  EXPECT_EQ(endingOf([&] {
              for (int i = 0; i < 1 << 20; ++i) formatter.writePrimitive(u(300));
            }),
            "stream failure");
}

// With a checker attached the grammar says what is open.

class CheckedFormatting : public ::testing::Test {
 protected:
  void attach(const std::string& rule) { FormatterInternals::attachGrammarChecker(formatter, rule); }

  std::string bytes;
  BinaryFormatter formatter{SerializationOutput::toString(bytes)};
};

void produceGrammatical(Events& to) {
  to.startDocument(text("KR0"));
  to.startMetadata();
  to.startNamedEntry(text("version"));
  to.writePrimitive(u(1));
  to.endNamedEntry();
  to.startNamedEntry(text("packages"));
  to.startSequence();
  to.writePrimitive(text("urn:a"));
  to.endSequence();
  to.endNamedEntry();
  to.endMetadata();
  to.startSequence();
  to.startMetadata();
  to.startNamedEntry(text("type"));
  to.writePrimitive(text("a.B"));
  to.endNamedEntry();
  to.endMetadata();
  to.startStruct();
  to.startNamedEntry(text("p"));
  to.writePrimitive(s(-5));
  to.endNamedEntry();
  to.endStruct();
  to.endSequence();
  to.endDocument();
}

TEST_F(CheckedFormatting, GivesTheSameBytes) {
  attach("document");
  produceGrammatical(formatter);
  EXPECT_EQ(toHex(bytes), toHex(write(produceGrammatical)));
}

TEST_F(CheckedFormatting, RefusesWhatTheGrammarDoesNotAllowBeforeItIsWritten) {
  attach("document");
  EXPECT_EQ(endingOf([&] { formatter.startStruct(); }), "GrammarException");
  EXPECT_EQ(bytes, "");
}

TEST_F(CheckedFormatting, ChecksAnEndAfterItIsWritten) {
  attach("document");
  formatter.startDocument(nullptr);
  const std::size_t before = bytes.size();
  EXPECT_EQ(endingOf([&] { formatter.endStruct(); }), "GrammarException");
  EXPECT_EQ(toHex(bytes.substr(before)), "04");
}

TEST_F(CheckedFormatting, ChecksTheEndOfADocumentAfterItIsWrittenAndFlushed) {
  CountingBuf buffer;
  std::ostream stream(&buffer);
  BinaryFormatter checked(SerializationOutput::toStream(stream));
  FormatterInternals::attachGrammarChecker(checked, "document");
  EXPECT_EQ(endingOf([&] { checked.endDocument(); }), "GrammarException");
  EXPECT_EQ(toHex(buffer.str()), "02");
  EXPECT_EQ(buffer.flushes, 1);
}

TEST_F(CheckedFormatting, RefusesAPrimitiveBeforeItIsWritten) {
  attach("document");
  formatter.startDocument(nullptr);
  const std::size_t before = bytes.size();
  EXPECT_EQ(endingOf([&] { formatter.writePrimitive(true); }), "GrammarException");
  EXPECT_EQ(bytes.size(), before);
}

TEST_F(CheckedFormatting, DropsAPrimitiveWhereTheBlackboardIsInAStruct) {
  attach("value");
  FormatterInternals::getBlackboard(formatter).states.push(io::grammar::KRGrammar::structure);
  formatter.writePrimitive(true);
  EXPECT_EQ(bytes, "");
}

TEST_F(CheckedFormatting, KeepsAPrimitiveWhereTheBlackboardIsElsewhere) {
  attach("value");
  FormatterInternals::getBlackboard(formatter).states.push(io::grammar::KRGrammar::sequence);
  formatter.writePrimitive(true);
  EXPECT_EQ(toHex(bytes), "12");
}

TEST_F(CheckedFormatting, StartsAfreshAfterAReset) {
  attach("document");
  formatter.startDocument(nullptr);
  formatter.reset();
  EXPECT_TRUE(FormatterInternals::getBlackboard(formatter).states.empty());
  bytes.clear();
  produceGrammatical(formatter);
  EXPECT_EQ(toHex(bytes), toHex(write(produceGrammatical)));
}

using modeling::sylvan::SylvanEventCode;
using Blackboard = io::grammar::KRGrammar::Blackboard;

// Notes what it is given to check, and takes all.
class NotingManager : public io::grammar::KRGrammar::Manager {
 public:
  struct Note {
    SylvanEventCode code;
    Primitive primitive;
    bool isOwn;  ///< whether the primitive lies in the manager
  };
  NotingManager(const modeling::sylvan::grammar::Rule& rule, Blackboard& blackboard, std::vector<Note>& notes)
      : ProcessorManager(rule, blackboard), notes_(notes) {}

 private:
  void doProcess(SylvanEventCode code, const Primitive& primitive) override {
    const auto begin = reinterpret_cast<std::uintptr_t>(this);
    const auto place = reinterpret_cast<std::uintptr_t>(&primitive);
    notes_.push_back({code, primitive, begin <= place && place < begin + sizeof(*this)});
  }
  std::vector<Note>& notes_;
};

class NotedFormatting : public ::testing::Test {
 protected:
  NotedFormatting() {
    FormatterInternals::attachGrammarChecker(formatter, [this] {
      return std::make_unique<NotingManager>(rules.empty(), FormatterInternals::getBlackboard(formatter),
                                             notes);
    });
  }

  modeling::sylvan::grammar::RuleSet rules;
  std::vector<NotingManager::Note> notes;
  std::string bytes;
  BinaryFormatter formatter{SerializationOutput::toString(bytes)};
};

TEST_F(NotedFormatting, EveryEventIsCheckedAsWhatItIs) {
  formatter.startDocument(text("KR0"));
  formatter.startMetadata();
  formatter.startNamedEntry(text("n"));
  formatter.writePrimitive(true);
  formatter.endNamedEntry();
  formatter.endMetadata();
  formatter.startSequence();
  formatter.startStruct();
  formatter.endStruct();
  formatter.endSequence();
  formatter.endDocument();
  std::vector<unsigned> codes;
  for (const auto& note : notes) codes.push_back(static_cast<unsigned>(note.code));
  EXPECT_EQ(codes, (std::vector<unsigned>{0, 8, 4, 10, 5, 9, 6, 2, 3, 7, 1}));
}

TEST_F(NotedFormatting, AStartIsCheckedWithANullAndNotWithWhatItBrings) {
  formatter.startDocument(text("KR0"));
  formatter.startNamedEntry(text("n"));
  formatter.startStruct();
  ASSERT_EQ(notes.size(), 3u);
  for (const auto& note : notes) EXPECT_EQ(note.primitive, Primitive(nullptr));
}

TEST_F(NotedFormatting, AnEndIsCheckedWithThePrimitiveOfTheChecker) {
  formatter.endStruct();
  formatter.endSequence();
  formatter.endDocument();
  ASSERT_EQ(notes.size(), 3u);
  for (const auto& note : notes) EXPECT_TRUE(note.isOwn);
}

TEST_F(NotedFormatting, APrimitiveIsCheckedWithItself) {
  formatter.writePrimitive(text("t"));
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_EQ(notes[0].primitive, text("t"));
}

TEST_F(CheckedFormatting, LeavesItsOwnStatesAlone) {
  formatter.startStruct();
  attach("value");
  formatter.writePrimitive(true);
  EXPECT_EQ(toHex(bytes), "03 12");
}

}  // namespace
}  // namespace kr::zero::test
