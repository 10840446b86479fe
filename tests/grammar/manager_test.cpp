// The manager: which processor serves which rule, what is kept for later, how failures read.
#include <gtest/gtest.h>

#include <algorithm>

#include "grammar/GrammarTesting.h"
#include "modeling/sylvan/grammar/RuleSet.h"

namespace kr::zero::test {
namespace {

using namespace modeling::sylvan::grammar;

struct Board {
  std::string log;
};

/// Shows what is on the stacks.
class OpenManager : public ProcessorManager<Board> {
 public:
  using ProcessorManager<Board>::ProcessorManager;
  using ProcessorStack::Code;
  using ProcessorStack::getCodes;
  using ProcessorStack::getProcessors;
  using ProcessorStack::getRepetitionCount;
  using ProcessorStack::getSequenceCount;

  std::vector<int> codes() const {
    std::vector<int> numbers;
    for (Code code : getCodes()) numbers.push_back(static_cast<int>(code));
    return numbers;
  }
  std::vector<std::string> names() const {
    std::vector<std::string> all;
    for (const Processor* processor : getProcessors()) all.push_back(processor->name());
    return all;
  }
};

using Codes = std::vector<int>;

class Manager : public testing::Test {
 protected:
  const Rule& terminal(char letter) { return g.terminal(codeOf(letter)); }
  const Rule& block(char start, const Rule& content, char end) {
    return g.sequence({terminal(start), content, terminal(end)});
  }

  /// value = P | Q value* q, as "value".
  const Rule& defineValue() {
    g.define("value", g.choice({terminal('P'), block('Q', g.repetition(g.alias("value")), 'q')}));
    g.finish();
    return g.get("value");
  }

  Grammar<Board> g;
  Board board;
};

// ---- selection

TEST_F(Manager, EmptyIsPushedWithCode0) {
  const Rule& rule = g.empty();
  g.finish();
  const OpenManager manager(rule, board);
  EXPECT_EQ(manager.codes(), Codes{0});
  EXPECT_EQ(manager.names(), std::vector<std::string>{"Empty"});
}

TEST_F(Manager, TerminalIsPushedWithCode1) {
  const Rule& rule = terminal('P');
  g.finish();
  const OpenManager manager(rule, board);
  EXPECT_EQ(manager.codes(), Codes{1});
  EXPECT_EQ(manager.names(), std::vector<std::string>{"Terminal"});
}

TEST_F(Manager, ChoiceIsPushedWithCode3) {
  const Rule& rule = g.choice({terminal('P')});
  g.finish();
  const OpenManager manager(rule, board);
  EXPECT_EQ(manager.codes(), Codes{3});
  EXPECT_EQ(manager.names(), std::vector<std::string>{"Choice"});
}

TEST_F(Manager, OptionalIsPushedWithCode4) {
  const Rule& rule = g.optional(terminal('P'));
  g.finish();
  const OpenManager manager(rule, board);
  EXPECT_EQ(manager.codes(), Codes{4});
  EXPECT_EQ(manager.names(), std::vector<std::string>{"Optional"});
}

TEST_F(Manager, RepetitionIsPushedWithCode5) {
  const Rule& rule = g.repetition(terminal('P'));
  g.finish();
  const OpenManager manager(rule, board);
  EXPECT_EQ(manager.codes(), Codes{5});
  EXPECT_EQ(manager.names(), std::vector<std::string>{"Repetition"});
}

TEST_F(Manager, SequenceIsPushedWithCode6) {
  const Rule& rule = g.sequence({terminal('P')});
  g.finish();
  const OpenManager manager(rule, board);
  EXPECT_EQ(manager.codes(), Codes{6});
  EXPECT_EQ(manager.names(), std::vector<std::string>{"Sequence"});
}

TEST_F(Manager, ActionIsPushedWithCode2) {
  const Rule& rule = g.action(
      terminal('P'), [](Board&) {}, [](Board&) {});
  g.finish();
  const OpenManager manager(rule, board);
  EXPECT_EQ(manager.codes(), Codes{2});
  EXPECT_EQ(manager.names(), std::vector<std::string>{"Action"});
}

TEST_F(Manager, AliasIsServedAsTheRuleItStandsFor) {
  g.define("a", terminal('P'));
  g.define("b", g.alias("a"));
  const Rule& rule = g.alias("b");
  g.finish();
  OpenManager manager(rule, board);
  EXPECT_EQ(manager.codes(), Codes{1});
  EXPECT_EQ(feed(manager, "P"), 1u);
}

TEST_F(Manager, RuleOfAnUnknownKindSelectsNothing) {
  const Rule strange(static_cast<RuleKind>(9), {});
  OpenManager manager(strange, board);
  EXPECT_EQ(manager.codes(), Codes{});
  EXPECT_EQ(failureOf(manager, "P"), "No processor\nexpected nothing, found WritePrimitive");
}

TEST_F(Manager, RuleOfAnUnknownKindLeavesTheEventToTheRuleAround) {
  const Rule strange(static_cast<RuleKind>(9), {&terminal('S')});
  const Rule& rule = g.sequence({strange, terminal('P'), g.repetition(strange), terminal('S')});
  g.finish();
  OpenManager manager(rule, board);
  EXPECT_EQ(feed(manager, "PS"), 2u);
  EXPECT_EQ(manager.codes(), (Codes{6, 1}));
}

/// Can be given a rule of a kind that does not exist.
class StrangeGrammar : public Grammar<Board> {
 public:
  const Rule& strange(const Rule& subRule) {
    return add(std::make_unique<Rule>(static_cast<RuleKind>(9), std::vector<const Rule*>{&subRule}));
  }
};

TEST_F(Manager, RepetitionOfARuleOfAnUnknownKindEnds) {
  StrangeGrammar strange;
  const Rule& inner = strange.strange(strange.terminal(codeOf('P')));
  const Rule& wrapped = strange.sequence({inner});
  const Rule& rule = strange.sequence({strange.repetition(inner), strange.repetition(wrapped),
                                       strange.terminal(codeOf('P')), strange.terminal(codeOf('S'))});
  strange.finish();
  OpenManager manager(rule, board);
  EXPECT_EQ(feed(manager, "PS"), 2u);
}

TEST_F(Manager, EventGoesThroughAllRulesThatItBegins) {
  OpenManager manager(defineValue(), board);
  manager.process(codeOf('Q'));
  EXPECT_EQ(manager.codes(), (Codes{3, 6, 1}));
  manager.process(codeOf('Q'));
  EXPECT_EQ(manager.codes(), (Codes{3, 6, 5, 3, 6, 1}));
}

TEST_F(Manager, SingleProcessorsAreTheSameObjectOnEachLevel) {
  OpenManager manager(defineValue(), board);
  feed(manager, "QQ");
  EXPECT_EQ(manager.getProcessors()[0], manager.getProcessors()[3]);
  EXPECT_NE(manager.getProcessors()[1], manager.getProcessors()[4]);
}

// ---- rules and events

TEST_F(Manager, EmptyTakesNoEvent) {
  const Rule& rule = g.sequence({g.empty(), terminal('P'), g.empty()});
  g.finish();
  OpenManager manager(rule, board);
  EXPECT_EQ(feed(manager, "PP"), 1u);
}

TEST_F(Manager, TerminalTakesOneEventOfItsKind) {
  const Rule& rule = terminal('P');
  g.finish();
  EXPECT_EQ(feed(*std::make_unique<OpenManager>(rule, board), "PP"), 1u);
  EXPECT_EQ(feed(*std::make_unique<OpenManager>(rule, board), "S"), 0u);
}

TEST_F(Manager, ChoiceTakesOneOfItsAlternatives) {
  const Rule& rule = g.choice({terminal('P'), block('S', g.empty(), 's')});
  g.finish();
  EXPECT_EQ(feed(*std::make_unique<OpenManager>(rule, board), "PS"), 1u);
  EXPECT_EQ(feed(*std::make_unique<OpenManager>(rule, board), "SsP"), 2u);
  EXPECT_EQ(feed(*std::make_unique<OpenManager>(rule, board), "N"), 0u);
}

TEST_F(Manager, OptionalTakesItsSubRuleOnceOrNot) {
  const Rule& rule = g.sequence({g.optional(terminal('P')), terminal('S')});
  g.finish();
  EXPECT_EQ(feed(*std::make_unique<OpenManager>(rule, board), "PS"), 2u);
  EXPECT_EQ(feed(*std::make_unique<OpenManager>(rule, board), "S"), 1u);
  EXPECT_EQ(feed(*std::make_unique<OpenManager>(rule, board), "PPS"), 1u);
}

TEST_F(Manager, OptionalThatNestsInItselfEndsOnEachLevel) {
  g.define("a", g.sequence({terminal('S'), g.optional(g.alias("a")), terminal('s')}));
  g.finish();
  EXPECT_EQ(feed(*std::make_unique<OpenManager>(g.get("a"), board), "SSSsss"), 6u);
  EXPECT_EQ(feed(*std::make_unique<OpenManager>(g.get("a"), board), "SSsSss"), 3u);
}

TEST_F(Manager, RepetitionTakesItsSubRuleAnyNumberOfTimes) {
  const Rule& rule = block('Q', g.repetition(terminal('P')), 'q');
  g.finish();
  EXPECT_EQ(feed(*std::make_unique<OpenManager>(rule, board), "Qq"), 2u);
  EXPECT_EQ(feed(*std::make_unique<OpenManager>(rule, board), "QPPPPq"), 6u);
  EXPECT_EQ(feed(*std::make_unique<OpenManager>(rule, board), "QPSq"), 2u);
}

TEST_F(Manager, ExhaustedSequenceWithOneBelowItGivesWay) {
  const Rule& rule = g.sequence({g.sequence({terminal('P')}), g.sequence({}), terminal('S')});
  g.finish();
  EXPECT_EQ(feed(*std::make_unique<OpenManager>(rule, board), "PS"), 2u);
}

TEST_F(Manager, ExhaustedSequenceAtTheBottomThrowsItsMessage) {
  const Rule& rule = g.sequence({terminal('P')});
  g.finish();
  OpenManager manager(rule, board);
  EXPECT_EQ(failureOf(manager, "PS"), "Sequence\nSequenceProcessor sub rule index out range");
}

TEST_F(Manager, WhatFollowsTheStartRuleIsRefused) {
  const Rule& rule = g.choice({terminal('P')});
  g.finish();
  OpenManager manager(rule, board);
  EXPECT_EQ(failureOf(manager, "PS"), "Choice\nexpected nothing, found StartStruct");
  EXPECT_EQ(failureOf(manager, "P"), "Choice\nexpected nothing, found WritePrimitive");
  EXPECT_THROW(manager.process(codeOf('P')), TracingException);
}

TEST_F(Manager, WhatTheStartRuleWouldHaveTakenIsNamedWhenItGivesWay) {
  const Rule& optional = g.optional(terminal('P'));
  const Rule& repetition = g.repetition(terminal('Q'));
  g.finish();
  OpenManager first(optional, board);
  EXPECT_EQ(failureOf(first, "S"), "Optional\nexpected WritePrimitive, found StartStruct");
  OpenManager second(repetition, board);
  EXPECT_EQ(failureOf(second, "QS"), "Repetition\nexpected StartSequence, found StartStruct");
}

// ---- actions

TEST_F(Manager, ActsRunBeforeTheFirstEventAndAtTheEventAfterTheLast) {
  const Rule& inner = g.action(
      terminal('P'), [](Board& b) { b.log += "("; }, [](Board& b) { b.log += ")"; });
  const Rule& outer = g.action(
      block('S', inner, 's'), [](Board& b) { b.log += "["; }, [](Board& b) { b.log += "]"; });
  const Rule& rule = g.sequence({outer, terminal('d')});
  g.finish();
  OpenManager manager(rule, board);
  std::vector<std::string> seen;
  for (char event : std::string("SPsd")) {
    manager.process(codeOf(event));
    seen.push_back(board.log);
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"[", "[(", "[()", "[()]"}));
}

TEST_F(Manager, ActsGoToTheBlackboardThatWasSetLast) {
  const Rule& rule =
      g.sequence({g.action(
                      terminal('P'), [](Board& b) { b.log += "("; }, [](Board& b) { b.log += ")"; }),
                  terminal('d')});
  g.finish();
  OpenManager manager(rule, board);
  manager.process(codeOf('P'));
  Board other;
  manager.setBlackboard(other);
  manager.process(codeOf('d'));
  EXPECT_EQ(board.log, "(");
  EXPECT_EQ(other.log, ")");
}

TEST_F(Manager, FailureOfAnActIsTraced) {
  const Rule& rule = g.sequence({g.action(
      terminal('P'), [](Board&) { throw std::runtime_error("no"); }, [](Board&) {})});
  g.finish();
  OpenManager manager(rule, board);
  EXPECT_EQ(failureOf(manager, "P"), "Sequence\nAction\nno");
}

TEST_F(Manager, FailureOfAnActThatIsNoStandardExceptionPassesUnchanged) {
  const Rule& rule = g.sequence({g.action(
      terminal('P'), [](Board&) { throw 42; }, [](Board&) {})});
  g.finish();
  OpenManager manager(rule, board);
  EXPECT_THROW(manager.process(codeOf('P')), int);
}

TEST_F(Manager, EventsAfterAFailedActDoNoHarm) {
  const Rule& inner = g.action(
      terminal('P'), [](Board&) { throw 42; }, [](Board&) { throw 43; });
  const Rule& rule = g.sequence({g.action(
      g.sequence({inner, terminal('S')}), [](Board&) {}, [](Board&) { throw 44; })});
  g.finish();
  OpenManager manager(rule, board);
  for (int i = 0; i < 5; ++i)
    for (char event : eventLetters) {
      try {
        manager.process(codeOf(event));
      } catch (int number) {
        EXPECT_EQ(number, 42);
      } catch (const GrammarException&) {
        ADD_FAILURE() << "the act is tried again";
      }
    }
}

// ---- traces

TEST_F(Manager, FailureNamesTheProcessorsFromTheOutermostOn) {
  OpenManager manager(defineValue(), board);
  EXPECT_EQ(failureOf(manager, "QQPS"),
            "Choice\nSequence\nRepetition\nChoice\nSequence\nTerminal\n"
            "expected StartSequence, EndSequence or WritePrimitive, found StartStruct");
}

TEST_F(Manager, FailureOfTheOnlyProcessorHasItsNameOnce) {
  const Rule& rule = terminal('P');
  g.finish();
  OpenManager manager(rule, board);
  EXPECT_EQ(failureOf(manager, "S"), "Terminal\nexpected WritePrimitive, found StartStruct");
}

TEST_F(Manager, FailureNamesWhatARepetitionAndAnOptionalBeforeItWouldHaveTaken) {
  const Rule& rule = g.sequence({g.repetition(terminal('P')), g.optional(terminal('S')), terminal('Q')});
  g.finish();
  OpenManager manager(rule, board);
  EXPECT_EQ(
      failureOf(manager, "PN"),
      "Sequence\nTerminal\nexpected StartStruct, StartSequence or WritePrimitive, found StartNamedEntry");
}

TEST_F(Manager, WhatAnEarlierEventPassedOverIsNotNamed) {
  const Rule& rule = g.sequence({g.optional(terminal('S')), terminal('Q'), terminal('P')});
  g.finish();
  OpenManager manager(rule, board);
  EXPECT_EQ(failureOf(manager, "QN"), "Sequence\nTerminal\nexpected WritePrimitive, found StartNamedEntry");
}

TEST_F(Manager, DeepTraceNamesEveryProcessor) {
  OpenManager manager(defineValue(), board);
  for (int i = 0; i < 1000; ++i) manager.process(codeOf('Q'));
  const std::vector<std::string> lines = splitLines(failureOf(manager, "S"));
  // Choice and sequence of each level, a repetition between two: 3 * 1000 - 1; the repetition of the
  // innermost has ended.
  ASSERT_EQ(lines.size(), 2999u + 2);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "Choice"), 1000);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "Sequence"), 1000);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "Repetition"), 999);
  EXPECT_EQ(lines[2999], "Terminal");
  EXPECT_EQ(lines[3000], "expected StartSequence, EndSequence or WritePrimitive, found StartStruct");
}

TEST_F(Manager, TraceCountsOnlyTheNamesThatWouldPass256KiB) {
  OpenManager manager(defineValue(), board);
  for (int i = 0; i < 20000; ++i) manager.process(codeOf('Q'));
  const std::string failure = failureOf(manager, "S");
  EXPECT_LT(failure.size(), (256u << 10) + 200);
  EXPECT_GT(failure.size(), (256u << 10) - 200);
  std::vector<std::string> lines = splitLines(failure);
  const auto isCount = [](const std::string& line) { return line.starts_with('('); };
  const auto count = std::find_if(lines.begin(), lines.end(), isCount);
  ASSERT_NE(count, lines.end());
  const std::size_t named = lines.size() - 3;  // but for the count, the failing one and the message
  EXPECT_EQ(*count, "(" + std::to_string(59999 - named) + " more)");
  EXPECT_EQ(lines.front(), "Choice");
  EXPECT_EQ(lines[lines.size() - 3], "Sequence");
  EXPECT_EQ(lines[lines.size() - 2], "Terminal");
}

// ---- pools

TEST(ProcessorPools, GiveTheOneThatWasReleasedLast) {
  ProcessorPool<SequenceProcessor> pool;
  SequenceProcessor& a = pool.take();
  SequenceProcessor& b = pool.take();
  SequenceProcessor& c = pool.take();
  pool.release(c);
  pool.release(a);
  pool.release(b);
  EXPECT_EQ(&pool.take(), &b);
  EXPECT_EQ(&pool.take(), &a);
  EXPECT_EQ(&pool.take(), &c);
  EXPECT_EQ(pool.getCount(), 3u);
}

TEST(ProcessorPools, MakeOneOnlyWhenNoneIsLeft) {
  ProcessorPool<SequenceProcessor> pool;
  SequenceProcessor& a = pool.take();
  pool.release(a);
  EXPECT_EQ(&pool.take(), &a);
  EXPECT_EQ(pool.getCount(), 1u);
  EXPECT_NE(&pool.take(), &a);
  EXPECT_EQ(pool.getCount(), 2u);
}

/// Counts those that live.
struct Counted {
  Counted() { ++alive; }
  ~Counted() { --alive; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  static inline int alive = 0;
};

TEST(ProcessorPools, KeepAllThatTheyMadeUntilTheyGo) {
  {
    ProcessorPool<Counted> pool;
    std::vector<Counted*> taken;
    for (int i = 0; i < 100; ++i) taken.push_back(&pool.take());
    for (int i = 0; i < 50; ++i) pool.release(*taken[static_cast<std::size_t>(i)]);
    EXPECT_EQ(Counted::alive, 100);
  }
  EXPECT_EQ(Counted::alive, 0);
}

TEST_F(Manager, ProcessorsAreUsedAgain) {
  OpenManager manager(defineValue(), board);
  feed(manager, "QQqQ");
  const std::size_t repetitions = manager.getRepetitionCount();
  const std::size_t sequences = manager.getSequenceCount();
  EXPECT_EQ(repetitions, 2u);
  EXPECT_EQ(sequences, 2u);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(feed(manager, "PPqQ"), 4u);
  EXPECT_EQ(manager.getRepetitionCount(), repetitions);
  EXPECT_EQ(manager.getSequenceCount(), sequences);
}

TEST_F(Manager, NextSequenceIsServedByTheProcessorReleasedLast) {
  OpenManager manager(defineValue(), board);
  feed(manager, "QQQ");
  const auto serving = [&](std::size_t level) { return manager.getProcessors()[3 * level + 1]; };
  const Processor* const second = serving(1);
  const Processor* const third = serving(2);
  feed(manager, "qqQ");  // both have left, the second level's last
  EXPECT_EQ(serving(1), second);
  feed(manager, "Q");
  EXPECT_EQ(serving(2), third);
}

TEST_F(Manager, ProcessorTakenAgainBeginsAfresh) {
  OpenManager manager(defineValue(), board);
  feed(manager, "QQPq");
  EXPECT_EQ(feed(manager, "QPQqPqq"), 7u);
}

}  // namespace
}  // namespace kr::zero::test
