// Any events for the grammar of documents: the table takes and refuses what the processors do, with the same
// words and the same blackboard. The first byte chooses a rule, each other one is an event, by its letter.
#include <array>
#include <exception>
#include <memory>
#include <string>

#include "common/Fuzzing.h"
#include "grammar/GrammarTesting.h"

namespace kr::zero::fuzz {

namespace {

using io::grammar::KRGrammar;
using modeling::sylvan::SylvanEventCode;

std::string endingOf(test::ProcessorStack& checker, SylvanEventCode code) {
  try {
    checker.process(code);
    return {};
  } catch (const test::GrammarException& failure) {
    return std::string("refused: ") + failure.what();
  }
}

SylvanEventCode codeOf(std::uint8_t byte) {
  const std::size_t at = test::eventLetters.find(static_cast<char>(byte));
  return static_cast<SylvanEventCode>(at != test::eventLetters.npos ? at
                                                                    : byte % 12u);  // one more than there are
}

}  // namespace

void examine(Input input) {
  static constexpr std::array<const char*, 4> kRules{"document", "object", "struct", "value"};
  if (input.empty()) return;
  const KRGrammar& grammar = KRGrammar::getInstance();
  const std::string rule = kRules[input[0] % kRules.size()];
  KRGrammar::Blackboard quickBoard;
  KRGrammar::Blackboard plainBoard;
  const auto quick = grammar.getProcessor(rule, quickBoard);
  modeling::sylvan::grammar::ProcessorManager<KRGrammar::Blackboard> plain(grammar.getRule(rule), plainBoard);
  int refusals = 0;  // what remains behind one is the same, too
  for (const std::uint8_t byte : input.subspan(1)) {
    const SylvanEventCode code = codeOf(byte);
    const std::string expected = endingOf(plain, code);
    const std::string found = endingOf(*quick, code);
    require(found == expected, "the table refuses what the processors refuse",
            (found + " / " + expected).c_str());
    require(quickBoard.states == plainBoard.states && quickBoard.metadataStates == plainBoard.metadataStates,
            "the blackboard tells the same place", found.c_str());
    if (!expected.empty() && ++refusals == 2) return;
  }
}

}  // namespace kr::zero::fuzz
