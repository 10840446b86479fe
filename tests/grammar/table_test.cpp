// The table beside the processors: two roads that nobody can tell apart.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <typeinfo>

#include "grammar/GrammarTesting.h"
#include "modeling/sylvan/grammar/RuleSet.h"
#include "modeling/sylvan/grammar/TableManager.h"
#include "support/Environment.h"
#include "support/Random.h"

namespace kr::zero::test {
namespace {

using namespace modeling::sylvan::grammar;
using io::grammar::KRGrammar;

/// What acts and failures leave behind.
struct TableBoard {
  std::string log;
  std::size_t actsLeft = ~std::size_t{0};  // the act after these throws
  bool throwsNumber = false;
};

template <char letter>
void act(TableBoard& board) {
  if (board.actsLeft-- == 0) {
    board.actsLeft = 1000000;
    if (board.throwsNumber) throw 42;
    throw std::runtime_error("no");
  }
  board.log += letter;
}

/// An event's outcome: type and text of what was thrown.
struct Outcome {
  const std::type_info* type = nullptr;
  std::string text;
  bool operator==(const Outcome& other) const {
    return text == other.text && (type == nullptr ? other.type == nullptr : *type == *other.type);
  }
};

Outcome outcomeOf(ProcessorStack& checker, SylvanEventCode code) {
  try {
    checker.process(code);
  } catch (const std::exception& failure) {
    return {&typeid(failure), failure.what()};
  } catch (int) {
    return {&typeid(int), "a number"};
  }
  return {};
}

/// Random rules that may contain themselves through names.
class RandomGrammar {
 public:
  static constexpr std::size_t kNames = 3;

  /// None where the dice gave rules that begin with themselves.
  static std::optional<RandomGrammar> make(Random& random) {
    RandomGrammar made;
    try {
      for (std::size_t i = 0; i < kNames; ++i)
        made.rules_->define(std::string(1, static_cast<char>('a' + i)), made.makeRule(random, 4));
      made.rules_->finish();
    } catch (const std::logic_error&) {
      return std::nullopt;
    }
    return made;
  }

  const Rule& getStart() const { return rules_->get("a"); }

 private:
  const Rule& makeRule(Random& random, int depth) {
    Grammar<TableBoard>& g = *rules_;
    const std::size_t kind = depth == 0 ? random.below(2) : random.below(10);
    const auto part = [&]() -> const Rule& { return makeRule(random, depth - 1); };
    switch (kind) {
      case 0:
      case 8:
        return g.terminal(static_cast<SylvanEventCode>(random.below(4)));
      case 1:
        return g.alias(std::string(1, static_cast<char>('a' + random.below(kNames))));
      case 2:
        return g.choice({part(), part(), part()});
      case 3:
        return g.optional(part());
      case 4:
        return g.repetition(part());
      case 5:
        return g.empty();
      case 6:
        return g.action(part(), act<'('>, act<')'>);
      case 7:
        return g.action(part(), act<'['>, act<']'>);
      default: {
        // Named one by one: the order in which arguments are made is the compiler's.
        const Rule& first = part();
        const Rule& second = part();
        return g.sequence({first, second, part()});
      }
    }
  }

  std::unique_ptr<Grammar<TableBoard>> rules_ = std::make_unique<Grammar<TableBoard>>();
};

/// Goes through a table by itself, to find events that fit: random ones alone hardly ever get far.
class Guide {
 public:
  Guide(const RuleTable& table, const Rule& start) : table_(table), place_(table.getStart(start)) {}

  /// One of the first `kinds` kinds that fits, if one does.
  std::optional<SylvanEventCode> pick(Random& random, std::size_t kinds) const {
    const std::size_t first = random.below(kinds);
    for (std::size_t i = 0; i < kinds; ++i) {
      const auto code = static_cast<SylvanEventCode>((first + i) % kinds);
      std::size_t height = outer_.size();
      if (!find(code, height).isRefused()) return code;
    }
    return std::nullopt;
  }

  void take(SylvanEventCode code) {
    std::size_t height = outer_.size();
    const RuleTable::Step& step = find(code, height);
    if (step.isRefused()) return;
    outer_.resize(height);
    for (const RuleTable::Place place : table_.getPushed(step)) outer_.push_back(place);
    place_ = step.getNext();
  }

 private:
  const RuleTable::Step& find(SylvanEventCode code, std::size_t& height) const {
    static const RuleTable::Step refused;
    const RuleTable::Step* step = &table_.getStep(place_, code);
    for (; step->isEnd() && height != 0; --height) step = &table_.getStep(outer_[height - 1], code);
    return step->isEnd() ? refused : *step;
  }

  const RuleTable& table_;
  RuleTable::Place place_;
  std::vector<RuleTable::Place> outer_;
};

/// How many sequences of events the tests below try, in thousands.
const std::size_t kThousands = numberFromEnvironment("KR0_SEQUENCES", 50000) / 1000;

/// Sends a sequence down both roads, of which every fourth has an event that is any at all. Returns the
/// number of events that were taken.
std::size_t compareOnOneSequence(Random& random, const RuleTable& table, const Rule& start) {
  TableBoard quickBoard;
  if (random.below(16) == 0) quickBoard.actsLeft = random.below(12);
  quickBoard.throwsNumber = random.below(2) == 0;
  TableBoard plainBoard = quickBoard;
  TableManager<TableBoard> quick(table, start, quickBoard);
  ProcessorManager<TableBoard> plain(start, plainBoard);
  Guide guide(table, start);
  const std::size_t wrong = random.below(4) == 0 ? random.below(12) : 12;
  std::size_t taken = 0;
  // Some go on after a failure: what remains behind is the same, too.
  for (std::size_t event = 0, failures = 0; event < 12 && failures < 1 + random.below(2); ++event) {
    const std::optional<SylvanEventCode> fitting = guide.pick(random, 4);
    if (!fitting && event != wrong && random.below(4) != 0) break;
    const SylvanEventCode code =
        event != wrong && fitting ? *fitting : static_cast<SylvanEventCode>(random.below(5));
    const Outcome expected = outcomeOf(plain, code);
    const Outcome found = outcomeOf(quick, code);
    if (!(found == expected) || quickBoard.log != plainBoard.log) {
      ADD_FAILURE() << "event " << event << ": " << found.text << "\ninstead of\n" << expected.text;
      return taken;
    }
    guide.take(code);
    expected.type != nullptr ? ++failures : ++taken;
  }
  return taken;
}

TEST(RuleTable, AgreesWithTheProcessorsOnRandomRulesAndEvents) {
  Random random(seedFor("random rules"));
  std::size_t sequences = 0;
  std::size_t taken = 0;
  while (sequences < 400 * kThousands && !testing::Test::HasFailure()) {
    const std::optional<RandomGrammar> grammar = RandomGrammar::make(random);
    if (!grammar) continue;
    const Rule& start = grammar->getStart();
    const RuleTable table({&start});
    for (int i = 0; i < 500; ++i, ++sequences) taken += compareOnOneSequence(random, table, start);
  }
  EXPECT_GT(taken, 2 * sequences);
}

/// Both roads through the grammar of documents.
struct BothRoads {
  explicit BothRoads(const std::string& rule)
      : quick(KRGrammar::getInstance().getProcessor(rule, quickBoard)),
        plain(KRGrammar::getInstance().getRule(rule), plainBoard) {}

  /// Whether the event was taken.
  bool feed(SylvanEventCode code) {
    const Outcome expected = outcomeOf(plain, code);
    const Outcome found = outcomeOf(*quick, code);
    if (!(found == expected)) ADD_FAILURE() << found.text << "\ninstead of\n" << expected.text;
    if (quickBoard.states != plainBoard.states || quickBoard.metadataStates != plainBoard.metadataStates)
      ADD_FAILURE() << "another blackboard after " << found.text;
    return expected.type == nullptr;
  }

  KRGrammar::Blackboard quickBoard;
  KRGrammar::Blackboard plainBoard;
  std::unique_ptr<KRGrammar::Manager> quick;
  ProcessorManager<KRGrammar::Blackboard> plain;
};

std::string damage(Random& random, std::string events) {
  const std::size_t at = random.below(events.size());
  const std::size_t length = std::min<std::size_t>(random.below(6), events.size() - at);
  switch (random.below(3)) {
    case 0:
      events[at] = eventLetters[random.below(eventLetters.size())];
      return events;
    case 1:
      return events.erase(at, length);
    default:
      return events.insert(at, events.substr(at, length));
  }
}

TEST(RuleTable, AgreesWithTheProcessorsOnDamagedDocuments) {
  Random random(seedFor("damaged documents"));
  const std::string whole = makeRichDocument();
  std::size_t refused = 0;
  for (std::size_t i = 0; i < 50 * kThousands && !testing::Test::HasFailure(); ++i) {
    const std::string events = damage(random, damage(random, whole));
    BothRoads roads("document");
    const auto refuses = [&](char event) { return !roads.feed(codeOf(event)); };
    if (std::any_of(events.begin(), events.end(), refuses)) ++refused;
  }
  EXPECT_GT(refused, 10 * kThousands);
}

TEST(RuleTable, AgreesWithTheProcessorsOnShortSequencesOfEachRule) {
  Random random(seedFor("short sequences"));
  const std::vector<std::string> names = {"document", "object", "struct", "value"};
  const KRGrammar& grammar = KRGrammar::getInstance();
  std::vector<const Rule*> rules;
  for (const std::string& name : names) rules.push_back(&grammar.getRule(name));
  const RuleTable table({rules[0], rules[1], rules[2], rules[3]});
  for (std::size_t i = 0; i < 600 * kThousands && !testing::Test::HasFailure(); ++i) {
    BothRoads roads(names[i % names.size()]);
    Guide guide(table, *rules[i % names.size()]);
    const std::size_t wrong = random.below(24);
    for (std::size_t event = 0; event < 8; ++event) {
      const std::optional<SylvanEventCode> fitting = guide.pick(random, 11);
      if (!fitting && random.below(4) != 0) break;
      const SylvanEventCode code =
          event != wrong && fitting ? *fitting : static_cast<SylvanEventCode>(random.below(11));
      if (!roads.feed(code)) break;
      guide.take(code);
    }
  }
}

TEST(RuleTable, KnowsOnlyTheRulesThatItWasMadeFor) {
  Grammar<TableBoard> g;
  const Rule& one = g.terminal(codeOf('P'));
  const Rule& other = g.terminal(codeOf('S'));
  g.finish();
  const RuleTable table({&one});
  EXPECT_NO_THROW(table.getStart(one));
  EXPECT_THROW(table.getStart(other), std::out_of_range);
}

TEST(RuleTable, RefusesRulesWithMoreActsAtAnEventThanItCanCount) {
  Grammar<TableBoard> g;
  const Rule* rule = &g.terminal(codeOf('P'));
  for (int i = 0; i < 300; ++i) rule = &g.action(*rule, act<'('>, act<')'>);
  g.finish();
  EXPECT_THROW(RuleTable({rule}), std::length_error);
}

TEST(RuleTable, ManagerActsOnTheBlackboardThatWasSetLast) {
  Grammar<TableBoard> g;
  const Rule& rule = g.action(g.terminal(codeOf('P')), act<'('>, act<')'>);
  g.define("rule", g.sequence({rule, g.terminal(codeOf('S'))}));
  g.finish();
  const RuleTable table({&g.get("rule")});
  TableBoard first;
  TableBoard second;
  TableManager<TableBoard> manager(table, g.get("rule"), first);
  manager.process(codeOf('P'));
  manager.setBlackboard(second);
  manager.process(codeOf('S'));
  EXPECT_EQ(first.log, "(");
  EXPECT_EQ(second.log, ")");
}

TEST(RuleTable, CodeThatNoEventHasIsRefusedAndForgotten) {
  BothRoads roads("document");
  EXPECT_FALSE(roads.feed(static_cast<SylvanEventCode>(11)));
  for (const char event : makeRichDocument()) ASSERT_TRUE(roads.feed(codeOf(event)));
}

}  // namespace
}  // namespace kr::zero::test
