// Any bytes at all end in success or in a documented error, at a bounded price, and the reader can be used
// again.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <sstream>

#include "Tagged.h"
#include "modeling/sylvan/EventCounter.h"
#include "modeling/sylvan/NullEventProcessor.h"
#include "support/AllocationMeter.h"
#include "support/Environment.h"
#include "support/Paths.h"
#include "support/PieceBuf.h"
#include "support/Random.h"

namespace kr::zero::test::hostile {
namespace {

using io::BinaryAssembler;
using modeling::sylvan::EventCounter;
using modeling::sylvan::EventRecorder;
using modeling::sylvan::NullEventProcessor;

// Reads one document after another and counts the endings.
class Damage {
 public:
  void examine(const std::string& bytes) {
    const std::string ending = endingOf([&] { assembler_.visitString(bytes); });
    ++census_[ending];
    const bool isDocumented =
        ending == "success" || ending == "CorruptInput" || ending == "length_error" || ending == "bad_alloc";
    EXPECT_TRUE(isDocumented) << ending << " for " << toHex(bytes);
    EXPECT_EQ(*assembler_.getErrorDetail() != '\0', ending == "CorruptInput") << toHex(bytes);
    EXPECT_LE(assembler_.getByteOffset(), bytes.size());
    if (++examined_ % 64 == 0) examineReader();
  }

  std::uint64_t getCount(const std::string& ending) { return census_[ending]; }
  std::uint64_t getExamined() const { return examined_; }

 private:
  void examineReader() {
    const std::uint64_t before = counter_.getTotal();
    EXPECT_EQ(endingOf([&] { assembler_.visitString(littleHeader + "\x02"); }), "success");
    EXPECT_EQ(counter_.getTotal(), before + 2);
  }

  EventCounter counter_;
  BinaryAssembler assembler_{&counter_};
  std::map<std::string, std::uint64_t> census_;
  std::uint64_t examined_ = 0;
};

TEST(TaggedDamage, OfAnyByteIsADocumentOrRefused) {
  Damage damage;
  for (const GoldenTagged& document : goldenTagged()) {
    if (document.bytes.size() > 256) continue;
    for (std::size_t at = 0; at < document.bytes.size(); ++at) {
      std::string bytes = document.bytes;
      for (unsigned change = 1; change < 256; ++change) {
        bytes[at] = static_cast<char>(static_cast<unsigned char>(document.bytes[at]) ^ change);
        damage.examine(bytes);
      }
    }
  }
  EXPECT_GT(damage.getExamined(), 50000u);
  EXPECT_GT(damage.getCount("success"), 0u);
  EXPECT_GT(damage.getCount("CorruptInput"), 0u);
  EXPECT_GT(damage.getCount("length_error"), 0u);
}

TEST(TaggedDamage, OfPairsOfBitsInTheFirstBytesIsADocumentOrRefused) {
  Damage damage;
  for (const GoldenTagged& document : goldenTagged()) {
    const std::size_t bits = 8 * std::min<std::size_t>(16, document.bytes.size());
    const auto flip = [](std::string& bytes, std::size_t bit) {
      bytes[bit / 8] = static_cast<char>(static_cast<unsigned char>(bytes[bit / 8]) ^ (1u << bit % 8));
    };
    for (std::size_t first = 0; first < bits; ++first)
      for (std::size_t second = first + 1; second < bits; ++second) {
        std::string bytes = document.bytes;
        flip(bytes, first);
        flip(bytes, second);
        damage.examine(bytes);
      }
  }
  EXPECT_GT(damage.getExamined(), 50000u);
  EXPECT_GT(damage.getCount("CorruptInput"), 0u);
}

TEST(TaggedDamage, OfAnyKindIsADocumentOrRefused) {
  Damage damage;
  Random random(seedFor("random bytes behind a header"));
  for (int i = 0; i < 20000; ++i) {
    std::string bytes = random.percent(50) ? littleHeader : bigHeader;
    for (std::size_t size = random.below(40); size != 0; --size)
      bytes += static_cast<char>(random.percent(80) ? random.below(0x32) : random.below(256));
    damage.examine(bytes);
  }
  EXPECT_GT(damage.getCount("success"), 0u);
  EXPECT_GT(damage.getCount("CorruptInput"), 0u);
}

// Where items of a document end: there, and behind its end, it may stop.
std::vector<bool> findItemEnds(const GoldenTagged& document) {
  std::vector<bool> isEnd(document.bytes.size() + 1, false);
  struct Watching : EventRecorder {
    std::istream& stream;
    std::vector<bool>& isEnd;
    Watching(std::istream& from, std::vector<bool>& to) : stream(from), isEnd(to) {}
    void note() { isEnd[static_cast<std::size_t>(stream.tellg())] = true; }
    void startStruct() override { note(); }
    void endStruct() override { note(); }
    void startNamedEntry(const Primitive&) override { note(); }
    void endNamedEntry() override { note(); }
    void startSequence() override { note(); }
    void endSequence() override { note(); }
    void startMetadata() override { note(); }
    void endMetadata() override { note(); }
    void writePrimitive(const Primitive&) override { note(); }
    void endDocument() override { std::fill(isEnd.begin() + stream.tellg(), isEnd.end(), true); }
  };
  std::istringstream stream(document.bytes);
  Watching watching(stream, isEnd);
  BinaryAssembler(&watching).visitStream(stream);
  return isEnd;
}

std::size_t headerSizeOf(const GoldenTagged& document) {
  if (document.name == "markerIsNoString") return 4;
  return document.name == "otherVersion" ? 8 : littleHeader.size();
}

TEST(TaggedTruncation, AnywhereButBehindAnItemIsRefusedFromEveryInput) {
  const std::string path = temporaryPath("cut.krs");
  NullEventProcessor target;
  BinaryAssembler assembler(&target);
  for (const GoldenTagged& document : goldenTagged()) {
    std::vector<bool> isEnd = findItemEnds(document);
    isEnd[headerSizeOf(document)] = true;
    for (std::size_t size = 0; size < document.bytes.size(); ++size) {
      const std::string bytes = document.bytes.substr(0, size);
      const std::string expected = isEnd[size] ? "success" : "CorruptInput";
      std::istringstream stream(bytes);
      writeFile(path, bytes);
      EXPECT_EQ(endingOf([&] { assembler.visitString(bytes); }), expected) << document.name << " " << size;
      EXPECT_EQ(endingOf([&] { assembler.visitStream(stream); }), expected) << document.name << " " << size;
      EXPECT_EQ(endingOf([&] { assembler.visitFile(toUstring(path)); }), expected)
          << document.name << " " << size;
    }
  }
}

std::string longStringHeader(std::uint64_t size) {
  std::string bytes = littleHeader + "\x31";
  for (unsigned i = 0; i < 8; ++i) bytes += static_cast<char>(size >> (8 * i));
  return bytes;
}

const std::uint64_t longest = std::string().max_size();

TEST(ForgedLengths, AboveTheLongestStringAreALengthError) {
  for (const std::uint64_t size : {longest + 1, std::uint64_t{1} << 63, ~std::uint64_t{0}})
    EXPECT_EQ(read(longStringHeader(size) + "abc").ending, "length_error") << size;
}

TEST(ForgedLengths, OfAStringThatIsPossibleAreCorruptInputOrTooMuchMemory) {
  for (unsigned bit = 2; bit < 62; ++bit) {
    const std::string ending = read(longStringHeader(std::uint64_t{1} << bit) + "abc").ending;
    EXPECT_TRUE(ending == "CorruptInput" || ending == "bad_alloc") << bit << " " << ending;
  }
}

TEST(ForgedLengths, AsVersionMarkerOrNameAreRefusedAsWell) {
  const std::string forged = fromHex("31 ff ff ff ff ff ff ff ff");
  EXPECT_EQ(read("\x01" + forged).ending, "length_error");
  EXPECT_EQ(read(fromHex("01 20 01") + forged).ending, "length_error");
  EXPECT_EQ(read(littleHeader + "\x09" + forged).ending, "length_error");
}

std::size_t residentPeakBytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<std::size_t>(usage.ru_maxrss) * 1024;
}

TEST(ForgedLengths, TouchNoMemoryBeyondTheBytesThatCome) {
  if (underAddressSanitizer()) GTEST_SKIP() << "AddressSanitizer touches memory of its own";
  constexpr std::size_t size = std::size_t{1} << 29;
  NullEventProcessor target;
  BinaryAssembler assembler(&target);
  const std::size_t before = residentPeakBytes();
  std::size_t reserved = 0;
  {
    const AllocationMeter meter;
    EXPECT_EQ(endingOf([&] { assembler.visitString(longStringHeader(size) + "abc"); }), "CorruptInput");
    reserved = meter.getLargestRequest();
    EXPECT_LE(meter.getLiveBytes(), 4096) << "what was reserved must be given back";
  }
  EXPECT_GT(reserved, size) << "the length is reserved at once";
  EXPECT_LE(residentPeakBytes() - before, std::size_t{1} << 20);
  // A string that does arrive shows that the measure sees what it should.
  const std::string arriving = longStringHeader(64 << 20) + std::string(64 << 20, 'x');
  const std::size_t beforeArriving = residentPeakBytes();
  assembler.visitString(arriving);
  EXPECT_GT(residentPeakBytes() - beforeArriving, std::size_t{32} << 20) << "the measure is blind";
}

// Lets one request after the other fail while an assembler reads; returns how many did.
std::uint64_t failEachRequestOf(const std::function<void(BinaryAssembler&)>& read, const std::string& what) {
  NullEventProcessor target;
  for (std::uint64_t first = 0;; ++first) {
    BinaryAssembler assembler(&target);
    std::uint64_t failed = 0;
    const std::string ending = endingOf([&] {
      const FailingAllocations failing(first, 1);
      try {
        read(assembler);
      } catch (...) {
        failed = failing.getFailures();
        throw;
      }
      failed = failing.getFailures();
    });
    if (failed == 0) return first;
    EXPECT_EQ(ending, "bad_alloc") << what << " " << first;
    EXPECT_STREQ(assembler.getErrorDetail(), "") << what << " " << first;
    EXPECT_EQ(endingOf([&] { read(assembler); }), "success") << what << " " << first;
  }
}

TEST(MemoryFaults, LeaveTheReaderUsable) {
  if (!AllocationMeter::isWatching()) GTEST_SKIP() << "something else replaces the allocator";
  const ustring path = toUstring(temporaryPath("memory-faults.krs"));
  std::uint64_t fromStrings = 0;
  std::uint64_t fromStreams = 0;
  std::uint64_t fromFiles = 0;
  for (const GoldenTagged& document : goldenTagged()) {
    writeFile(toUtf8(path), document.bytes);
    std::istringstream stream(document.bytes);
    fromStrings +=
        failEachRequestOf([&](BinaryAssembler& a) { a.visitString(document.bytes); }, document.name);
    fromFiles += failEachRequestOf([&](BinaryAssembler& a) { a.visitFile(path); }, document.name);
    fromStreams += failEachRequestOf(
        [&](BinaryAssembler& a) {
          stream.clear();
          stream.seekg(0);
          a.visitStream(stream);
        },
        document.name);
  }
  EXPECT_GT(fromStrings, 20u);
  EXPECT_GT(fromStreams, 20u);
  EXPECT_GT(fromFiles, 40u);
}

TEST(MemoryFaults, OfASourceLeaveNothingOfTheDocumentBefore) {
  if (!AllocationMeter::isWatching()) GTEST_SKIP() << "something else replaces the allocator";
  NullEventProcessor target;
  BinaryAssembler assembler(&target);
  EXPECT_EQ(endingOf([&] { assembler.visitString(littleHeader + "\x09"); }), "CorruptInput");
  const std::string next = littleHeader;
  const std::string ending = endingOf([&] {
    const FailingAllocations failing(0, 1);
    assembler.visitString(next);
  });
  EXPECT_EQ(ending, "bad_alloc");
  EXPECT_STREQ(assembler.getErrorDetail(), "");
  EXPECT_EQ(assembler.getByteOffset(), 0u);
}

TEST(MemoryFaults, LeaveTheWriterAtTheBytesOfWholeEventsOrLess) {
  if (!AllocationMeter::isWatching()) GTEST_SKIP() << "something else replaces the allocator";
  std::uint64_t failures = 0;
  for (const GoldenTagged& document : goldenTagged()) {
    const std::string whole = write(document.produce);
    const EventRecorder events = record(document.produce);
    for (std::uint64_t first = 0;; ++first) {
      std::string bytes;
      std::uint64_t failed = 0;
      const std::string ending = endingOf([&] {
        const FailingAllocations failing(first, FailingAllocations::allOfThem);
        try {
          io::BinaryFormatter formatter(io::SerializationOutput::toString(bytes));
          events.replay(formatter);
        } catch (...) {
          failed = failing.getFailures();
          throw;
        }
        failed = failing.getFailures();
      });
      failures += failed;
      if (failed == 0) break;
      EXPECT_EQ(ending, "bad_alloc") << document.name << " " << first;
      EXPECT_EQ(whole.substr(0, bytes.size()), bytes) << document.name;
    }
  }
  EXPECT_GT(failures, 20u);
}

TEST(MemoryFaults, LeaveARecorderAsItWas) {
  if (!AllocationMeter::isWatching()) GTEST_SKIP() << "something else replaces the allocator";
  EventRecorder recorder = record(goldenTagged()[1].produce);
  const EventRecorder before = recorder;
  const Primitive large = text(std::string(100000, 'x'));
  {
    const FailingAllocations failing(0, FailingAllocations::allOfThem);
    EXPECT_THROW(recorder.writePrimitive(large), std::bad_alloc);
  }
  EXPECT_TRUE(recorder == before);
  EXPECT_EQ(recorder.getCount(), before.getCount());
}

TEST(Sources, OfADocumentAreGoneAtItsEnd) {
  if (!AllocationMeter::isWatching()) GTEST_SKIP() << "something else replaces the allocator";
  const std::string bytes = littleHeader + std::string(std::size_t{1} << 20, '\x12');
  NullEventProcessor target;
  BinaryAssembler assembler(&target);
  const AllocationMeter meter;
  for (int i = 0; i < 2; ++i) {
    assembler.visitString(bytes);
    EXPECT_LE(meter.getLiveBytes(), 4096);
  }
  EXPECT_LE(meter.getPeakBytes(), bytes.size() + 4096);  // never two of them
}

TEST(Sources, ThatCannotBeMadeHaveNoOffset) {
  NullEventProcessor target;
  BinaryAssembler assembler(&target);
  assembler.visitString(littleHeader);
  EXPECT_EQ(assembler.getByteOffset(), littleHeader.size());
  EXPECT_EQ(endingOf([&] { assembler.visitFile(u"/does/not/exist.krs"); }), "CorruptInput");
  EXPECT_EQ(assembler.getByteOffset(), 0u);
}

TEST(ReadingStrings, TakesMemoryOncePerDocumentAtMost) {
  if (!AllocationMeter::isWatching()) GTEST_SKIP() << "something else replaces the allocator";
  std::string bytes = littleHeader;
  for (int i = 0; i < 1000; ++i) bytes += "\x30\x64" + std::string(100, 'x');
  std::istringstream stream(bytes);
  NullEventProcessor target;
  BinaryAssembler assembler(&target);
  const AllocationMeter meter;
  assembler.visitStream(stream);
  EXPECT_LE(meter.getRequests(), 4u);
}

}  // namespace
}  // namespace kr::zero::test::hostile
