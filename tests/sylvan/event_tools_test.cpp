// The ready-made processors of tree events, and the primitives.

#include <gtest/gtest.h>

#include <iterator>
#include <limits>
#include <new>
#include <sstream>
#include <string_view>
#include <utility>

#include "Tagged.h"
#include "modeling/sylvan/EventCounter.h"
#include "modeling/sylvan/EventPrinter.h"
#include "modeling/sylvan/NullEventProcessor.h"
#include "support/AllocationMeter.h"
#include "support/SmallStack.h"

namespace kr::zero::test {
namespace {

using modeling::sylvan::EventCounter;
using modeling::sylvan::EventPrinter;
using modeling::sylvan::EventRecorder;
using modeling::sylvan::NullEventProcessor;
using modeling::sylvan::SylvanEventCode;
using modeling::sylvan::toText;

const std::vector<Primitive> oneOfEachKind{true, nullptr, 0.5, u(5), s(-1), text("t")};

TEST(Primitives, AreNumberedByTheirKind) {
  for (std::size_t kind = 0; kind < oneOfEachKind.size(); ++kind)
    EXPECT_EQ(oneOfEachKind[kind].index(), kind);
}

TEST(Primitives, VisitTheHandlerOfTheirKind) {
  struct Kind {
    int operator()(bool) const { return 0; }
    int operator()(std::nullptr_t) const { return 1; }
    int operator()(double) const { return 2; }
    int operator()(std::uint64_t) const { return 3; }
    int operator()(std::int64_t) const { return 4; }
    int operator()(const std::string&) const { return 5; }
  };
  for (std::size_t kind = 0; kind < oneOfEachKind.size(); ++kind)
    EXPECT_EQ(std::visit(Kind(), oneOfEachKind[kind]), static_cast<int>(kind));
}

TEST(Primitives, OfDifferentKindsDiffer) { EXPECT_NE(u(5), s(5)); }

TEST(Primitives, AreValues) {
  Primitive original = text("t");
  const Primitive copy = original;
  const Primitive moved = std::move(original);
  EXPECT_EQ(copy, moved);
  original = moved;
  EXPECT_EQ(original, copy);
}

TEST(EventNames, AreThoseOfTheirCodes) {
  const std::pair<unsigned, std::string_view> names[] = {
      {0, "StartDocument"},   {1, "EndDocument"},   {2, "StartStruct"},    {3, "EndStruct"},
      {4, "StartNamedEntry"}, {5, "EndNamedEntry"}, {6, "StartSequence"},  {7, "EndSequence"},
      {8, "StartMetadata"},   {9, "EndMetadata"},   {10, "WritePrimitive"}};
  EXPECT_EQ(modeling::sylvan::sylvanEventNames.size(), std::size(names));
  for (const auto& [code, name] : names) EXPECT_EQ(getName(static_cast<SylvanEventCode>(code)), name);
}

TEST(EventCodes, StandInTheOrderOfTheOperations) {
  const std::pair<SylvanEventCode, unsigned> codes[] = {
      {SylvanEventCode::startDocument, 0},   {SylvanEventCode::endDocument, 1},
      {SylvanEventCode::startStruct, 2},     {SylvanEventCode::endStruct, 3},
      {SylvanEventCode::startNamedEntry, 4}, {SylvanEventCode::endNamedEntry, 5},
      {SylvanEventCode::startSequence, 6},   {SylvanEventCode::endSequence, 7},
      {SylvanEventCode::startMetadata, 8},   {SylvanEventCode::endMetadata, 9},
      {SylvanEventCode::writePrimitive, 10}};
  for (const auto& [code, number] : codes) EXPECT_EQ(static_cast<unsigned>(code), number);
}

TEST(EventTexts, ShowTheKind) {
  EXPECT_EQ(toText(true), "true");
  EXPECT_EQ(toText(false), "false");
  EXPECT_EQ(toText(nullptr), "null");
  EXPECT_EQ(toText(u(std::numeric_limits<std::uint64_t>::max())), "u 18446744073709551615");
  EXPECT_EQ(toText(s(std::numeric_limits<std::int64_t>::min())), "s -9223372036854775808");
  EXPECT_EQ(toText(0.1), "r 0.1");
  EXPECT_EQ(toText(-0.0), "r -0");
  EXPECT_EQ(toText(std::numeric_limits<double>::infinity()), "r inf");
  EXPECT_EQ(toText(-std::numeric_limits<double>::quiet_NaN()), "r nan");
  EXPECT_EQ(toText(text("text")), "\"text\"");
}

TEST(EventTexts, OfTheLongestRealAreWhole) {
  EXPECT_EQ(toText(-2.2250738585072014e-308), "r -2.2250738585072014e-308");
}

TEST(EventTexts, EscapeWhatJsonEscapes) {
  EXPECT_EQ(toText(text("\"\\\b\f\n\r\t\x01\x1F \x7F/")), R"("\"\\\b\f\n\r\t\u0001\u001f \u007f/")");
}

TEST(EventTexts, KeepUtf8AsItIs) { EXPECT_EQ(toText(text("caf\xC3\xA9")), "\"caf\xC3\xA9\""); }

TEST(EventTexts, ShowOtherBytesByTheirNumber) {
  EXPECT_EQ(toText(text("a\xFF\x80\xC3\xA9")), "\"a\\xff\\x80\\xc3\\xa9\"");
}

std::string printed(const Produce& produce) { return print(record(produce)); }

TEST(EventPrinters, PrintEveryEventOnALine) {
  const std::string lines = printed([](Events& to) {
    to.startDocument(text("KR0"));
    to.startMetadata();
    to.startNamedEntry(text("n"));
    to.writePrimitive(nullptr);
    to.endNamedEntry();
    to.endMetadata();
    to.startSequence();
    to.startStruct();
    to.endStruct();
    to.endSequence();
    to.endDocument();
  });
  EXPECT_EQ(lines,
            "StartDocument \"KR0\"\n"
            "  StartMetadata\n"
            "    StartNamedEntry \"n\"\n"
            "      null\n"
            "    EndNamedEntry\n"
            "  EndMetadata\n"
            "  StartSequence\n"
            "    StartStruct\n"
            "    EndStruct\n"
            "  EndSequence\n"
            "EndDocument\n");
}

TEST(EventPrinters, SayNothingOfANullAtTheStart) {
  EXPECT_EQ(printed([](Events& to) { to.startDocument(nullptr); }), "StartDocument\n");
}

TEST(EventPrinters, PutAnEndWithNothingOpenAtTheMargin) {
  EXPECT_EQ(printed([](Events& to) {
              to.endStruct();
              to.startStruct();
            }),
            "EndStruct\nStartStruct\n");
}

TEST(EventPrinters, SayTheDepthInsteadOfGoingFurtherIn) {
  const std::string lines = printed([](Events& to) {
    for (int i = 0; i < 42; ++i) to.startStruct();
  });
  const std::string deepest(80, ' ');
  EXPECT_TRUE(lines.ends_with("\n" + deepest + "StartStruct\n" + deepest + "(41) StartStruct\n"));
}

TEST(EventRecorders, ReplayWhatTheyTook) {
  for (const GoldenTagged& document : goldenTagged()) {
    const EventRecorder first = record(document.produce);
    EventRecorder second;
    first.replay(second);
    EXPECT_TRUE(first == second) << document.name;
    EXPECT_EQ(second.getCount(), first.getCount());
  }
}

TEST(EventRecorders, TellEventsAndPrimitivesApart) {
  std::vector<EventRecorder> all;
  for (const Primitive& value : std::vector<Primitive>{true, false, nullptr, 0.0, -0.0, u(0), s(0), u(1),
                                                       text(""), text("a"), text(std::string(1, '\0'))}) {
    all.push_back(record([&](Events& to) { to.writePrimitive(value); }));
    all.push_back(record([&](Events& to) { to.startNamedEntry(value); }));
    all.push_back(record([&](Events& to) { to.startDocument(value); }));
  }
  all.push_back(record([](Events& to) { to.startStruct(); }));
  all.push_back(record([](Events& to) { to.endStruct(); }));
  all.push_back(record([](Events&) {}));
  for (std::size_t i = 0; i < all.size(); ++i)
    for (std::size_t k = 0; k < all.size(); ++k) EXPECT_EQ(all[i] == all[k], i == k) << i << " " << k;
}

TEST(EventRecorders, CountANotANumberAsItself) {
  const auto produce = [](Events& to) { to.writePrimitive(std::numeric_limits<double>::quiet_NaN()); };
  EXPECT_TRUE(record(produce) == record(produce));
}

TEST(EventRecorders, StopWhereTheTargetThrows) {
  const EventRecorder recorder = record(goldenTagged()[2].produce);
  for (std::size_t index = 0; index < recorder.getCount(); ++index) {
    EventRecorder seen;
    ThrowingAt target(seen, index);
    EXPECT_THROW(recorder.replay(target), Thrown);
    EXPECT_EQ(seen.getCount(), index);
  }
}

TEST(EventRecorders, AreEmptyAfterAResetAndAfterAMove) {
  EventRecorder recorder = record(goldenTagged()[2].produce);
  const EventRecorder copy = recorder;
  const EventRecorder moved = std::move(recorder);
  EXPECT_TRUE(moved == copy);
  EXPECT_EQ(recorder.getCount(), 0u);  // NOLINT(bugprone-use-after-move): that is the point
  EXPECT_TRUE(recorder == EventRecorder());
  recorder = copy;
  recorder.reset();
  EXPECT_EQ(recorder.getCount(), 0u);
  EXPECT_EQ(recorder.getBytes(), 0u);
  EXPECT_EQ(print(recorder), "");
}

TEST(EventRecorders, ThatAreAssignedFromAreEmptyAndCanBeUsedAgain) {
  EventRecorder from = record(goldenTagged()[2].produce);
  const EventRecorder copy = from;
  EventRecorder to = record([](Events& events) { events.startStruct(); });
  to = std::move(from);
  EXPECT_TRUE(to == copy);
  EXPECT_EQ(to.getCount(), copy.getCount());
  EXPECT_EQ(from.getCount(), 0u);  // NOLINT(bugprone-use-after-move): that is the point
  EXPECT_EQ(from.getBytes(), 0u);
  from.endStruct();
  EXPECT_EQ(print(from), "EndStruct\n");
}

TEST(EventRecorders, LeaveTheRecordAsItWasWhereMemoryFails) {
  if (!AllocationMeter::isWatching()) GTEST_SKIP() << "something else replaces the allocator";
  const Primitive name = text(std::string(100, 'x'));
  const std::vector<Produce> events{
      [](Events& to) { to.endStruct(); }, [](Events& to) { to.writePrimitive(nullptr); },
      [](Events& to) { to.writePrimitive(0.5); }, [&](Events& to) { to.startNamedEntry(name); }};
  for (const Produce& event : events) {
    // Copies have no room to spare, so each of them must ask for memory.
    const EventRecorder before = record([](Events& to) { to.writePrimitive(text("a")); });
    EventRecorder recorder = before;
    {
      const FailingAllocations failing(0, FailingAllocations::allOfThem);
      EXPECT_THROW(event(recorder), std::bad_alloc);
      EXPECT_GT(failing.getFailures(), 0u);
    }
    EXPECT_TRUE(recorder == before);
    EXPECT_EQ(recorder.getCount(), 1u);
    event(recorder);
    EXPECT_EQ(recorder.getCount(), 2u);
  }
}

TEST(EventRecorders, TakeAsManyBytesAsTheySay) {
  const auto bytesOf = [](const Primitive& value) {
    return record([&](Events& to) { to.writePrimitive(value); }).getBytes();
  };
  EXPECT_EQ(record([](Events& to) { to.endStruct(); }).getBytes(), 1u);
  EXPECT_EQ(bytesOf(nullptr), 1u);
  EXPECT_EQ(bytesOf(true), 2u);
  EXPECT_EQ(bytesOf(0.5), 9u);
  EXPECT_EQ(bytesOf(u(1)), 9u);
  EXPECT_EQ(bytesOf(s(1)), 9u);
  EXPECT_EQ(bytesOf(text("abc")), 12u);
}

TEST(EventCounters, CountByKind) {
  EventCounter counter;
  record([](Events& to) {
    to.startStruct();
    to.writePrimitive(true);
    to.writePrimitive(false);
    to.endStruct();
  }).replay(counter);
  EXPECT_EQ(counter.getCount(SylvanEventCode::writePrimitive), 2u);
  EXPECT_EQ(counter.getCount(SylvanEventCode::startStruct), 1u);
  EXPECT_EQ(counter.getCount(SylvanEventCode::startDocument), 0u);
  EXPECT_EQ(counter.getTotal(), 4u);
  counter.reset();
  EXPECT_EQ(counter.getTotal(), 0u);
}

TEST(EventCounters, KnowEveryKind) {
  EventCounter counter;
  record([](Events& to) {
    to.startDocument(nullptr);
    to.endDocument();
    to.startStruct();
    to.endStruct();
    to.startNamedEntry(nullptr);
    to.endNamedEntry();
    to.startSequence();
    to.endSequence();
    to.startMetadata();
    to.endMetadata();
    to.writePrimitive(nullptr);
  }).replay(counter);
  for (unsigned code = 0; code < 11; ++code)
    EXPECT_EQ(counter.getCount(static_cast<SylvanEventCode>(code)), 1u) << code;
}

TEST(NullProcessors, TakeEverything) {
  NullEventProcessor target;
  for (const GoldenTagged& document : goldenTagged())
    EXPECT_NO_THROW(document.produce(target)) << document.name;
}

/// Takes any number of bytes and no memory.
struct CountingBuffer final : std::streambuf {
  std::size_t count = 0;
  std::streamsize xsputn(const char*, std::streamsize size) override {
    count += static_cast<std::size_t>(size);
    return size;
  }
};

TEST(DeepEvents, TakeNoStack) {
  constexpr std::size_t levels = 1000000;
  const Produce produce = [](Events& to) {
    to.startDocument(nullptr);
    for (std::size_t i = 0; i < levels; ++i) to.startSequence();
    for (std::size_t i = 0; i < levels; ++i) to.endSequence();
    to.endDocument();
  };
  onSmallStack([&] {
    EventRecorder back;
    io::BinaryAssembler(&back).visitString(write(produce));
    EXPECT_TRUE(back == record(produce));
    EventCounter counter;
    back.replay(counter);
    EXPECT_EQ(counter.getCount(SylvanEventCode::endSequence), levels);
    // Two lines a level, each with 80 spaces, the depth and a name.
    CountingBuffer bytes;
    std::ostream out(&bytes);
    EventPrinter printer(out);
    back.replay(printer);
    EXPECT_GT(bytes.count, levels * 2 * 90);
    EXPECT_LT(bytes.count, levels * 2 * 110);
  });
}

}  // namespace
}  // namespace kr::zero::test
