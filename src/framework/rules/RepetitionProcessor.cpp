#include "modeling/sylvan/grammar/RepetitionProcessor.h"

#include "modeling/sylvan/grammar/GrammarException.h"

namespace modeling::sylvan::grammar {

RepetitionProcessor::RepetitionProcessor() = default;
RepetitionProcessor::RepetitionProcessor(const RepetitionProcessor&) = default;
RepetitionProcessor& RepetitionProcessor::operator=(const RepetitionProcessor&) = default;
RepetitionProcessor::~RepetitionProcessor() = default;

std::string RepetitionProcessor::name() const { return "Repetition"; }

void RepetitionProcessor::failFinished() {
  static const std::string message("Repetition processor needs to reset");
  throw GrammarException(message);
}

}  // namespace modeling::sylvan::grammar
