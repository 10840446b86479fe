#include "modeling/sylvan/grammar/SingleProcessors.h"

#include <utility>

#include "grammar/Unexpected.h"

namespace modeling::sylvan::grammar {

EmptyProcessor::EmptyProcessor() = default;
EmptyProcessor::~EmptyProcessor() = default;
void EmptyProcessor::init(const Rule&) {}
std::string EmptyProcessor::name() const { return "Empty"; }
ReturnType EmptyProcessor::step(SylvanEventCode) { return ReturnType::finish(); }

TerminalProcessor::TerminalProcessor(const EventKinds& passed) : passed_(passed) {}
TerminalProcessor::~TerminalProcessor() = default;
std::string TerminalProcessor::name() const { return "Terminal"; }

void TerminalProcessor::init(const Rule& rule) {
  rule_ = &rule;
  begun_ = false;
}

ReturnType TerminalProcessor::step(SylvanEventCode code) {
  if (begun_) return ReturnType::finish();
  if (!rule_->startsWith(code)) refuse(code, join(passed_, rule_->getStart()));
  begun_ = true;
  return ReturnType::accept();
}

ChoiceProcessor::ChoiceProcessor(const EventKinds& passed) : passed_(passed) {}
ChoiceProcessor::~ChoiceProcessor() = default;
std::string ChoiceProcessor::name() const { return "Choice"; }

void ChoiceProcessor::init(const Rule& rule) {
  rule_ = &rule;
  begun_ = false;
}

ReturnType ChoiceProcessor::step(SylvanEventCode code) {
  if (begun_) return ReturnType::finish();
  const Rule& alternative = choose(code);
  begun_ = true;
  return ReturnType::delegate(alternative);
}

const Rule& ChoiceProcessor::choose(SylvanEventCode code) const {
  for (const Rule* alternative : rule_->getSubRules())
    if (alternative->startsWith(code)) return *alternative;
  for (const Rule* alternative : rule_->getSubRules())
    if (alternative->canBeEmpty()) return *alternative;
  refuse(code, join(passed_, rule_->getStart()));
}

OptionalProcessor::OptionalProcessor(EventKinds& passed) : passed_(passed) {}
OptionalProcessor::~OptionalProcessor() = default;
std::string OptionalProcessor::name() const { return "Optional"; }

void OptionalProcessor::init(const Rule& rule) {
  rule_ = &rule;
  begun_ = false;
}

ReturnType OptionalProcessor::step(SylvanEventCode code) {
  if (std::exchange(begun_, true)) return ReturnType::finish();
  const Rule& subRule = *rule_->getSubRules().front();
  if (subRule.startsWith(code)) return ReturnType::delegate(subRule);
  passed_ |= subRule.getStart();
  return ReturnType::finish();
}

}  // namespace modeling::sylvan::grammar
