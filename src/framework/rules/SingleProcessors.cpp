#include "modeling/sylvan/grammar/SingleProcessors.h"

#include "rules/Unexpected.h"

namespace modeling::sylvan::grammar {

EmptyProcessor::EmptyProcessor() = default;
EmptyProcessor::~EmptyProcessor() = default;
std::string EmptyProcessor::name() const { return "Empty"; }

TerminalProcessor::TerminalProcessor(const EventKinds& passed) : passed_(passed) {}
TerminalProcessor::~TerminalProcessor() = default;
std::string TerminalProcessor::name() const { return "Terminal"; }

void TerminalProcessor::fail(SylvanEventCode code) const {
  refuse(code, join(passed_, getRule().getStart()));
}

ChoiceProcessor::ChoiceProcessor(const EventKinds& passed) : passed_(passed) {}
ChoiceProcessor::~ChoiceProcessor() = default;
std::string ChoiceProcessor::name() const { return "Choice"; }

const Rule& ChoiceProcessor::getEmptyAlternative(SylvanEventCode code) const {
  for (const Rule* alternative : getRule().getSubRules())
    if (alternative->canBeEmpty()) return *alternative;
  refuse(code, join(passed_, getRule().getStart()));
}

OptionalProcessor::OptionalProcessor(EventKinds& passed) : passed_(passed) {}
OptionalProcessor::~OptionalProcessor() = default;
std::string OptionalProcessor::name() const { return "Optional"; }

}  // namespace modeling::sylvan::grammar
