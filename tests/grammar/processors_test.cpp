// Processors alone: what they answer, and how failures leave them.
#include <gtest/gtest.h>

#include <exception>
#include <functional>
#include <stdexcept>

#include "grammar/GrammarTesting.h"
#include "modeling/sylvan/grammar/RuleSet.h"

namespace kr::zero::test {
namespace {

using namespace modeling::sylvan::grammar;

struct ProcessorsBoard {
  std::string log;
};

/// What a call fails with; empty for no failure.
std::string failureText(const std::function<void()>& call) {
  try {
    call();
  } catch (const TracingException& e) {
    return e.what();
  }
  return {};
}

class Processors : public testing::Test {
 protected:
  Grammar<ProcessorsBoard> g;
  const Rule& primitive = g.terminal(SylvanEventCode::writePrimitive);
  const Rule& structStart = g.terminal(SylvanEventCode::startStruct);
  SylvanPrimitive value{true};
};

TEST_F(Processors, SequenceDelegatesToEachSubRuleInOrderAndThenThrows) {
  const Rule& rule = g.sequence({primitive, structStart});
  g.finish();
  SequenceProcessor processor;
  processor.init(rule);
  EXPECT_EQ(processor.startStruct(), ReturnType::delegate(primitive));
  EXPECT_EQ(processor.startStruct(), ReturnType::delegate(structStart));
  EXPECT_EQ(failureText([&] { processor.startStruct(); }),
            "Sequence\nSequenceProcessor sub rule index out range");
}

TEST_F(Processors, SequenceBeginsAgainWithInit) {
  const Rule& rule = g.sequence({primitive});
  g.finish();
  SequenceProcessor processor;
  processor.init(rule);
  processor.endStruct();
  EXPECT_TRUE(processor.isExhausted());
  processor.init(rule);
  EXPECT_FALSE(processor.isExhausted());
  EXPECT_EQ(processor.getIndex(), 0u);
  EXPECT_EQ(processor.endStruct(), ReturnType::delegate(primitive));
}

TEST_F(Processors, SequenceOfNothingThrowsAtItsFirstEvent) {
  const Rule& rule = g.sequence({});
  g.finish();
  SequenceProcessor processor;
  processor.init(rule);
  EXPECT_EQ(failureText([&] { processor.endDocument(); }),
            "Sequence\nSequenceProcessor sub rule index out range");
}

TEST_F(Processors, RepetitionDelegatesEachStartOfItsSubRuleThenFinishesThenRefuses) {
  const Rule& rule = g.repetition(structStart);
  g.finish();
  RepetitionProcessor processor;
  processor.init(rule);
  EXPECT_EQ(processor.startStruct(), ReturnType::delegate(structStart));
  EXPECT_EQ(processor.startStruct(), ReturnType::delegate(structStart));
  EXPECT_EQ(processor.getCurrentSubRule(), &structStart);
  EXPECT_EQ(processor.endStruct(), ReturnType::finish());
  EXPECT_EQ(processor.getCurrentSubRule(), nullptr);
  EXPECT_TRUE(processor.isFinished());
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(failureText([&] { processor.startStruct(); }),
              "Repetition\nRepetition processor needs to reset");
}

TEST_F(Processors, RepetitionIsUsableAgainAfterInit) {
  const Rule& rule = g.repetition(structStart);
  g.finish();
  RepetitionProcessor processor;
  processor.init(rule);
  processor.endStruct();
  processor.init(rule);
  EXPECT_FALSE(processor.isFinished());
  EXPECT_EQ(processor.startStruct(), ReturnType::delegate(structStart));
}

TEST_F(Processors, RepetitionHasNoCurrentSubRuleAfterInit) {
  const Rule& rule = g.repetition(structStart);
  g.finish();
  RepetitionProcessor processor;
  processor.init(rule);
  processor.startStruct();
  processor.init(rule);
  EXPECT_EQ(processor.getCurrentSubRule(), nullptr);
  EXPECT_EQ(&processor.getRule(), &rule);
}

TEST_F(Processors, OneProcessorServesRulesOfDifferentLengthInTurn) {
  const Rule& longer = g.sequence({primitive, structStart});
  const Rule& shorter = g.sequence({structStart});
  g.finish();
  SequenceProcessor processor;
  processor.init(longer);
  processor.endStruct();
  processor.init(shorter);
  EXPECT_EQ(processor.endStruct(), ReturnType::delegate(structStart));
  EXPECT_TRUE(processor.isExhausted());
  EXPECT_EQ(failureText([&] { processor.endStruct(); }),
            "Sequence\nSequenceProcessor sub rule index out range");
}

TEST_F(Processors, RepetitionOfWhatAcceptsNothingFinishesAtItsFirstEvent) {
  const Rule& rule = g.repetition(g.empty());
  g.finish();
  RepetitionProcessor processor;
  processor.init(rule);
  EXPECT_EQ(processor.writePrimitive(value), ReturnType::finish());
}

TEST_F(Processors, EmptyFinishesAtAnyEvent) {
  EmptyProcessor processor;
  processor.init(g.empty());
  EXPECT_EQ(processor.startDocument(value), ReturnType::finish());
  EXPECT_EQ(processor.endMetadata(), ReturnType::finish());
  EXPECT_EQ(processor.name(), "Empty");
}

TEST_F(Processors, TerminalAcceptsItsEventAndFinishesAtTheNext) {
  const EventKinds passed;
  TerminalProcessor processor(passed);
  processor.init(primitive);
  EXPECT_EQ(processor.writePrimitive(value), ReturnType::accept());
  EXPECT_EQ(processor.writePrimitive(value), ReturnType::finish());
}

TEST_F(Processors, TerminalSaysWhatItExpectedAndWhatItGot) {
  const EventKinds passed(SylvanEventCode::endStruct);
  TerminalProcessor processor(passed);
  processor.init(primitive);
  EXPECT_EQ(failureText([&] { processor.startStruct(); }),
            "Terminal\nexpected EndStruct or WritePrimitive, found StartStruct");
}

TEST_F(Processors, ChoiceDelegatesToTheAlternativeThatTheEventBegins) {
  const Rule& rule = g.choice({primitive, structStart, g.repetition(structStart)});
  g.finish();
  const EventKinds passed;
  ChoiceProcessor processor(passed);
  processor.init(rule);
  EXPECT_EQ(processor.startStruct(), ReturnType::delegate(structStart));
  EXPECT_EQ(processor.startStruct(), ReturnType::finish());
}

TEST_F(Processors, ChoiceFallsBackToTheAlternativeThatCanBeEmpty) {
  const Rule& nothing = g.empty();
  const Rule& rule = g.choice({primitive, nothing});
  g.finish();
  const EventKinds passed;
  ChoiceProcessor processor(passed);
  processor.init(rule);
  EXPECT_EQ(processor.endStruct(), ReturnType::delegate(nothing));
}

TEST_F(Processors, ChoiceWithoutFittingAlternativeSaysWhatItExpected) {
  const Rule& rule = g.choice({primitive, structStart});
  g.finish();
  const EventKinds passed;
  ChoiceProcessor processor(passed);
  processor.init(rule);
  EXPECT_EQ(failureText([&] { processor.endStruct(); }),
            "Choice\nexpected StartStruct or WritePrimitive, found EndStruct");
}

TEST_F(Processors, OptionalDelegatesAtMostOnce) {
  const Rule& rule = g.optional(primitive);
  g.finish();
  EventKinds passed;
  OptionalProcessor processor(passed);
  processor.init(rule);
  EXPECT_EQ(processor.writePrimitive(value), ReturnType::delegate(primitive));
  EXPECT_EQ(processor.writePrimitive(value), ReturnType::finish());
  EXPECT_EQ(passed, EventKinds());
}

TEST_F(Processors, OptionalFinishesAtWhatItsSubRuleDoesNotBeginWithAndRemembersWhatWouldHaveFitted) {
  const Rule& rule = g.optional(primitive);
  g.finish();
  EventKinds passed;
  OptionalProcessor processor(passed);
  processor.init(rule);
  EXPECT_EQ(processor.startStruct(), ReturnType::finish());
  EXPECT_EQ(passed, EventKinds(SylvanEventCode::writePrimitive));
  EXPECT_EQ(processor.name(), "Optional");
}

TEST_F(Processors, ActionActsBeforeAndAfterItsSubRule) {
  const Rule& rule = g.action(
      primitive, [](ProcessorsBoard& b) { b.log += "enter "; },
      [](ProcessorsBoard& b) { b.log += "leave "; });
  g.finish();
  ProcessorsBoard board;
  ActionProcessor<ProcessorsBoard> processor(board);
  processor.init(rule);
  EXPECT_EQ(board.log, "");
  EXPECT_EQ(processor.writePrimitive(value), ReturnType::delegate(primitive));
  EXPECT_EQ(board.log, "enter ");
  EXPECT_EQ(processor.endStruct(), ReturnType::finish());
  EXPECT_EQ(board.log, "enter leave ");
}

TEST_F(Processors, ActionLeavesTheRulesThatItIsInFromTheInsideOut) {
  const Rule& inner = g.action(
      primitive, [](ProcessorsBoard& b) { b.log += "("; }, [](ProcessorsBoard& b) { b.log += ")"; });
  const Rule& outer = g.action(
      inner, [](ProcessorsBoard& b) { b.log += "["; }, [](ProcessorsBoard& b) { b.log += "]"; });
  g.finish();
  ProcessorsBoard board;
  ActionProcessor<ProcessorsBoard> processor(board);
  processor.init(outer);
  EXPECT_EQ(processor.writePrimitive(value), ReturnType::delegate(inner));
  processor.init(inner);
  EXPECT_EQ(processor.writePrimitive(value), ReturnType::delegate(primitive));
  EXPECT_EQ(processor.endStruct(), ReturnType::finish());
  EXPECT_EQ(processor.endStruct(), ReturnType::finish());
  EXPECT_EQ(board.log, "[()]");
}

TEST_F(Processors, ResultKindsHaveTheirNumbers) {
  EXPECT_EQ(static_cast<int>(ReturnType::Kind::accepted), 0);
  EXPECT_EQ(static_cast<int>(ReturnType::Kind::finished), 1);
  EXPECT_EQ(static_cast<int>(ReturnType::Kind::delegated), 2);
}

/// Each hook throws what it is told to, or answers; `last` tells which hook was called.
class Thrower final : public UniformProcessor<Thrower> {
 public:
  std::function<void()> failure = [] {};
  SylvanEventCode last = SylvanEventCode::startDocument;

  void init(const Rule&) override {}
  std::string name() const override { return "Thrower"; }

 private:
  friend class UniformProcessor<Thrower>;
  ReturnType step(SylvanEventCode code) {
    last = code;
    failure();
    return ReturnType::accept();
  }
};

using Operation = std::function<void(Processor&)>;

std::vector<Operation> listOperations() {
  static const SylvanPrimitive value{true};
  return {[](Processor& p) { p.startDocument(value); },   [](Processor& p) { p.endDocument(); },
          [](Processor& p) { p.startStruct(); },          [](Processor& p) { p.endStruct(); },
          [](Processor& p) { p.startNamedEntry(value); }, [](Processor& p) { p.endNamedEntry(); },
          [](Processor& p) { p.startSequence(); },        [](Processor& p) { p.endSequence(); },
          [](Processor& p) { p.startMetadata(); },        [](Processor& p) { p.endMetadata(); },
          [](Processor& p) { p.writePrimitive(value); }};
}

TEST(Tracing, EachOperationCallsTheHookOfItsKind) {
  Thrower processor;
  const std::vector<Operation> operations = listOperations();
  for (std::size_t i = 0; i < operations.size(); ++i) {
    operations[i](processor);
    EXPECT_EQ(static_cast<std::size_t>(processor.last), i);
  }
}

TEST(Tracing, EachOperationPutsTheNameInFrontOfTheFailure) {
  Thrower processor;
  processor.failure = [] { throw std::out_of_range("inside"); };
  for (const Operation& operation : listOperations())
    EXPECT_EQ(failureText([&] { operation(processor); }), "Thrower\ninside");
}

TEST(Tracing, EachLayerPutsItsNameInFront) {
  Thrower inner;
  inner.failure = [] { throw GrammarException("wrong"); };
  Thrower outer;
  outer.failure = [&] { inner.startStruct(); };
  EXPECT_EQ(failureText([&] { outer.endStruct(); }), "Thrower\nThrower\nwrong");
}

TEST(Tracing, WhatIsNoStandardExceptionPassesUnchanged) {
  Thrower processor;
  processor.failure = [] { throw 42; };
  for (const Operation& operation : listOperations()) {
    try {
      operation(processor);
      ADD_FAILURE() << "nothing thrown";
    } catch (int number) {
      EXPECT_EQ(number, 42);
    }
  }
}

template <class Base>
std::string caughtAs() {
  try {
    throw TracingException("Name", std::runtime_error("inner"));
  } catch (const Base& e) {
    return e.what();
  }
}

TEST(Tracing, ExceptionIsCaughtByEachOfItsBases) {
  EXPECT_EQ(caughtAs<TracingException>(), "Name\ninner");
  EXPECT_EQ(caughtAs<GrammarException>(), "Name\ninner");
  EXPECT_EQ(caughtAs<std::runtime_error>(), "Name\ninner");
  EXPECT_EQ(caughtAs<std::exception>(), "Name\ninner");
}

TEST(Tracing, CopyOfAnExceptionSaysTheSame) {
  const TracingException one("Name", std::runtime_error("inner"));
  TracingException two(one);
  EXPECT_STREQ(two.what(), one.what());
  two = TracingException("Other", std::runtime_error("x"));
  EXPECT_STREQ(two.what(), "Other\nx");
  GrammarException three("a");
  three = GrammarException("b");
  EXPECT_STREQ(three.what(), "b");
}

TEST(Tracing, ProcessorsCanBeCopied) {
  Grammar<ProcessorsBoard> g;
  const Rule& primitive = g.terminal(SylvanEventCode::writePrimitive);
  const Rule& list = g.sequence({primitive, primitive});
  const Rule& many = g.repetition(primitive);
  g.finish();
  SequenceProcessor sequence;
  sequence.init(list);
  sequence.endStruct();
  SequenceProcessor sequenceCopy(sequence);
  EXPECT_EQ(sequenceCopy.getIndex(), 1u);
  RepetitionProcessor repetition;
  repetition.init(many);
  repetition.endStruct();
  RepetitionProcessor repetitionCopy;
  repetitionCopy = repetition;
  EXPECT_TRUE(repetitionCopy.isFinished());
}

}  // namespace
}  // namespace kr::zero::test
