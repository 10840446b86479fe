// The grammar of a model's document: what it takes, where it says stop, what it writes on the blackboard.
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <stdexcept>

#include "grammar/GrammarTesting.h"
#include "support/Environment.h"
#include "support/SmallStack.h"

namespace kr::zero::test {
namespace {

using io::grammar::KRGrammar;
using State = KRGrammar::State;

/// A manager with the blackboard that it writes on.
struct Checker {
  explicit Checker(const std::string& rule = "document")
      : manager(KRGrammar::getInstance().getProcessor(rule, blackboard)) {}

  std::size_t feed(std::string_view events) { return test::feed(*manager, events); }
  /// After the events, innermost first.
  std::vector<std::uint32_t> states(std::string_view events) {
    EXPECT_EQ(feed(events), events.size());
    std::vector<std::uint32_t> all;
    for (KRGrammar::Blackboard::Stack copy = blackboard.states; !copy.empty(); copy.pop())
      all.push_back(copy.top());
    return all;
  }

  KRGrammar::Blackboard blackboard;
  std::unique_ptr<KRGrammar::Manager> manager;
};

bool accepts(std::string_view events) { return Checker().feed(events) == events.size(); }

std::string document(std::string_view objects) {
  return std::string(beforeObjects).append(objects).append(afterObjects);
}
/// A document with one object with one property.
std::string documentOfValue(std::string_view value) {
  return document(std::string("MNPnmSN").append(value).append("ns"));
}

TEST(DocumentGrammar, IsOneForAll) { EXPECT_EQ(&KRGrammar::getInstance(), &KRGrammar::getInstance()); }

TEST(DocumentGrammar, UnknownRuleIsOutOfRange) {
  KRGrammar::Blackboard blackboard;
  EXPECT_THROW(KRGrammar::getInstance().getProcessor("nothing", blackboard), std::out_of_range);
}

TEST(DocumentGrammar, TakesADocumentWithoutObjects) { EXPECT_TRUE(accepts(emptyDocument)); }
TEST(DocumentGrammar, TakesObjectsWithAndWithoutIdentity) {
  EXPECT_TRUE(accepts(document("MNPnmSs")));
  EXPECT_TRUE(accepts(document("MNPnNQPPqnmSs")));
  EXPECT_TRUE(accepts(document("MNPnmSsMNPnNQPPqnmSsMNPnmSs")));
}
TEST(DocumentGrammar, TakesEachKindOfValue) {
  EXPECT_TRUE(accepts(documentOfValue("P")));
  EXPECT_TRUE(accepts(documentOfValue("Qq")));
  EXPECT_TRUE(accepts(documentOfValue("QPPPq")));
  EXPECT_TRUE(accepts(documentOfValue("SNPnNPns")));
  EXPECT_TRUE(accepts(documentOfValue("MNPnmSNPns")));
  EXPECT_TRUE(accepts(documentOfValue("QMNPnmSsMNPnmSsq")));
  EXPECT_TRUE(accepts(documentOfValue("SNPnNQPPqns")));
  EXPECT_TRUE(accepts(documentOfValue("QSNPnNQPPqnNPnsSNPnNQPPqnsq")));
  EXPECT_TRUE(accepts(makeRichDocument()));
}
TEST(DocumentGrammar, AnEntryHasExactlyOneValue) {
  EXPECT_FALSE(accepts(documentOfValue("")));
  EXPECT_FALSE(accepts(documentOfValue("PP")));
}
TEST(DocumentGrammar, AnObjectIsMetadataAndThenAStruct) {
  EXPECT_FALSE(accepts(document("Ss")));
  EXPECT_FALSE(accepts(document("MNPnm")));
  EXPECT_FALSE(accepts(document("MNPnmP")));
}
TEST(DocumentGrammar, AnIdentityIsTwoPrimitives) {
  EXPECT_FALSE(accepts(document("MNPnNQPqnmSs")));
  EXPECT_FALSE(accepts(document("MNPnNQPPPqnmSs")));
  EXPECT_FALSE(accepts(document("MNPnNPnmSs")));
}
TEST(DocumentGrammar, ObjectsAreTheOnlyItemsOfADocument) {
  EXPECT_FALSE(accepts(document("P")));
  EXPECT_FALSE(accepts("DMNPnNQqnmMNPnmSsd"));
}
TEST(DocumentGrammar, EveryDocumentHasAHeading) {
  EXPECT_FALSE(accepts("DQqd"));
  EXPECT_FALSE(accepts("DMmQqd"));
  EXPECT_FALSE(accepts("DMNPnmQqd"));
}

TEST(DocumentGrammar, EventAfterTheEndIsRefusedByTheSequenceAroundTheDocument) {
  for (char event : eventLetters) {
    Checker checker;
    ASSERT_EQ(checker.feed(emptyDocument), emptyDocument.size());
    EXPECT_EQ(failureOf(*checker.manager, std::string_view(&event, 1)),
              "Sequence\nSequenceProcessor sub rule index out range");
  }
}

TEST(DocumentGrammar, FailureReadsFromTheOutsideIn) {
  Checker checker;
  EXPECT_EQ(failureOf(*checker.manager, "DMNPnNQqnmQP"),
            "Sequence\nAction\nSequence\nSequence\nAction\nSequence\nTerminal\n"
            "expected EndSequence or StartMetadata, found WritePrimitive");
}

TEST(DocumentGrammar, PrimitiveInAStructIsRefusedWithWhatAStructTakes) {
  Checker checker("struct");
  EXPECT_EQ(splitLines(failureOf(*checker.manager, "SP")).back(),
            "expected EndStruct or StartNamedEntry, found WritePrimitive");
}

TEST(DocumentGrammar, ValuesCanBeCheckedAlone) {
  EXPECT_EQ(Checker("value").feed("QPSNPnsMNPnmSsqP"), 15u);
  EXPECT_EQ(Checker("object").feed("MNPnmSss"), 7u);
}

// ---- the blackboard

TEST(Blackboard, StartsWithNoStateAndMetadataForwarded) {
  KRGrammar::Blackboard blackboard;
  EXPECT_TRUE(blackboard.states.empty());
  ASSERT_EQ(blackboard.metadataStates.size(), 1u);
  EXPECT_EQ(blackboard.metadataStates.top(), 2u);
}

TEST(Blackboard, ResetMakesItAsNew) {
  KRGrammar::Blackboard blackboard;
  blackboard.states.push(3);
  blackboard.metadataStates.push(0);
  blackboard.reset();
  EXPECT_TRUE(blackboard.states.empty());
  ASSERT_EQ(blackboard.metadataStates.size(), 1u);
  EXPECT_EQ(blackboard.metadataStates.top(), 2u);
}

TEST(Blackboard, MoveTakesTheStacksAlong) {
  KRGrammar::Blackboard from;
  from.states.push(3);
  from.metadataStates.push(1);
  KRGrammar::Blackboard to(std::move(from));
  EXPECT_EQ(to.states.top(), 3u);
  EXPECT_EQ(to.metadataStates.top(), 1u);
  from.reset();
  EXPECT_EQ(from.metadataStates.top(), 2u);
  from = std::move(to);
  EXPECT_EQ(from.states.top(), 3u);
}

TEST(Blackboard, StatesFollowTheConstructs) {
  using List = std::vector<std::uint32_t>;
  EXPECT_EQ(Checker().states("D"), (List{State::document}));
  EXPECT_EQ(Checker().states("DM"), (List{State::metadata, State::document}));
  EXPECT_EQ(Checker().states("DMN"), (List{State::namedEntry, State::metadata, State::document}));
  EXPECT_EQ(Checker().states(beforeObjects), (List{State::sequence, State::document}));
  const std::string inStruct = std::string(beforeObjects) + "MNPnmS";
  EXPECT_EQ(Checker().states(inStruct), (List{State::structure, State::sequence, State::document}));
  EXPECT_EQ(Checker().states(inStruct + "NP"),
            (List{State::namedEntry, State::structure, State::sequence, State::document}));
}

TEST(Blackboard, StatesHaveTheirNumbers) {
  EXPECT_EQ(State::document, 0u);
  EXPECT_EQ(State::metadata, 1u);
  EXPECT_EQ(State::sequence, 2u);
  EXPECT_EQ(State::structure, 3u);
  EXPECT_EQ(State::namedEntry, 4u);
}

TEST(Blackboard, StructThatHasEndedIsNotTheStateOfThePrimitiveAfterIt) {
  Checker checker("value");
  ASSERT_EQ(checker.feed("QSsP"), 4u);
  EXPECT_EQ(checker.blackboard.states.top(), State::sequence);
}

TEST(Blackboard, StatesAreLeftWhenTheDocumentHasEnded) {
  Checker checker;
  ASSERT_EQ(checker.feed(makeRichDocument()), makeRichDocument().size());
  EXPECT_EQ(checker.blackboard.states.size(), 1u);
  EXPECT_THROW(checker.manager->process(SylvanEventCode::startDocument), GrammarException);
  EXPECT_TRUE(checker.blackboard.states.empty());
}

TEST(Blackboard, MetadataStatesAreLeftAlone) {
  Checker checker;
  for (char event : makeRichDocument()) {
    checker.manager->process(codeOf(event));
    ASSERT_EQ(checker.blackboard.metadataStates.size(), 1u);
    ASSERT_EQ(checker.blackboard.metadataStates.top(), 2u);
  }
}

TEST(Blackboard, ResetInTheMiddleDoesNoHarm) {
  Checker checker;
  const std::string events = makeRichDocument();
  for (char event : events) {
    checker.blackboard.reset();
    EXPECT_NO_THROW(checker.manager->process(codeOf(event)));
  }
}

// ---- against a second recogniser

/// A machine with a stack: on `event` in state `from`, the top becomes `to` and then `push` goes on it.
/// `to` 0 takes the top away, `push` 0 pushes nothing.
struct Step {
  char from, event, to, push;
};

constexpr Step steps[] = {
    // Document: a before, b heading next, c objects next, d end next, e after.
    {'a', 'D', 'b', 0},
    {'b', 'M', 'c', 'f'},
    {'c', 'Q', 'd', 'o'},
    {'d', 'd', 'e', 0},
    // Heading: f version next, g packages next, h end next.
    {'f', 'N', 'g', 'p'},
    {'g', 'N', 'h', 'i'},
    {'h', 'm', 0, 0},
    // In an entry: p a primitive next, q end next, i a sequence of primitives next, j in that.
    {'p', 'P', 'q', 0},
    {'q', 'n', 0, 0},
    {'i', 'Q', 'j', 0},
    {'j', 'P', 'j', 0},
    {'j', 'q', 'q', 0},
    // Objects: o in the list; k type next, l identity or end, m end, r struct next.
    {'o', 'M', 'o', 'k'},
    {'o', 'q', 0, 0},
    {'k', 'N', 'l', 'p'},
    {'l', 'N', 'm', 't'},
    {'l', 'm', 'r', 0},
    {'m', 'm', 'r', 0},
    {'r', 'S', 's', 0},
    // Identity: t list next, u first, v second, w end.
    {'t', 'Q', 'u', 0},
    {'u', 'P', 'v', 0},
    {'v', 'P', 'w', 0},
    {'w', 'q', 'q', 0},
    // Struct: s in it. Its entries: x value next. Lists of values: y.
    {'s', 'N', 's', 'x'},
    {'s', 's', 0, 0},
    {'x', 'P', 'q', 0},
    {'x', 'Q', 'q', 'y'},
    {'x', 'S', 'q', 's'},
    {'x', 'M', 'q', 'k'},
    {'y', 'P', 'y', 0},
    {'y', 'Q', 'y', 'y'},
    {'y', 'S', 'y', 's'},
    {'y', 'M', 'y', 'k'},
    {'y', 'q', 0, 0},
};

class Machine {
 public:
  bool take(char event) {
    for (const Step& step : steps) {
      if (stack_.empty() || step.from != stack_.back() || step.event != event) continue;
      stack_.pop_back();
      if (step.to) stack_ += step.to;
      if (step.push) stack_ += step.push;
      return true;
    }
    return false;
  }

  std::size_t feed(std::string_view events) {
    std::size_t i = 0;
    while (i < events.size() && take(events[i])) ++i;
    return i;
  }

  bool hasEnded() const { return stack_ == "e"; }

 private:
  std::string stack_ = "a";
};

/// Compares the two on `prefix` and each continuation of `length` events; returns the number of
/// continuations of which at least one event was taken.
std::size_t compareContinuations(const std::string& prefix, std::size_t length) {
  std::size_t total = 1;
  for (std::size_t i = 0; i < length; ++i) total *= eventLetters.size();
  std::size_t taken = 0;
  for (std::size_t number = 0; number < total; ++number) {
    std::string events = prefix;
    for (std::size_t rest = number, i = 0; i < length; ++i, rest /= eventLetters.size())
      events += eventLetters[rest % eventLetters.size()];
    const std::size_t expected = Machine().feed(events);
    const std::size_t found = Checker().feed(events);
    if (found != expected) {
      ADD_FAILURE() << events << ": stopped at " << found << ", should at " << expected;
      return taken;
    }
    if (found > prefix.size()) ++taken;
  }
  return taken;
}

/// One event fewer is eleven times as quick: with a sanitizer all of them take minutes.
constexpr std::size_t fewer = underAddressSanitizer() ? 1 : 0;

TEST(DocumentGrammar, AgreesWithTheTableOnAllSequencesOfFiveEvents) {
  // One in eleven begins with StartDocument.
  EXPECT_EQ(compareContinuations("", 5 - fewer), 11u * 11 * 11 * (fewer == 0 ? 11 : 1));
}

TEST(DocumentGrammar, AgreesWithTheTableOnAllContinuationsOfThreeEventsAnywhereInADocument) {
  const std::string events = document(richObject);
  for (std::size_t i = 0; i <= events.size(); ++i) {
    const std::string prefix = events.substr(0, i);
    const std::size_t taken = compareContinuations(prefix, 3 - fewer);
    EXPECT_EQ(taken == 0, i == events.size()) << prefix;
    if (HasFailure()) return;
  }
}

TEST(DocumentGrammar, AgreesWithTheTableOnRandomWalks) {
  std::mt19937 random(20240607);
  const auto below = [&](std::size_t n) { return static_cast<std::size_t>(random()) % n; };
  std::size_t longest = 0;
  for (int walk = 0; walk < 3000; ++walk) {
    Machine machine;
    Checker checker;
    for (std::size_t i = 0; i < 400; ++i) {
      // Mostly an event that fits, so that walks become long; now and then any at all.
      char event = eventLetters[below(11)];
      if (below(100) != 0)
        for (Machine next = machine; !next.take(event) && !machine.hasEnded();)
          event = eventLetters[below(11)];
      const bool expected = machine.take(event);
      ASSERT_EQ(checker.feed(std::string_view(&event, 1)) == 1, expected) << walk << " at " << i;
      if (!expected) break;
      longest = std::max(longest, i);
    }
  }
  EXPECT_GT(longest, 200u);
}

// ---- depth

constexpr int kDepth = 1000000;

TEST(DocumentGrammar, AMillionNestedValuesNeedLittleStack) {
  onSmallStack([] {
    Checker checker;
    ASSERT_EQ(checker.feed(std::string(beforeObjects) + "MNPnmSN"), beforeObjects.size() + 7);
    for (int i = 0; i < kDepth; ++i) checker.manager->process(SylvanEventCode::startSequence);
    EXPECT_EQ(checker.blackboard.states.size(), static_cast<std::size_t>(kDepth) + 4);
    for (int i = 0; i < kDepth; ++i) checker.manager->process(SylvanEventCode::endSequence);
    EXPECT_EQ(checker.feed("nsqd"), 4u);
  });
}

TEST(DocumentGrammar, AManagerThatIsDeepInsideGoesWithLittleStack) {
  onSmallStack([] {
    Checker checker("value");
    for (int i = 0; i < kDepth / 2; ++i) {
      checker.manager->process(SylvanEventCode::startStruct);
      checker.manager->process(SylvanEventCode::startNamedEntry);
    }
    checker.manager.reset();
  });
}

TEST(DocumentGrammar, FailureAMillionLevelsInsideHasABoundedText) {
  onSmallStack([] {
    Checker checker("value");
    for (int i = 0; i < kDepth; ++i) checker.manager->process(SylvanEventCode::startSequence);
    const std::string failure = failureOf(*checker.manager, "s");
    EXPECT_LT(failure.size(), (256u << 10) + 1000);
    EXPECT_NE(failure.find(" more)\n"), std::string::npos);
    EXPECT_EQ(splitLines(failure).back(),
              "expected StartStruct, StartSequence, EndSequence, StartMetadata or WritePrimitive, "
              "found EndStruct");
  });
}

}  // namespace
}  // namespace kr::zero::test
