// The transformer: who gets an event, in which order, and who does not.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <type_traits>

#include "grammar/GrammarTesting.h"
#include "kr/zero/io/BinaryKRGrammarTransformer.h"

namespace kr::zero::io {

using modeling::sylvan::grammar::ProcessorManager;

/// What tests may see and put in place inside a transformer.
class BinaryKRGrammarTransformerInternals {
 public:
  using Blackboard = grammar::KRGrammar::Blackboard;
  using Manager = ProcessorManager<Blackboard>;

  static Blackboard& getBlackboard(BinaryKRGrammarTransformer& t) { return t.blackboard_; }
  static std::unique_ptr<Manager>& getManager(BinaryKRGrammarTransformer& t) { return t.manager_; }
  static void giveBackMemory(BinaryKRGrammarTransformer& t) { t.giveBackMemory(); }
};

}  // namespace kr::zero::io

namespace kr::zero::test {
namespace {

using io::BinaryKRGrammarTransformer;
using Internals = io::BinaryKRGrammarTransformerInternals;
using Blackboard = Internals::Blackboard;
using Log = std::vector<std::string>;

std::string show(const SylvanPrimitive& primitive) {
  if (const auto* text = std::get_if<std::string>(&primitive)) return '"' + *text + '"';
  if (const auto* number = std::get_if<std::uint64_t>(&primitive)) return std::to_string(*number);
  return "kind " + std::to_string(primitive.index());
}

/// Writes down what it gets; before that, does what it is told to.
class Target : public modeling::sylvan::SylvanEventProcessor<void> {
 public:
  explicit Target(Log& log) : log_(log) {}

  std::function<void()> before = [] {};

  void startDocument(const SylvanPrimitive& value) override { note("StartDocument " + show(value)); }
  void endDocument() override { note("EndDocument"); }
  void startStruct() override { note("StartStruct"); }
  void endStruct() override { note("EndStruct"); }
  void startNamedEntry(const SylvanPrimitive& name) override { note("StartNamedEntry " + show(name)); }
  void endNamedEntry() override { note("EndNamedEntry"); }
  void startSequence() override { note("StartSequence"); }
  void endSequence() override { note("EndSequence"); }
  void startMetadata() override { note("StartMetadata"); }
  void endMetadata() override { note("EndMetadata"); }
  void writePrimitive(const SylvanPrimitive& value) override { note("WritePrimitive " + show(value)); }

 private:
  void note(const std::string& event) {
    before();
    log_.push_back("target " + event);
  }

  Log& log_;
};

/// Writes down what it is fed with, and passes it to the manager that it stands before, if there is one.
class RecordingManager : public Internals::Manager {
 public:
  RecordingManager(Log& log, Blackboard& blackboard, std::unique_ptr<Internals::Manager> next)
      : Internals::Manager(getRule(), blackboard), log_(log), next_(std::move(next)) {}
  ~RecordingManager() override {
    whenGone();
    log_.push_back("grammar gone");
  }

  std::function<void()> whenGone = [] {};

  std::function<void()> before = [] {};

 private:
  static const modeling::sylvan::grammar::Rule& getRule() {
    static modeling::sylvan::grammar::Grammar<Blackboard> grammar;
    static const modeling::sylvan::grammar::Rule& rule = grammar.empty();
    return rule;
  }

  void doProcess(SylvanEventCode code, const SylvanPrimitive& primitive) override {
    before();
    if (next_) next_->process(code, primitive);
    const bool bare = std::holds_alternative<std::nullptr_t>(primitive);
    log_.push_back("grammar " + std::string(getName(code)) + (bare ? "" : ' ' + show(primitive)));
  }

  Log& log_;
  std::unique_ptr<Internals::Manager> next_;
};

/// Each event carries this, where events carry something.
const SylvanPrimitive seven{std::uint64_t{7}};

void send(modeling::sylvan::SylvanEventProcessor<void>& to, char event) {
  switch (codeOf(event)) {
    case SylvanEventCode::startDocument:
      return to.startDocument(seven);
    case SylvanEventCode::endDocument:
      return to.endDocument();
    case SylvanEventCode::startStruct:
      return to.startStruct();
    case SylvanEventCode::endStruct:
      return to.endStruct();
    case SylvanEventCode::startNamedEntry:
      return to.startNamedEntry(seven);
    case SylvanEventCode::endNamedEntry:
      return to.endNamedEntry();
    case SylvanEventCode::startSequence:
      return to.startSequence();
    case SylvanEventCode::endSequence:
      return to.endSequence();
    case SylvanEventCode::startMetadata:
      return to.startMetadata();
    case SylvanEventCode::endMetadata:
      return to.endMetadata();
    case SylvanEventCode::writePrimitive:
      return to.writePrimitive(seven);
  }
}

void send(modeling::sylvan::SylvanEventProcessor<void>& to, std::string_view events) {
  for (char event : events) send(to, event);
}

class Transformer : public testing::Test {
 protected:
  /// In a document, with a grammar that writes down what it gets and takes anything.
  RecordingManager& replaceGrammar() {
    send(transformer, 'D');
    log.clear();
    auto recording = std::make_unique<RecordingManager>(log, Internals::getBlackboard(transformer), nullptr);
    RecordingManager& result = *recording;
    Internals::getManager(transformer) = std::move(recording);
    return result;
  }

  /// What one event comes to, in a document.
  Log logOf(char event) {
    replaceGrammar();
    send(transformer, event);
    return log;
  }

  /// What a document of these events comes to at the target.
  Log logOfDocument(std::string_view events) {
    log.clear();
    send(transformer, events);
    return log;
  }

  /// What the grammar says against one event; empty for nothing.
  std::string failureOfEvent(char event) {
    try {
      send(transformer, event);
    } catch (const GrammarException& failure) {
      return failure.what();
    }
    return {};
  }

  Log log;
  Target target{log};
  BinaryKRGrammarTransformer transformer{&target};
};

// ---- order, event by event

TEST_F(Transformer, StartStructGoesToTheGrammarFirst) {
  EXPECT_EQ(logOf('S'), (Log{"grammar StartStruct", "target StartStruct"}));
}
TEST_F(Transformer, StartNamedEntryGoesToTheGrammarFirstWithItsName) {
  EXPECT_EQ(logOf('N'), (Log{"grammar StartNamedEntry 7", "target StartNamedEntry 7"}));
}
TEST_F(Transformer, StartSequenceGoesToTheGrammarFirst) {
  EXPECT_EQ(logOf('Q'), (Log{"grammar StartSequence", "target StartSequence"}));
}
TEST_F(Transformer, StartMetadataGoesToTheTargetFirst) {
  EXPECT_EQ(logOf('M'), (Log{"target StartMetadata", "grammar StartMetadata"}));
}
TEST_F(Transformer, EndDocumentGoesToTheTargetFirst) {
  EXPECT_EQ(logOf('d'), (Log{"target EndDocument", "grammar EndDocument"}));
}
TEST_F(Transformer, EndStructGoesToTheTargetFirst) {
  EXPECT_EQ(logOf('s'), (Log{"target EndStruct", "grammar EndStruct"}));
}
TEST_F(Transformer, EndNamedEntryGoesToTheTargetFirst) {
  EXPECT_EQ(logOf('n'), (Log{"target EndNamedEntry", "grammar EndNamedEntry"}));
}
TEST_F(Transformer, EndSequenceGoesToTheTargetFirst) {
  EXPECT_EQ(logOf('q'), (Log{"target EndSequence", "grammar EndSequence"}));
}
TEST_F(Transformer, EndMetadataGoesToTheTargetFirst) {
  EXPECT_EQ(logOf('m'), (Log{"target EndMetadata", "grammar EndMetadata"}));
}
TEST_F(Transformer, PrimitiveGoesToTheTargetFirstAndToBothWithItsValue) {
  EXPECT_EQ(logOf('P'), (Log{"target WritePrimitive 7", "grammar WritePrimitive 7"}));
}

TEST_F(Transformer, StartDocumentReachesTheTargetAsTheTextKR0) {
  const SylvanPrimitive values[] = {SylvanPrimitive{true},
                                    SylvanPrimitive{nullptr},
                                    SylvanPrimitive{1.5},
                                    SylvanPrimitive{std::uint64_t{1}},
                                    SylvanPrimitive{std::int64_t{-1}},
                                    SylvanPrimitive{std::string("other")}};
  for (const SylvanPrimitive& value : values) {
    log.clear();
    transformer.startDocument(value);
    EXPECT_EQ(log, Log{"target StartDocument \"KR0\""}) << value.index();
  }
}

TEST_F(Transformer, StartDocumentMakesANewGrammarThenFeedsItThenTellsTheTarget) {
  replaceGrammar();
  Blackboard& blackboard = Internals::getBlackboard(transformer);
  blackboard.states.push(3);
  blackboard.metadataStates.push(0);
  target.before = [&] {
    EXPECT_EQ(log, Log{"grammar gone"});
    ASSERT_EQ(blackboard.states.size(), 1u);
    EXPECT_EQ(blackboard.states.top(), io::grammar::KRGrammar::document);
    EXPECT_EQ(blackboard.metadataStates.size(), 1u);
    // Fed already: a second one is too many.
    EXPECT_THROW(Internals::getManager(transformer)->process(SylvanEventCode::startDocument),
                 GrammarException);
  };
  send(transformer, 'D');
  EXPECT_EQ(log, (Log{"grammar gone", "target StartDocument \"KR0\""}));
}

TEST_F(Transformer, BlackboardIsResetBeforeTheOldGrammarGoes) {
  Blackboard& blackboard = Internals::getBlackboard(transformer);
  std::vector<std::size_t> heights;
  replaceGrammar().whenGone = [&] { heights = {blackboard.states.size(), blackboard.metadataStates.size()}; };
  blackboard.states.push(3);
  blackboard.metadataStates.push(0);
  send(transformer, 'D');
  EXPECT_EQ(heights, (std::vector<std::size_t>{0, 1}));
}

// ---- metadata

TEST_F(Transformer, StartOfMetadataIsDroppedInMetadataState0) {
  replaceGrammar();
  Internals::getBlackboard(transformer).metadataStates.push(0);
  send(transformer, 'M');
  EXPECT_EQ(log, Log());
  send(transformer, 'm');
  EXPECT_EQ(log, (Log{"target EndMetadata", "grammar EndMetadata"}));
}

TEST_F(Transformer, EndOfMetadataIsDroppedInMetadataState1) {
  replaceGrammar();
  Internals::getBlackboard(transformer).metadataStates.push(1);
  send(transformer, 'm');
  EXPECT_EQ(log, Log());
  send(transformer, 'M');
  EXPECT_EQ(log, (Log{"target StartMetadata", "grammar StartMetadata"}));
}

TEST_F(Transformer, OnlyTheTopmostMetadataStateCounts) {
  replaceGrammar();
  Blackboard& blackboard = Internals::getBlackboard(transformer);
  blackboard.metadataStates.push(0);
  blackboard.metadataStates.push(1);
  send(transformer, 'M');
  blackboard.metadataStates.pop();
  send(transformer, 'm');
  EXPECT_EQ(log.size(), 4u);
}

TEST_F(Transformer, OtherEventsPassInAllMetadataStates) {
  for (std::uint32_t state : {0u, 1u, 2u}) {
    for (char event : std::string_view("SsNnQqPd")) {
      replaceGrammar();
      Internals::getBlackboard(transformer).metadataStates.push(state);
      send(transformer, event);
      EXPECT_EQ(log.size(), 2u) << state << event;
    }
  }
}

// ---- documents

TEST_F(Transformer, TargetGetsAllEventsOfADocument) {
  EXPECT_EQ(logOfDocument("DMNPnNQqnmQqd"),
            (Log{"target StartDocument \"KR0\"", "target StartMetadata", "target StartNamedEntry 7",
                 "target WritePrimitive 7", "target EndNamedEntry", "target StartNamedEntry 7",
                 "target StartSequence", "target EndSequence", "target EndNamedEntry", "target EndMetadata",
                 "target StartSequence", "target EndSequence", "target EndDocument"}));
}

TEST_F(Transformer, DocumentsInARowAreCheckedIndependently) {
  const std::string whole = makeRichDocument();
  EXPECT_EQ(logOfDocument(whole).size(), whole.size());
  for (std::size_t length = 1; length <= whole.size(); ++length) {
    logOfDocument(std::string_view(whole).substr(0, length));
    ASSERT_EQ(logOfDocument(whole).size(), whole.size()) << "after " << length << " events";
  }
}

TEST_F(Transformer, EventThatTheGrammarRefusesAtAStartDoesNotReachTheTarget) {
  logOfDocument("D");
  try {
    send(transformer, 'S');
    ADD_FAILURE() << "nothing thrown";
  } catch (const TracingException& e) {
    EXPECT_EQ(splitLines(e.what()).back(), "expected StartMetadata, found StartStruct");
  }
  EXPECT_EQ(log, Log{"target StartDocument \"KR0\""});
}

TEST_F(Transformer, EventThatTheGrammarRefusesAtAnEndHasReachedTheTarget) {
  logOfDocument("D");
  EXPECT_THROW(send(transformer, 's'), TracingException);
  EXPECT_EQ(log.back(), "target EndStruct");
}

TEST_F(Transformer, EventsBeforeAnyDocumentAreRefusedAndReachNobody) {
  for (char event : eventLetters.substr(1)) {
    BinaryKRGrammarTransformer fresh(&target);
    try {
      send(fresh, event);
      ADD_FAILURE() << event;
    } catch (const GrammarException& e) {
      EXPECT_EQ(e.what(), std::string(getName(codeOf(event))) + " before StartDocument");
    }
  }
  EXPECT_EQ(log, Log());
}

TEST_F(Transformer, WhatGaveBackItsMemoryIsAsBeforeAnyDocument) {
  send(transformer, "DMN");
  Internals::giveBackMemory(transformer);
  EXPECT_TRUE(Internals::getBlackboard(transformer).states.empty());
  EXPECT_EQ(failureOfEvent('P'), "WritePrimitive before StartDocument");
  EXPECT_EQ(logOfDocument(emptyDocument).size(), emptyDocument.size());
}

// ---- failures

struct TargetFailed {
  std::size_t event;
};

/// A document through a target that fails at the event of that number. Then the same object must do a
/// whole document.
TEST_F(Transformer, FailureOfTheTargetAtAnyEventPassesUnchangedAndLeavesTheRestUndone) {
  const std::string whole = makeRichDocument();
  const std::string grammarFirst = "DSNQ";
  for (std::size_t failing = 0; failing < whole.size(); ++failing) {
    log.clear();
    std::size_t seen = 0;
    target.before = [&] {
      if (seen++ == failing) throw TargetFailed{failing};
    };
    Log fed;
    std::optional<std::size_t> failed;
    std::size_t sent = 0;
    try {
      for (; sent < whole.size(); ++sent) {
        send(transformer, whole[sent]);
        if (sent == 0) {
          auto& manager = Internals::getManager(transformer);
          manager = std::make_unique<RecordingManager>(fed, Internals::getBlackboard(transformer),
                                                       std::move(manager));
        }
      }
    } catch (const TargetFailed& failure) {
      failed = failure.event;
    }
    ASSERT_EQ(failed, failing);
    EXPECT_EQ(sent, failing);
    EXPECT_EQ(log.size(), failing);
    // All events before were fed; the recorder came after the first.
    const bool isFed = grammarFirst.find(whole[failing]) != std::string::npos;
    if (failing > 0) {
      EXPECT_EQ(fed.size(), failing - 1 + (isFed ? 1 : 0)) << failing;
    }

    target.before = [] {};
    EXPECT_EQ(logOfDocument(whole).size(), whole.size());
  }
}

TEST_F(Transformer, FailureOfTheGrammarPassesUnchanged) {
  for (char event : eventLetters.substr(1)) {
    RecordingManager& grammar = replaceGrammar();
    grammar.before = [] { throw 42; };
    EXPECT_THROW(send(transformer, event), int) << event;
    const bool grammarFirst = std::string_view("SNQ").find(event) != std::string_view::npos;
    EXPECT_EQ(log.size(), grammarFirst ? 0u : 1u) << event;
  }
}

// ---- moving

static_assert(!std::is_copy_constructible_v<BinaryKRGrammarTransformer>);
static_assert(!std::is_copy_assignable_v<BinaryKRGrammarTransformer>);
static_assert(std::is_nothrow_move_constructible_v<BinaryKRGrammarTransformer>);
static_assert(std::is_nothrow_move_assignable_v<BinaryKRGrammarTransformer>);
static_assert(std::has_virtual_destructor_v<BinaryKRGrammarTransformer>);

TEST_F(Transformer, DocumentGoesOnInTheObjectThatWasMovedTo) {
  const std::string_view whole = emptyDocument;
  for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
    log.clear();
    auto from = std::make_unique<BinaryKRGrammarTransformer>(&target);
    send(*from, whole.substr(0, cut));
    BinaryKRGrammarTransformer to(std::move(*from));
    from.reset();
    send(to, whole.substr(cut));
    EXPECT_EQ(log.size(), whole.size());
    EXPECT_EQ(Internals::getBlackboard(to).states.size(), 1u);
    EXPECT_THROW(send(to, 'q'), TracingException);
  }
}

TEST_F(Transformer, DocumentGoesOnInTheObjectThatWasAssignedTo) {
  Log other;
  Target otherTarget{other};
  auto from = std::make_unique<BinaryKRGrammarTransformer>(&target);
  BinaryKRGrammarTransformer to(&otherTarget);
  send(to, "DMN");
  send(*from, "DMNPnN");
  to = std::move(*from);
  from.reset();
  send(to, "QqnmQqd");
  EXPECT_EQ(other.size(), 3u);
  EXPECT_EQ(log.size(), emptyDocument.size());
}

TEST_F(Transformer, BlackboardGoesAlongWithADocument) {
  BinaryKRGrammarTransformer from(&target);
  send(from, "DMN");
  Internals::getBlackboard(from).metadataStates.push(1);
  BinaryKRGrammarTransformer constructed(std::move(from));
  EXPECT_EQ(Internals::getBlackboard(constructed).states.size(), 3u);
  EXPECT_EQ(Internals::getBlackboard(constructed).metadataStates.top(), 1u);
  BinaryKRGrammarTransformer assigned(&target);
  assigned = std::move(constructed);
  EXPECT_EQ(Internals::getBlackboard(assigned).states.size(), 3u);
  EXPECT_EQ(Internals::getBlackboard(assigned).metadataStates.top(), 1u);
}

TEST_F(Transformer, AssignmentToItselfChangesNothing) {
  send(transformer, "DMN");
  BinaryKRGrammarTransformer& same = transformer;
  transformer = std::move(same);
  send(transformer, "PnNQqnmQqd");
  EXPECT_EQ(log.size(), emptyDocument.size());
}

TEST_F(Transformer, ObjectThatWasMovedFromWaitsForADocument) {
  send(transformer, "DM");
  const BinaryKRGrammarTransformer to(std::move(transformer));
  EXPECT_THROW(send(transformer, 'M'), GrammarException);
  EXPECT_EQ(logOfDocument(emptyDocument).size(), emptyDocument.size());
}

}  // namespace
}  // namespace kr::zero::test
