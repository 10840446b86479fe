#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "kr/zero/io/ParsingInput.h"
#include "kr/zero/io/SerializationOutput.h"
#include "kr/zero/io/Sink.h"
#include "support/Paths.h"
#include "support/PieceBuf.h"

namespace kr::zero::io {
namespace {

using test::FailingOutputBuf;

// Notes each call with what it was given.
class OutputRecorder : public SerializationOutput::Visitor {
 public:
  std::vector<std::string> calls;
  const void* given = nullptr;

  void visitFile(const ustring& path) override { note("file " + toUtf8(path), nullptr); }
  void visitStream(std::ostream& stream) override { note("stream", &stream); }
  void visitString(std::string& string) override { note("string", &string); }
  void visitUString(ustring& string) override { note("ustring", &string); }
  void visitIntermediateFormat(void* intermediate) override { note("intermediate", intermediate); }
  void visitLittleEndianByteSequence(std::vector<unsigned char>& bytes) override { note("bytes", &bytes); }

 private:
  void note(const std::string& call, const void* what) {
    calls.push_back(call);
    given = what;
  }
};

void expectOutput(const SerializationOutput& output, const std::string& call, const void* given) {
  OutputRecorder recorder;
  output.visitOutput(recorder);
  EXPECT_EQ(recorder.calls, std::vector<std::string>{call});
  EXPECT_EQ(recorder.given, given);
}

TEST(SerializationOutputs, CallTheOperationOfTheirKind) {
  std::ostringstream stream;
  std::string string;
  ustring wide;
  int intermediate = 0;
  std::vector<unsigned char> bytes;
  expectOutput(SerializationOutput::toFile(u"a.krb"), "file a.krb", nullptr);
  expectOutput(SerializationOutput::toStream(stream), "stream", &stream);
  expectOutput(SerializationOutput::toString(string), "string", &string);
  expectOutput(SerializationOutput::toUString(wide), "ustring", &wide);
  expectOutput(SerializationOutput::toIntermediateFormat(&intermediate), "intermediate", &intermediate);
  expectOutput(SerializationOutput::toByteSequence(bytes), "bytes", &bytes);
}

TEST(SerializationOutputs, LetWhatTheVisitorThrowsPass) {
  class Refusing : public OutputRecorder {
    void visitString(std::string&) override { throw std::runtime_error("refused"); }
  } refusing;
  std::string string;
  EXPECT_THROW(SerializationOutput::toString(string).visitOutput(refusing), std::runtime_error);
}

TEST(SerializationOutputs, AVisitorNeedNotKnowValues) {
  OutputRecorder recorder;
  std::optional<Value> value;
  recorder.SerializationOutput::Visitor::visitValue(value);
  EXPECT_FALSE(value.has_value());
  EXPECT_TRUE(recorder.calls.empty());
}

class InputRecorder : public ParsingInput::Visitor {
 public:
  std::vector<std::string> calls;
  const void* given = nullptr;

  void visitFile(const ustring& path) override { note("file " + toUtf8(path), nullptr); }
  void visitStream(std::istream& stream) override { note("stream", &stream); }
  void visitString(const std::string& string) override { note("string", &string); }
  void visitUString(const ustring& string) override { note("ustring", &string); }
  void visitIntermediateFormat(const void* intermediate) override { note("intermediate", intermediate); }
  void visitLittleEndianByteSequence(const std::vector<unsigned char>& bytes) override {
    note("bytes", &bytes);
  }

 private:
  void note(const std::string& call, const void* what) {
    calls.push_back(call);
    given = what;
  }
};

void expectInput(const ParsingInput& input, const std::string& call, const void* given) {
  InputRecorder recorder;
  input.visitInput(recorder);
  EXPECT_EQ(recorder.calls, std::vector<std::string>{call});
  EXPECT_EQ(recorder.given, given);
}

TEST(ParsingInputs, CallTheOperationOfTheirKind) {
  std::istringstream stream;
  const std::string string;
  const ustring wide;
  const int intermediate = 0;
  const std::vector<unsigned char> bytes;
  expectInput(ParsingInput::fromFile(u"a.krb"), "file a.krb", nullptr);
  expectInput(ParsingInput::fromStream(stream), "stream", &stream);
  expectInput(ParsingInput::fromString(string), "string", &string);
  expectInput(ParsingInput::fromUString(wide), "ustring", &wide);
  expectInput(ParsingInput::fromIntermediateFormat(&intermediate), "intermediate", &intermediate);
  expectInput(ParsingInput::fromByteSequence(bytes), "bytes", &bytes);
}

TEST(ParsingInputs, AVisitorNeedNotKnowValues) {
  InputRecorder recorder;
  recorder.ParsingInput::Visitor::visitValue(std::nullopt);
  EXPECT_TRUE(recorder.calls.empty());
}

// ---- sinks

// The text of the std::ios_base::failure that `action` ends with.
template <class Action>
std::string streamFailureOf(Action action) {
  try {
    action();
  } catch (const std::ios_base::failure& failure) {
    return failure.what();
  }
  return "no failure";
}

const std::string kAllBytes = [] {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  return bytes;
}();

TEST(StringSinks, AppendBytesAsTheyAre) {
  std::string string = "before";
  StringSink sink(string);
  sink.write(kAllBytes).writeByte(0xFF).writeByte(0x00);
  sink.flush();
  EXPECT_EQ(string, "before" + kAllBytes + std::string("\xFF\0", 2));
}

TEST(StreamSinks, WriteBytesAsTheyAre) {
  std::ostringstream stream;
  StreamSink sink(stream);
  sink.write(kAllBytes).writeByte(0xFF).writeByte(0x00);
  sink.flush();
  EXPECT_EQ(stream.str(), kAllBytes + std::string("\xFF\0", 2));
}

TEST(StreamSinks, ReportAStreamThatFailedBefore) {
  std::ostringstream stream;
  stream.setstate(std::ios::failbit);
  StreamSink sink(stream);
  EXPECT_THROW(sink.writeByte('a'), std::ios_base::failure);
  EXPECT_THROW(sink.write("a"), std::ios_base::failure);
  EXPECT_THROW(sink.flush(), std::ios_base::failure);
}

// Such a stream takes nothing and does not count as failed: its bytes must not be lost without a word.
TEST(StreamSinks, ReportAStreamThatIsAtItsEnd) {
  std::stringstream stream;
  stream.setstate(std::ios::eofbit);
  StreamSink sink(stream);
  EXPECT_THROW(sink.writeByte('a'), std::ios_base::failure);
  EXPECT_THROW(sink.write("a"), std::ios_base::failure);
  EXPECT_THROW(sink.flush(), std::ios_base::failure);
  EXPECT_EQ(stream.str(), "");
}

TEST(StreamSinks, ReportTheByteThatIsNotTaken) {
  for (const auto mode : {FailingOutputBuf::Mode::refuses, FailingOutputBuf::Mode::throws}) {
    for (std::size_t good = 0; good < 5; ++good) {
      FailingOutputBuf buffer(good, mode);
      std::ostream stream(&buffer);
      StreamSink sink(stream);
      for (std::size_t i = 0; i < good; ++i) sink.writeByte('a');
      EXPECT_THROW(sink.writeByte('b'), std::ios_base::failure) << good;
      EXPECT_THROW(sink.writeByte('c'), std::ios_base::failure) << good;
      EXPECT_EQ(buffer.getTaken(), std::vector<std::uint8_t>(good, 'a'));
    }
  }
}

TEST(StreamSinks, ReportAStringThatIsNotTakenWhole) {
  for (const auto mode : {FailingOutputBuf::Mode::refuses, FailingOutputBuf::Mode::throws}) {
    FailingOutputBuf buffer(3, mode);
    std::ostream stream(&buffer);
    StreamSink sink(stream);
    EXPECT_THROW(sink.write("abcd"), std::ios_base::failure);
  }
}

TEST(StreamSinks, ReportAFailureAtFlush) {
  for (const auto mode : {FailingOutputBuf::Mode::failsAtSync, FailingOutputBuf::Mode::throwsAtSync}) {
    FailingOutputBuf buffer(100, mode);
    std::ostream stream(&buffer);
    StreamSink sink(stream);
    sink.write("abc");
    EXPECT_THROW(sink.flush(), std::ios_base::failure);
  }
}

ustring wide(const std::string& path) { return toUstring(path); }

TEST(FileSinks, WriteBytesAsTheyAre) {
  const std::string path = test::temporaryPath("sink-\xC3\xBC.bin");
  FileSink sink(wide(path));
  sink.write(kAllBytes).writeByte(0xFF).writeByte('\n');
  sink.close();
  EXPECT_EQ(test::readFile(path), kAllBytes + "\xFF\n");
}

TEST(FileSinks, TruncateAFileThatIsThere) {
  const std::string path = test::temporaryPath("sink-truncate.bin");
  test::writeFile(path, "old and long");
  FileSink(wide(path)).write("new").flush();
  EXPECT_EQ(test::readFile(path), "new");
}

TEST(FileSinks, HaveWrittenAllAfterFlush) {
  const std::string path = test::temporaryPath("sink-flush.bin");
  FileSink sink(wide(path));
  sink.write("abc");
  sink.flush();
  EXPECT_EQ(test::readFile(path), "abc");
  sink.writeByte('d');
  sink.close();
  EXPECT_EQ(test::readFile(path), "abcd");
}

TEST(FileSinks, HaveWrittenAllWhenTheyGo) {
  const std::string path = test::temporaryPath("sink-gone.bin");
  { FileSink(wide(path)).write(std::string(100000, 'x')); }
  EXPECT_EQ(test::readFile(path), std::string(100000, 'x'));
}

TEST(FileSinks, AreClosedOnce) {
  const std::string path = test::temporaryPath("sink-closed.bin");
  FileSink sink(wide(path));
  sink.write("abc").flush();
  sink.close();
  EXPECT_NO_THROW(sink.close());
  EXPECT_NE(streamFailureOf([&] { sink.writeByte('d'); }), "no failure");
  EXPECT_EQ(test::readFile(path), "abc");
}

// The system was not asked, so what it said last is not the reason.
TEST(FileSinks, GiveNoReasonOfAnotherCallWhereTheyAreClosed) {
  const std::string path = test::temporaryPath("sink-no-reason.bin");
  FileSink sink(wide(path));
  sink.close();
  const std::function<void()> uses[] = {
      [&] { sink.writeByte('d'); },
      [&] { sink.write("few"); },
      [&] { sink.write(std::string(1000, 'x')); },
      [&] { sink.flush(); },
  };
  for (const auto& use : uses) {
    errno = ENOENT;
    EXPECT_EQ(streamFailureOf(use), "cannot write \"" + path + "\": Input/output error");
  }
}

TEST(FileSinks, NameThePathAndReasonWhereTheyCannotCreate) {
  const std::string path = test::temporaryPath("missing/sink.bin");
  const std::string failure = streamFailureOf([&] { FileSink sink(wide(path)); });
  EXPECT_EQ(failure, "cannot create \"" + path + "\": No such file or directory");
}

TEST(FileSinks, RefuseAFolder) {
  const std::string path = test::temporaryPath("sink-folder");
  std::filesystem::create_directory(path);
  EXPECT_EQ(streamFailureOf([&] { FileSink sink(wide(path)); }),
            "cannot create \"" + path + "\": Is a directory");
}

TEST(FileSinks, RefuseAPathThatIsNoText) {
  EXPECT_THROW(FileSink(ustring(1, 0xD800)), std::invalid_argument);
}

class FullDevice : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "there is no /dev/full here";
  }
  const std::string noSpace = "cannot write \"/dev/full\": No space left on device";
  FileSink sink{u"/dev/full"};
};

TEST_F(FullDevice, IsReportedAtFlush) {
  sink.write("a few bytes");
  EXPECT_EQ(streamFailureOf([&] { sink.flush(); }), noSpace);
}

TEST_F(FullDevice, IsReportedAtClose) {
  sink.writeByte('a');
  EXPECT_EQ(streamFailureOf([&] { sink.close(); }), noSpace);
}

TEST_F(FullDevice, IsReportedByAWriteThatDoesNotFitTheBuffer) {
  EXPECT_EQ(streamFailureOf([&] { sink.write(std::string(1 << 20, 'x')); }), noSpace);
}

TEST_F(FullDevice, IsReportedByTheByteThatDrainsTheBuffer) {
  EXPECT_EQ(streamFailureOf([&] {
              for (int i = 0; i < 1 << 20; ++i) sink.writeByte('x');
            }),
            noSpace);
}

TEST_F(FullDevice, NothingSucceedsAfterAFailure) {
  sink.write("lost");
  ASSERT_NE(streamFailureOf([&] { sink.flush(); }), "no failure");
  EXPECT_NE(streamFailureOf([&] { sink.write("more"); }), "no failure");
  EXPECT_NE(streamFailureOf([&] { sink.writeByte('m'); }), "no failure");
  EXPECT_NE(streamFailureOf([&] { sink.flush(); }), "no failure");
}

}  // namespace
}  // namespace kr::zero::io
