// The rules of the reader of the tagged format.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "Tagged.h"
#include "kr/zero/io/Errors.h"
#include "kr/zero/io/ParsingInput.h"
#include "modeling/sylvan/NullEventProcessor.h"
#include "support/Paths.h"

namespace kr::zero::test {
namespace {

using io::BinaryAssembler;
using io::ParsingInput;

constexpr char wholeDocument[] = "StartDocument\nEndDocument\n";

TEST(Assembling, TheSmallestDocumentGivesItsStartAndItsEnd) {
  const Reading reading = read(fromHex("01 20 01 30 02 6b 72 02"));
  EXPECT_EQ(reading.events, wholeDocument);
  EXPECT_EQ(reading.ending, "success");
}

TEST(Assembling, StartsWithANull) {
  struct : modeling::sylvan::NullEventProcessor {
    std::size_t kind = 99;
    void startDocument(const Primitive& value) override { kind = value.index(); }
  } target;
  BinaryAssembler(&target).visitString(littleHeader);
  EXPECT_EQ(target.kind, 1u);
}

TEST(Assembling, ADocumentMayStopAfterItsHeader) {
  const Reading reading = read(littleHeader);
  EXPECT_EQ(reading.events, "StartDocument\n");
  EXPECT_EQ(reading.ending, "success");
}

TEST(Assembling, ADocumentMayStopAfterAnyItem) {
  const Reading reading = readBody(fromHex("09 30 01 61 12 10"));
  EXPECT_EQ(reading.events, "StartNamedEntry \"a\"\n  true\nEndNamedEntry\n");
  EXPECT_EQ(reading.ending, "success");
}

TEST(Assembling, TellsWhetherTheDocumentCameToItsEndMark) {
  modeling::sylvan::NullEventProcessor target;
  BinaryAssembler assembler(&target);
  EXPECT_FALSE(assembler.hasEnded());
  assembler.visitString(littleHeader + fromHex("02"));
  EXPECT_TRUE(assembler.hasEnded());
  assembler.visitString(littleHeader);
  EXPECT_FALSE(assembler.hasEnded());
  assembler.visitString(littleHeader + fromHex("09 30 01 61 12 10"));
  EXPECT_FALSE(assembler.hasEnded());
}

TEST(Assembling, AnInputThatIsRefusedHasNotEnded) {
  modeling::sylvan::NullEventProcessor none;
  BinaryAssembler assembler(&none);
  assembler.visitString(littleHeader + fromHex("02"));
  ASSERT_TRUE(assembler.hasEnded());
  EXPECT_THROW(assembler.visitUString(u"kr"), io::Error<kr0::io::UstringNotSupported>);
  EXPECT_FALSE(assembler.hasEnded());
}

TEST(Assembling, AnInputThatIsRefusedTellsNothingOfTheDocumentBefore) {
  modeling::sylvan::NullEventProcessor none;
  BinaryAssembler assembler(&none);
  const std::vector<unsigned char> bytes{1, 2};
  const ustring utf16 = u"kr";
  for (const ParsingInput& input : {ParsingInput::fromUString(utf16), ParsingInput::fromByteSequence(bytes),
                                    ParsingInput::fromIntermediateFormat(&bytes)}) {
    EXPECT_EQ(endingOf([&] { assembler.visitString(littleHeader + "\x02\x0a"); }), "success");
    EXPECT_ANY_THROW(input.visitInput(assembler));
    EXPECT_FALSE(assembler.hasEnded());
    EXPECT_EQ(endingOf([&] { assembler.visitString(littleHeader + "\x0a"); }), "CorruptInput");
    EXPECT_ANY_THROW(input.visitInput(assembler));
    EXPECT_EQ(assembler.getByteOffset(), 0u);
    EXPECT_STREQ(assembler.getErrorDetail(), "");
  }
}

TEST(Assembling, NothingFailsBeforeAnyEvent) {
  const Reading reading = read("");
  EXPECT_EQ(reading.events, "");
  EXPECT_EQ(reading.ending, "CorruptInput");
}

TEST(Assembling, AMissingVersionFailsAfterTheStart) {
  const Reading reading = read(fromHex("01"));
  EXPECT_EQ(reading.events, "StartDocument\n");
  EXPECT_EQ(reading.ending, "CorruptInput");
}

TEST(Assembling, AMissingByteOrderFails) { EXPECT_EQ(read(fromHex("01 20 01")).ending, "CorruptInput"); }

TEST(Assembling, AnyFirstByteWillDo) {
  for (unsigned first = 0; first < 256; ++first) {
    const Reading reading = read(static_cast<char>(first) + fromHex("20 01 30 02 6b 72 02"));
    EXPECT_EQ(reading.events, wholeDocument) << first;
  }
}

TEST(Assembling, AnyPrimitiveWillDoAsVersion) {
  for (const char* version : {"20 05", "13", "16", "12", "15", "30 02 76 32", "28 01"}) {
    const Reading reading = read(fromHex("01 " + std::string(version) + " 30 02 6b 72 02"));
    EXPECT_EQ(reading.events, wholeDocument) << version;
  }
}

TEST(Assembling, OnlyTheSmallMarkerIsLittleEndian) {
  const std::string number = fromHex("21 34 12");
  EXPECT_EQ(readBody(number).events, "u 4660\n");
  for (const char* marker : {"30 02 4b 52", "30 02 6b 52", "30 01 6b", "30 03 6b 72 00", "30 00", "13", "16",
                             "12", "20 01", "28 01", "15"}) {
    const Reading reading = readBody(number, fromHex("01 20 01 " + std::string(marker)));
    EXPECT_EQ(reading.events, "u 13330\n") << marker;
  }
}

TEST(Assembling, TheMarkerMayBeALongString) {
  EXPECT_EQ(readBody(fromHex("21 34 12"), fromHex("01 20 01 31 02 00 00 00 00 00 00 00 6b 72")).events,
            "u 4660\n");
}

TEST(Assembling, AnIntegerAsMarkerIsBigEndian) {
  EXPECT_EQ(readBody(fromHex("21 01 00"), fromHex("01 20 01 13")).events, "u 256\n");
  EXPECT_EQ(read(fromHex("01 20 01 13 02")).events, wholeDocument);
}

TEST(Assembling, TheMarkerGovernsLengthsAndReals) {
  EXPECT_EQ(readBody(fromHex("31 01 00 00 00 00 00 00 00 61 14 00 00 00 00 00 00 f0 3f")).events,
            "\"a\"\nr 1\n");
  EXPECT_EQ(readBody(fromHex("31 00 00 00 00 00 00 00 01 61 14 3f f0 00 00 00 00 00 00"), bigHeader).events,
            "\"a\"\nr 1\n");
}

TEST(Assembling, BytesOfStringsAreNeverTurned) {
  EXPECT_EQ(readBody(fromHex("30 02 61 62"), bigHeader).events, "\"ab\"\n");
}

TEST(Assembling, TheByteOrderLastsUntilTheNextMarker) {
  modeling::sylvan::EventRecorder recorder;
  BinaryAssembler assembler(&recorder);
  assembler.visitString(bigHeader);
  // Its version says one byte under the order of the document before, and 2^56 under the other.
  const std::string version = fromHex("01 31 00 00 00 00 00 00 00 01 76");
  EXPECT_EQ(endingOf([&] { assembler.visitString(version + fromHex("30 02 6b 72 21 01 00 02")); }),
            "success");
  EXPECT_NE(print(recorder).find("u 1\n"), std::string::npos);
  EXPECT_NE(endingOf([&] { assembler.visitString(version); }), "success");
}

TEST(Assembling, TheLowestIntegerIsRead) {
  EXPECT_EQ(readBody(fromHex("2f 00 00 00 00 00 00 00 80")).events, "s -9223372036854775808\n");
}

TEST(Assembling, ANegativeMagnitudeBeyondTheLowestIntegerWraps) {
  EXPECT_EQ(readBody(fromHex("2f ff ff ff ff ff ff ff ff")).events, "s 1\n");
}

TEST(Assembling, WiderNumbersThanNeededAreRead) {
  EXPECT_EQ(readBody(fromHex("23 05 00 00 00 20 00 28 00")).events, "u 5\nu 0\ns 0\n");
}

// Whatever the tag might be taken for, what would have to follow it is there.
void expectRefusedAt(const std::string& before, unsigned tag) {
  const std::string bytes = before + static_cast<char>(tag) + std::string(300, '\x11');
  modeling::sylvan::NullEventProcessor target;
  BinaryAssembler assembler(&target);
  EXPECT_EQ(endingOf([&] { assembler.visitString(bytes); }), "CorruptInput") << tag;
  EXPECT_STREQ(assembler.getErrorDetail(), "Byte is no tag that may stand here") << tag;
  EXPECT_EQ(assembler.getByteOffset(), before.size() + 1) << tag;
}

bool isPrimitiveTag(unsigned tag) { return (tag >= 0x11 && tag <= 0x16) || (tag >= 0x20 && tag <= 0x31); }

TEST(Assembling, EveryTagOutsideTheFormatFails) {
  for (unsigned tag = 0; tag < 256; ++tag) {
    const bool isKnown = (tag >= 0x02 && tag <= 0x09) || tag == 0x10 || isPrimitiveTag(tag);
    if (!isKnown) expectRefusedAt(littleHeader, tag);
  }
}

TEST(Assembling, OnlyAPrimitiveIsAVersionOrAByteOrder) {
  for (unsigned tag = 0; tag < 256; ++tag) {
    if (isPrimitiveTag(tag)) continue;
    expectRefusedAt(fromHex("01"), tag);
    expectRefusedAt(fromHex("01 20 01"), tag);
  }
}

TEST(Assembling, OnlyAPrimitiveIsAName) {
  for (unsigned tag = 0; tag < 256; ++tag)
    if (!isPrimitiveTag(tag)) expectRefusedAt(littleHeader + "\x09", tag);
  EXPECT_EQ(readBody(fromHex("09 15 10")).events, "StartNamedEntry r 0\nEndNamedEntry\n");
}

TEST(Assembling, InputThatEndsInAnItemFails) {
  for (const char* body :
       {"09", "30", "30 05 61 62 63 64", "31", "31 05 00 00 00 00 00 00", "14 00 00 00 00 00 00 00", "20",
        "21 01", "27 01 02 03 04 05 06 07", "28", "2f 01", "09 30 02 61", "31 02 00 00 00 00 00 00 00 61"})
    EXPECT_EQ(readBody(fromHex(body)).ending, "CorruptInput") << body;
}

// The reader knows strings of these sizes from the items before, and has those to come in memory.
TEST(Assembling, ANameThatIsCutByItsLastByteFailsWhateverItsSize) {
  for (std::size_t size = 1; size < 256; ++size) {
    const std::string name = "\x30" + std::string(1, static_cast<char>(size)) + std::string(size, 'n');
    const std::string before = name + std::string(100, '\x12');
    const std::string whole = before + "\x09" + name;
    EXPECT_EQ(readBody(whole).ending, "success") << size;
    const Reading cut = readBody(whole.substr(0, whole.size() - 1));
    EXPECT_EQ(cut.ending, "CorruptInput") << size;
    EXPECT_EQ(cut.events, readBody(before).events) << size;
  }
}

TEST(Assembling, AnImpossibleLengthFailsBeforeAByteOfTheStringIsRead) {
  std::istringstream stream(littleHeader + fromHex("31 ff ff ff ff ff ff ff ff 61 62"));
  modeling::sylvan::NullEventProcessor target;
  BinaryAssembler assembler(&target);
  EXPECT_EQ(endingOf([&] { assembler.visitStream(stream); }), "length_error");
  EXPECT_EQ(stream.get(), 'a');
}

TEST(Assembling, BytesAfterTheEndAreNotRead) {
  std::istringstream stream(littleHeader + fromHex("02") + "rest");
  modeling::sylvan::NullEventProcessor target;
  BinaryAssembler(&target).visitStream(stream);
  EXPECT_TRUE(stream.good());
  std::string rest;
  stream >> rest;
  EXPECT_EQ(rest, "rest");
}

TEST(Assembling, DocumentsInOneStreamAreReadOneAfterAnother) {
  std::stringstream stream;
  for (const GoldenTagged& document : goldenTagged())
    if (document.isWritten && document.name != "headerOnly") stream << document.bytes;
  modeling::sylvan::EventRecorder read;
  modeling::sylvan::EventRecorder expected;
  BinaryAssembler assembler(&read);
  for (const GoldenTagged& document : goldenTagged()) {
    if (!document.isWritten || document.name == "headerOnly") continue;
    assembler.visitStream(stream);
    document.produce(expected);
  }
  EXPECT_TRUE(read == expected);
  EXPECT_EQ(stream.peek(), std::istringstream::traits_type::eof());
}

TEST(Assembling, EventsNeedNotBalance) {
  EXPECT_EQ(read(littleHeader + fromHex("04 06 08 10 03 02")).events,
            "StartDocument\nEndStruct\nEndSequence\nEndMetadata\nEndNamedEntry\nStartStruct\nEndDocument\n");
}

TEST(Assembling, APrimitiveDirectlyInAStructIsPassedOn) {
  EXPECT_EQ(readBody(fromHex("03 12 04")).events, "StartStruct\n  true\nEndStruct\n");
}

TEST(Assembling, GivesTheSameEventsFromEveryInput) {
  for (const GoldenTagged& document : goldenTagged()) {
    const modeling::sylvan::EventRecorder expected = record(document.produce);
    const auto readFrom = [](const ParsingInput& input) {
      modeling::sylvan::EventRecorder recorder;
      BinaryAssembler assembler(&recorder);
      input.visitInput(assembler);
      return recorder;
    };
    const std::string path = temporaryPath("document-\xC3\xBC.krs");
    writeFile(path, document.bytes);
    std::istringstream stream(document.bytes);
    EXPECT_TRUE(readFrom(ParsingInput::fromString(document.bytes)) == expected) << document.name;
    EXPECT_TRUE(readFrom(ParsingInput::fromStream(stream)) == expected) << document.name;
    EXPECT_TRUE(readFrom(ParsingInput::fromFile(toUstring(path))) == expected) << document.name;
  }
}

TEST(Assembling, AFileMayBeLargerThanAnyBuffer) {
  const auto produce = [](Events& to) {
    to.startDocument(nullptr);
    for (unsigned i = 0; i < 100000; ++i) to.writePrimitive(u(i * 7919 + 1));
    to.writePrimitive(text(std::string(200001, 'z')));
    to.endDocument();
  };
  const std::string path = temporaryPath("large.krs");
  writeFile(path, write(produce));
  modeling::sylvan::EventRecorder recorder;
  BinaryAssembler(&recorder).visitFile(toUstring(path));
  EXPECT_TRUE(recorder == record(produce));
}

TEST(Assembling, RefusesOtherInputs) {
  modeling::sylvan::EventRecorder recorder;
  BinaryAssembler assembler(&recorder);
  const std::vector<unsigned char> bytes{1, 2};
  const auto endingFor = [&](const ParsingInput& input) {
    return endingOf([&] { input.visitInput(assembler); });
  };
  const ustring utf16 = u"text";
  EXPECT_EQ(endingFor(ParsingInput::fromUString(utf16)), "UstringNotSupported");
  EXPECT_EQ(endingFor(ParsingInput::fromByteSequence(bytes)), "IntermediateFormatNotSupported");
  EXPECT_EQ(endingFor(ParsingInput::fromIntermediateFormat(&bytes)), "IntermediateFormatNotSupported");
  EXPECT_EQ(recorder.getCount(), 0u);
}

// What cannot be opened.

TEST(AssemblingSources, AMissingFileIsCorruptInput) {
  modeling::sylvan::EventRecorder recorder;
  BinaryAssembler assembler(&recorder);
  EXPECT_EQ(endingOf([&] { assembler.visitFile(u"/does/not/exist.krs"); }), "CorruptInput");
  EXPECT_STREQ(assembler.getErrorDetail(), "File cannot be opened");
  EXPECT_EQ(recorder.getCount(), 0u);
  EXPECT_EQ(endingOf([] { BinaryAssembler::FileSource source(u"/does/not/exist.krs"); }), "CorruptInput");
}

TEST(AssemblingSources, NothingIsReadOfAFileThatIsMissing) {
  modeling::sylvan::NullEventProcessor target;
  BinaryAssembler assembler(&target);
  assembler.visitString(littleHeader + "\x02");
  EXPECT_EQ(assembler.getByteOffset(), 8u);
  EXPECT_EQ(endingOf([&] { assembler.visitFile(u"/does/not/exist.krs"); }), "CorruptInput");
  EXPECT_EQ(assembler.getByteOffset(), 0u);
}

TEST(AssemblingSources, APathThatIsNoTextIsRefused) {
  modeling::sylvan::NullEventProcessor target;
  BinaryAssembler assembler(&target);
  EXPECT_THROW(assembler.visitFile(ustring(1, 0xD800)), std::invalid_argument);
  EXPECT_STREQ(assembler.getErrorDetail(), "");
}

TEST(AssemblingSources, AFolderIsCorruptInput) {
  modeling::sylvan::EventRecorder recorder;
  BinaryAssembler assembler(&recorder);
  const std::string folder = temporaryPath("folder.krs");
  std::filesystem::create_directory(folder);
  EXPECT_EQ(endingOf([&] { assembler.visitFile(toUstring(folder)); }), "CorruptInput");
  EXPECT_EQ(recorder.getCount(), 0u);
}

TEST(AssemblingSources, AStreamThatHasFailedIsCorruptInput) {
  modeling::sylvan::EventRecorder recorder;
  BinaryAssembler assembler(&recorder);
  for (const auto state : {std::ios::failbit, std::ios::badbit}) {
    std::istringstream stream(littleHeader);
    stream.setstate(state);
    EXPECT_EQ(endingOf([&] { assembler.visitStream(stream); }), "CorruptInput");
    EXPECT_STREQ(assembler.getErrorDetail(), "Stream has failed before");
    EXPECT_EQ(stream.rdstate(), state);
  }
  EXPECT_EQ(recorder.getCount(), 0u);
}

TEST(AssemblingSources, AStreamAtItsEndIsTriedAndEmpty) {
  std::istringstream stream("");
  stream.setstate(std::ios::eofbit);
  modeling::sylvan::NullEventProcessor target;
  BinaryAssembler assembler(&target);
  EXPECT_EQ(endingOf([&] { assembler.visitStream(stream); }), "CorruptInput");
  EXPECT_STREQ(assembler.getErrorDetail(), "Document is empty");
}

TEST(AssemblingSources, SayWhetherTheyAreEmpty) {
  BinaryAssembler::StringSource source("a");
  EXPECT_FALSE(source.isEmpty());
  EXPECT_EQ(source.stream().get(), 'a');
  EXPECT_TRUE(source.isEmpty());
}

TEST(AssemblingSources, AStringIsCopied) {
  std::string bytes = "a";
  BinaryAssembler::StringSource source(bytes);
  bytes = "b";
  EXPECT_EQ(source.stream().get(), 'a');
}

TEST(AssemblingSources, AStreamIsTheCallers) {
  std::istringstream stream("a");
  EXPECT_EQ(&BinaryAssembler::StreamSource(stream).stream(), &stream);
}

TEST(AssemblingSources, AFileIsClosedBeforeTheNextInputIsOpened) {
  const std::string path = temporaryPath("again.krs");
  modeling::sylvan::EventRecorder recorder;
  BinaryAssembler assembler(&recorder);
  for (const char* body : {"12 02", "11 02"}) {
    writeFile(path, littleHeader + fromHex(body));
    assembler.visitFile(toUstring(path));
  }
  EXPECT_EQ(print(recorder), "StartDocument\n  true\nEndDocument\nStartDocument\n  false\nEndDocument\n");
}

TEST(AssemblingSources, TheStreamsOwnExceptionsComeOut) {
  std::istringstream stream(littleHeader + fromHex("21 05"));
  stream.exceptions(std::ios::eofbit);
  modeling::sylvan::NullEventProcessor target;
  BinaryAssembler assembler(&target);
  EXPECT_EQ(endingOf([&] { assembler.visitStream(stream); }), "stream failure");
}

// What can be asked after a failure.

struct Broken {
  const char* body;
  std::uint64_t offset;  ///< behind the header
  const char* detail;
};

TEST(AssemblingFailures, SayWhereAndWhat) {
  for (const Broken& broken :
       {Broken{"12 0a", 2, "Byte is no tag that may stand here"}, Broken{"09", 1, "Item cut short"},
        Broken{"21 05", 2, "Number cut short"}, Broken{"14 01 02", 3, "Number cut short"},
        Broken{"30", 1, "Length of a string cut short"}, Broken{"30 02 61", 3, "String cut short"}}) {
    modeling::sylvan::NullEventProcessor target;
    BinaryAssembler assembler(&target);
    EXPECT_EQ(endingOf([&] { assembler.visitString(littleHeader + fromHex(broken.body)); }), "CorruptInput");
    EXPECT_EQ(assembler.getByteOffset(), littleHeader.size() + broken.offset) << broken.body;
    EXPECT_STREQ(assembler.getErrorDetail(), broken.detail) << broken.body;
  }
}

TEST(AssemblingFailures, LeaveNoDetailBehindForTheNextDocument) {
  modeling::sylvan::NullEventProcessor target;
  BinaryAssembler assembler(&target);
  EXPECT_EQ(endingOf([&] { assembler.visitString(""); }), "CorruptInput");
  assembler.visitString(littleHeader + "\x02");
  EXPECT_STREQ(assembler.getErrorDetail(), "");
  EXPECT_EQ(assembler.getByteOffset(), 8u);
}

TEST(AssemblingFailures, CarryTheirMessageWithoutArguments) {
  modeling::sylvan::NullEventProcessor target;
  BinaryAssembler assembler(&target);
  try {
    assembler.visitString("");
    FAIL() << "no exception";
  } catch (const foundation::core::except::IMsgIDException& e) {
    EXPECT_EQ(e.get_error_id(e.GetMsgID()), "kr0:io:CorruptInput");
    EXPECT_TRUE(e.GetMsgID().getArguments().empty());
  }
}

TEST(AssemblingFailures, OfTheTargetComeOutAtEveryEvent) {
  for (const GoldenTagged& document : goldenTagged()) {
    const std::size_t count = record(document.produce).getCount();
    for (std::size_t index = 0; index < count; ++index) {
      modeling::sylvan::EventRecorder seen;
      ThrowingAt target(seen, index);
      BinaryAssembler assembler(&target);
      EXPECT_EQ(endingOf([&] { assembler.visitString(document.bytes); }), "Thrown");
      EXPECT_EQ(seen.getCount(), index);
      EXPECT_STREQ(assembler.getErrorDetail(), "");
      // The target has let one event fail and takes the next ones.
      EXPECT_EQ(endingOf([&] { assembler.visitString(document.bytes); }), "success");
      EXPECT_EQ(seen.getCount(), index + count);
    }
  }
}

}  // namespace
}  // namespace kr::zero::test
