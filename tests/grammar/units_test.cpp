// Units beside events: the serializer sends its own formatter several events in one call, and nobody else.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <initializer_list>
#include <sstream>

#include "kr/zero/io/BinaryFormatter.h"
#include "kr/zero/io/BinaryKRSylvanSerializer.h"
#include "kr/zero/io/Serializer.h"
#include "modeling/sylvan/EventPrinter.h"
#include "modeling/sylvan/EventRecorder.h"
#include "modeling/sylvan/grammar/GrammarException.h"
#include "support/Environment.h"
#include "support/Paths.h"
#include "support/RandomModel.h"
#include "support/SampleModel.h"
#include "support/TaggedReading.h"
#include "sylvan/FormatterInternals.h"
#include "sylvan/FormatterUnits.h"

namespace kr::zero::io {
namespace {

using modeling::sylvan::EventRecorder;
using modeling::sylvan::SylvanEventProcessor;

/// A host's serializer that wants to see all events before the formatter does.
class WatchingSerializer final : public BinaryKRSylvanSerializer {
 public:
  SylvanEventProcessor<void>* getTarget(const SerializationOutput& output) override {
    formatter_ = BinaryKRSylvanSerializer::getTarget(output);
    events.reset();
    return &events;
  }
  /// What the formatter makes of the events.
  void finish() { events.replay(*formatter_); }

  EventRecorder events;

 private:
  SylvanEventProcessor<void>* formatter_ = nullptr;
};

/// The document of a model as the formatter writes it from events.
std::string writeByEvents(const Model& model) {
  std::string bytes;
  WatchingSerializer serializer;
  serializer.serialize(model, SerializationOutput::toString(bytes));
  EXPECT_EQ(bytes, "");  // all of it went to the host's target
  serializer.finish();
  return bytes;
}

TEST(TaggedUnits, TargetOfAHostsOwnSeesEveryEvent) {
  const Model model = test::makeSample();
  EXPECT_EQ(writeByEvents(model), test::writeTagged(model));
}

TEST(TaggedUnits, AFormatterThatATargetOfAHostsOwnHoldsBackIsStillOpen) {
  const std::string path = test::temporaryPath("held-back.krt");
  const Model model = test::makeSample();
  {
    WatchingSerializer serializer;
    serializer.serialize(model, SerializationOutput::toFile(toUstring(path)));
    EXPECT_EQ(test::readFile(path), "");
    serializer.finish();
  }
  EXPECT_EQ(test::readFile(path), test::writeTagged(model));
}

TEST(TaggedUnits, GiveTheBytesOfTheEventsForRandomModels) {
  test::Random random(test::seedFor("units"));
  for (int i = 0; i < 300; ++i) {
    const auto registry = test::makeRandomRegistry(random);
    const Model model = test::makeRandomModel(*registry, random);
    ASSERT_EQ(test::writeTagged(model), writeByEvents(model)) << "model " << i;
  }
}

TEST(TaggedUnits, GiveTheBytesOfTheEventsForTextsOfEveryLength) {
  // The room that a short entry is put together in ends somewhere among these.
  for (std::size_t length = 0; length < 300; ++length) {
    Model model(test::sampleRegistry());
    Element item = model.createRoot("sample.Item");
    item.setIdentity(std::string(length + 1, 'a'), std::string(1 + length / 2, 'b'));
    const std::string bytes = test::writeTagged(model);
    ASSERT_EQ(bytes, writeByEvents(model)) << length;
    std::ostringstream stream;
    BinaryKRSylvanSerializer().serialize(model, SerializationOutput::toStream(stream));
    ASSERT_EQ(stream.str(), bytes) << length;
  }
}

/// The bytes of a struct with a text or number and a pair, in one call or by events.
std::string writePairStruct(const modeling::sylvan::SylvanPrimitive& value, std::size_t length,
                            bool byEvents) {
  std::string bytes;
  BinaryFormatter formatter(SerializationOutput::toString(bytes));
  tagged::FormatterUnits units(formatter);
  modeling::sylvan::UnitsAsEvents events(formatter);
  modeling::sylvan::SylvanUnitProcessor& target =
      byEvents ? static_cast<modeling::sylvan::SylvanUnitProcessor&>(events) : units;
  for (int i = 0; i < 20; ++i)  // at every distance from where the string grows
    target.writePairStruct(std::string("name"), value, std::string("pair"), std::string("a"),
                           std::string(length / 2, 'b'));
  return bytes;
}

TEST(TaggedUnits, PairStructHasTheBytesOfItsEventsForTextsOfEveryLength) {
  for (std::size_t length = 0; length < 100; ++length) {
    const std::string text(length, 'x');
    ASSERT_EQ(writePairStruct(text, length, false), writePairStruct(text, length, true)) << length;
    ASSERT_EQ(writePairStruct(length, length, false), writePairStruct(length, length, true)) << length;
  }
  EXPECT_EQ(writePairStruct(std::string("x"), 2, false).substr(0, 29),
            "\x03\x09\x30\x04name\x30\x01x\x10\x09\x30\x04pair\x05\x30\x01"
            "a\x30\x01"
            "b\x06\x10\x04");
}

using modeling::sylvan::SylvanPrimitive;
using modeling::sylvan::SylvanUnitProcessor;
using Call = std::function<void(SylvanUnitProcessor&)>;

/// What the units of a formatter write for a call, or its events: often enough to meet every distance from
/// where a string grows.
std::string written(const Call& call, bool byEvents) {
  std::string bytes;
  BinaryFormatter formatter(SerializationOutput::toString(bytes));
  tagged::FormatterUnits units(formatter);
  modeling::sylvan::UnitsAsEvents events(formatter);
  for (int i = 0; i < 20; ++i) call(byEvents ? static_cast<SylvanUnitProcessor&>(events) : units);
  return bytes;
}

TEST(TaggedUnits, EntriesWithNamesOfEveryLengthHaveTheBytesOfTheirEvents) {
  for (std::size_t length = 0; length < 100; ++length) {
    const SylvanPrimitive name = std::string(length, 'n');
    const SylvanPrimitive number = std::uint64_t{length} << 40;
    const SylvanPrimitive text = std::string("text");
    for (const Call& call :
         std::initializer_list<Call>{[&](SylvanUnitProcessor& to) { to.writeEntry(name, number); },
                                     [&](SylvanUnitProcessor& to) { to.writeEntry(name, text); },
                                     [&](SylvanUnitProcessor& to) { to.writeTextEntry(name, "text"); },
                                     [&](SylvanUnitProcessor& to) { to.writePairEntry(name, text, text); }})
      ASSERT_EQ(written(call, false), written(call, true)) << length;
  }
}

TEST(TaggedUnits, WhatIsNoTextWhereTextsAreUsualHasTheBytesOfItsEvents) {
  const SylvanPrimitive number = std::uint64_t{300};
  const SylvanPrimitive text = std::string("text");
  for (const Call& call :
       std::initializer_list<Call>{[&](SylvanUnitProcessor& to) { to.writeEntry(number, text); },
                                   [&](SylvanUnitProcessor& to) { to.writeTextEntry(number, "text"); },
                                   [&](SylvanUnitProcessor& to) { to.writePairEntry(number, text, text); },
                                   [&](SylvanUnitProcessor& to) { to.writePairEntry(text, number, text); },
                                   [&](SylvanUnitProcessor& to) { to.writePairEntry(text, text, number); }}) {
    EXPECT_EQ(written(call, false), written(call, true));
    EXPECT_NE(written(call, false), "");
  }
}

TEST(TaggedUnits, EveryEventOfAUnitIsCheckedWhereAGrammarIsAttached) {
  const SylvanPrimitive text = std::string("text");
  for (const Call& call : std::initializer_list<Call>{
           [&](SylvanUnitProcessor& to) { to.writeEntry(text, text); },
           [&](SylvanUnitProcessor& to) { to.writeTextEntry(text, "text"); },
           [&](SylvanUnitProcessor& to) { to.writePairEntry(text, text, text); },
           [&](SylvanUnitProcessor& to) { to.writePairStruct(text, text, text, text, text); }}) {
    std::string bytes;
    BinaryFormatter formatter(SerializationOutput::toString(bytes));
    bytes.reserve(1000);
    tagged::FormatterInternals::attachGrammarChecker(formatter, "document");
    tagged::FormatterUnits units(formatter);
    EXPECT_THROW(call(units), modeling::sylvan::grammar::GrammarException);  // there is no document yet
    EXPECT_EQ(bytes, "");
  }
}

/// A host's serializer that keeps the events and never asks for a formatter.
class KeepingSerializer final : public BinaryKRSylvanSerializer {
 public:
  SylvanEventProcessor<void>* getTarget(const SerializationOutput&) override { return &events; }
  EventRecorder events;
};

TEST(TaggedUnits, AHostsTargetThatNeedsNoFormatterGetsEveryEvent) {
  const Model model = test::makeSample();
  KeepingSerializer serializer;
  std::string unused;
  serializer.serialize(model, SerializationOutput::toString(unused));
  std::string bytes;
  BinaryFormatter formatter(SerializationOutput::toString(bytes));
  serializer.events.replay(formatter);
  EXPECT_EQ(bytes, test::writeTagged(model));
}

TEST(TaggedUnits, TheFirstFailureIsToldWhereClosingTheFileFailsToo) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "there is no /dev/full here";
  Model model(test::sampleRegistry());
  model.createRoot("sample.Item").setIdentity("a", "b");
  BinaryKRSylvanSerializer serializer(std::make_unique<ModelTraverser>(),
                                      std::make_unique<SerializeCustomizer>(ustring(1, u'\xD800')));
  EXPECT_THROW(serializer.serialize(model, SerializationOutput::toFile(u"/dev/full")), SerializeError);
}

/// What SerializeCustomizer is, and nothing else: but it might say other identities, so it is asked for each.
class HostCustomizer final : public SerializeCustomizer {
 public:
  using SerializeCustomizer::SerializeCustomizer;
};

TEST(TaggedUnits, WalkToldByNamesGivesTheBytesOfOneToldInLargerUnits) {
  test::Random random(test::seedFor("walks"));
  for (int i = 0; i < 300; ++i) {
    const auto registry = test::makeRandomRegistry(random);
    const Model model = test::makeRandomModel(*registry, random);
    BinaryKRSylvanSerializer byNames(std::make_unique<ModelTraverser>(), std::make_unique<HostCustomizer>());
    std::string bytes;
    byNames.serialize(model, SerializationOutput::toString(bytes));
    ASSERT_EQ(test::writeTagged(model), bytes) << "model " << i;
  }
}

/// Keeps the text of the events until the walk stops.
class Recording final : public KRSylvanSerializer {
 public:
  explicit Recording(const ustring& identityPrefix)
      : KRSylvanSerializer(std::make_unique<ModelTraverser>(),
                           std::make_unique<SerializeCustomizer>(identityPrefix)) {}
  const char* getFullyQualifiedVornTypeName() const override { return "test.Recording"; }
  SylvanEventProcessor<void>* getTarget(const SerializationOutput&) override { return &printer; }

  std::ostringstream text;
  modeling::sylvan::EventPrinter printer{text};
};

TEST(TaggedUnits, TextThatCannotBeWrittenLeavesTheEventsUpToIt) {
  Recording serializer(ustring(1, u'\xD800'));
  Model model(test::sampleRegistry());
  model.createRoot("sample.Item").setIdentity("a", "b");
  std::string unused;
  EXPECT_THROW(serializer.serialize(model, SerializationOutput::toString(unused)), SerializeError);
  const std::string last = "StartNamedEntry \"id\"\n        StartSequence\n";
  EXPECT_TRUE(serializer.text.str().ends_with(last)) << serializer.text.str();
}

}  // namespace
}  // namespace kr::zero::io
