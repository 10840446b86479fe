#include "modeling/sylvan/grammar/RepetitionProcessor.h"

#include "modeling/sylvan/grammar/GrammarException.h"

namespace modeling::sylvan::grammar {

namespace {

const std::string& finishedMessage() {
  static const std::string message("Repetition processor needs to reset");
  return message;
}

}  // namespace

RepetitionProcessor::RepetitionProcessor() = default;
RepetitionProcessor::RepetitionProcessor(const RepetitionProcessor&) = default;
RepetitionProcessor& RepetitionProcessor::operator=(const RepetitionProcessor&) = default;
RepetitionProcessor::~RepetitionProcessor() = default;

void RepetitionProcessor::init(const Rule& rule) {
  rule_ = &rule;
  current_ = nullptr;
  finished_ = false;
}

std::string RepetitionProcessor::name() const { return "Repetition"; }

ReturnType RepetitionProcessor::step(SylvanEventCode code) {
  if (finished_) throw GrammarException(finishedMessage());
  const Rule& subRule = *rule_->getSubRules().front();
  if (subRule.startsWith(code)) {
    current_ = &subRule;
    return ReturnType::delegate(subRule);
  }
  finished_ = true;
  current_ = nullptr;
  return ReturnType::finish();
}

}  // namespace modeling::sylvan::grammar
