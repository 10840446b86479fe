#include "modeling/sylvan/grammar/SequenceProcessor.h"

#include "modeling/sylvan/grammar/GrammarException.h"

namespace modeling::sylvan::grammar {

SequenceProcessor::SequenceProcessor() = default;
SequenceProcessor::SequenceProcessor(const SequenceProcessor&) = default;
SequenceProcessor& SequenceProcessor::operator=(const SequenceProcessor&) = default;
SequenceProcessor::~SequenceProcessor() = default;

std::string SequenceProcessor::name() const { return "Sequence"; }

void SequenceProcessor::failExhausted() {
  static const std::string message("SequenceProcessor sub rule index out range");
  throw GrammarException(message);
}

}  // namespace modeling::sylvan::grammar
