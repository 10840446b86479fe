#include "modeling/sylvan/grammar/SequenceProcessor.h"

#include "modeling/sylvan/grammar/GrammarException.h"

namespace modeling::sylvan::grammar {

namespace {

const std::string& exhaustedMessage() {
  static const std::string message("SequenceProcessor sub rule index out range");
  return message;
}

}  // namespace

SequenceProcessor::SequenceProcessor() = default;
SequenceProcessor::SequenceProcessor(const SequenceProcessor&) = default;
SequenceProcessor& SequenceProcessor::operator=(const SequenceProcessor&) = default;
SequenceProcessor::~SequenceProcessor() = default;

void SequenceProcessor::init(const Rule& rule) {
  rule_ = &rule;
  next_ = 0;
  count_ = rule.getSubRules().size();
}

std::string SequenceProcessor::name() const { return "Sequence"; }

ReturnType SequenceProcessor::step(SylvanEventCode) {
  if (next_ >= count_) throw GrammarException(exhaustedMessage());
  return ReturnType::delegate(*rule_->getSubRules()[next_++]);
}

}  // namespace modeling::sylvan::grammar
