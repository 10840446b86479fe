// What rules say of themselves, and what a set of rules refuses.
#include <gtest/gtest.h>

#include <stdexcept>

#include "modeling/sylvan/grammar/RuleSet.h"

namespace kr::zero::test {
namespace {

using modeling::sylvan::SylvanEventCode;
using modeling::sylvan::grammar::EventKinds;
using modeling::sylvan::grammar::Grammar;
using modeling::sylvan::grammar::Rule;
using modeling::sylvan::grammar::RuleKind;
using Kinds = std::unordered_set<SylvanEventCode>;

struct RulesBoard {
  int depth = 0;
};

class Rules : public testing::Test {
 protected:
  Grammar<RulesBoard> g;
  const Rule& primitive = g.terminal(SylvanEventCode::writePrimitive);
  const Rule& structStart = g.terminal(SylvanEventCode::startStruct);
  const Rule& sequenceStart = g.terminal(SylvanEventCode::startSequence);

  std::string refusalOfFinish() {
    try {
      g.finish();
    } catch (const std::logic_error& e) {
      return e.what();
    }
    return {};
  }
};

TEST_F(Rules, KindsAreNumberedFromZeroToSeven) {
  const Rule* rules[] = {&g.empty(),
                         &g.terminal(SylvanEventCode::endStruct),
                         &g.choice({primitive}),
                         &g.optional(primitive),
                         &g.repetition(primitive),
                         &g.sequence({primitive}),
                         &g.action(
                             primitive, [](RulesBoard&) {}, [](RulesBoard&) {}),
                         &g.alias("x")};
  for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(static_cast<std::size_t>(rules[i]->kind()), i);
}

TEST_F(Rules, EmptyBeginsWithNothing) {
  const Rule& rule = g.empty();
  g.finish();
  EXPECT_EQ(rule.getStartingKinds(), Kinds());
  EXPECT_TRUE(rule.canBeEmpty());
}

TEST_F(Rules, TerminalBeginsWithItsKind) {
  g.finish();
  EXPECT_EQ(primitive.getStartingKinds(), Kinds{SylvanEventCode::writePrimitive});
  EXPECT_TRUE(primitive.startsWith(SylvanEventCode::writePrimitive));
  EXPECT_FALSE(primitive.startsWith(SylvanEventCode::startStruct));
  EXPECT_FALSE(primitive.canBeEmpty());
}

TEST_F(Rules, ChoiceBeginsWithAnyOfItsAlternatives) {
  const Rule& rule = g.choice({primitive, structStart});
  g.finish();
  EXPECT_EQ(rule.getStartingKinds(), (Kinds{SylvanEventCode::writePrimitive, SylvanEventCode::startStruct}));
  EXPECT_FALSE(rule.canBeEmpty());
}

TEST_F(Rules, ChoiceCanBeEmptyIfAnAlternativeCan) {
  const Rule& rule = g.choice({primitive, g.empty()});
  g.finish();
  EXPECT_TRUE(rule.canBeEmpty());
}

TEST_F(Rules, OptionalAndRepetitionBeginLikeTheirSubRuleAndCanBeEmpty) {
  const Rule& optional = g.optional(primitive);
  const Rule& repetition = g.repetition(primitive);
  g.finish();
  for (const Rule* rule : {&optional, &repetition}) {
    EXPECT_EQ(rule->getStartingKinds(), Kinds{SylvanEventCode::writePrimitive});
    EXPECT_TRUE(rule->canBeEmpty());
  }
}

TEST_F(Rules, SequenceBeginsWithAllUpToTheFirstThatCannotBeEmpty) {
  const Rule& rule = g.sequence({g.optional(primitive), structStart, sequenceStart});
  g.finish();
  EXPECT_EQ(rule.getStartingKinds(), (Kinds{SylvanEventCode::writePrimitive, SylvanEventCode::startStruct}));
  EXPECT_FALSE(rule.canBeEmpty());
}

TEST_F(Rules, SequenceCanBeEmptyIfAllItsSubRulesCan) {
  const Rule& all = g.sequence({g.optional(primitive), g.empty()});
  const Rule& none = g.sequence({});
  g.finish();
  EXPECT_TRUE(all.canBeEmpty());
  EXPECT_TRUE(none.canBeEmpty());
}

TEST_F(Rules, ActionAndAliasBeginLikeTheirSubRule) {
  const Rule& action = g.action(
      g.optional(structStart), [](RulesBoard&) {}, [](RulesBoard&) {});
  const Rule& alias = g.alias("action");
  g.define("action", action);
  g.finish();
  for (const Rule* rule : {&action, &alias}) {
    EXPECT_EQ(rule->getStartingKinds(), Kinds{SylvanEventCode::startStruct});
    EXPECT_TRUE(rule->canBeEmpty());
  }
}

TEST_F(Rules, RulesInACircleKnowWhatTheyBeginWith) {
  const Rule& end = g.terminal(SylvanEventCode::endSequence);
  const Rule& value = g.choice({primitive, g.alias("list")});
  const Rule& list = g.sequence({sequenceStart, g.repetition(g.alias("value")), end});
  g.define("value", value);
  g.define("list", list);
  g.finish();
  EXPECT_EQ(value.getStartingKinds(),
            (Kinds{SylvanEventCode::writePrimitive, SylvanEventCode::startSequence}));
  EXPECT_EQ(list.getStartingKinds(), Kinds{SylvanEventCode::startSequence});
}

TEST_F(Rules, WhatARuleBeginsWithDoesNotDependOnTheOrderInWhichRulesAreMade) {
  const Rule& first = g.alias("second");
  g.define("second", g.sequence({g.optional(g.alias("third")), sequenceStart}));
  g.define("third", g.choice({structStart, g.empty()}));
  g.terminal(SylvanEventCode::endDocument);
  g.finish();
  EXPECT_EQ(first.getStartingKinds(), (Kinds{SylvanEventCode::startStruct, SylvanEventCode::startSequence}));
}

TEST_F(Rules, WordAndSetSayTheSame) {
  const Rule& rule = g.choice({primitive, structStart, sequenceStart});
  g.finish();
  for (std::size_t i = 0; i < modeling::sylvan::sylvanEventNames.size(); ++i) {
    const auto code = static_cast<SylvanEventCode>(i);
    EXPECT_EQ(rule.startsWith(code), rule.getStartingKinds().contains(code)) << getName(code);
  }
}

TEST_F(Rules, NameWithoutRuleIsRefused) {
  g.alias("nowhere");
  EXPECT_EQ(refusalOfFinish(), "the rule \"nowhere\" is used and not defined");
}

TEST_F(Rules, SecondRuleOfANameIsRefused) {
  g.define("a", primitive);
  EXPECT_THROW(g.define("a", structStart), std::logic_error);
  EXPECT_EQ(&g.get("a"), &primitive);
}

TEST_F(Rules, UnknownNameIsOutOfRange) { EXPECT_THROW(g.get("a"), std::out_of_range); }

TEST_F(Rules, RuleThatBeginsWithItselfIsRefused) {
  g.define("a", g.choice({primitive, g.sequence({g.optional(structStart), g.alias("a")})}));
  EXPECT_EQ(refusalOfFinish(), "the rule \"a\" begins with itself");
}

TEST_F(Rules, AliasesInACircleAreRefused) {
  g.define("a", g.alias("b"));
  g.define("b", g.alias("a"));
  EXPECT_NE(refusalOfFinish().find("begins with itself"), std::string::npos);
}

TEST_F(Rules, RuleThatContainsItselfFurtherInIsFine) {
  g.define("a", g.sequence({structStart, g.optional(g.alias("a"))}));
  EXPECT_EQ(refusalOfFinish(), "");
}

TEST(EventKindsText, NamesKindsInOrderOfTheirNumbers) {
  EventKinds kinds;
  EXPECT_EQ(describe(kinds), "nothing");
  kinds |= EventKinds(SylvanEventCode::writePrimitive);
  EXPECT_EQ(describe(kinds), "WritePrimitive");
  kinds |= EventKinds(SylvanEventCode::endStruct);
  EXPECT_EQ(describe(kinds), "EndStruct or WritePrimitive");
  kinds |= EventKinds(SylvanEventCode::startDocument);
  EXPECT_EQ(describe(kinds), "StartDocument, EndStruct or WritePrimitive");
}

}  // namespace
}  // namespace kr::zero::test
