#include "modeling/sylvan/grammar/GrammarException.h"

namespace modeling::sylvan::grammar {

GrammarException::GrammarException(const std::string& message) : std::runtime_error(message) {}
GrammarException::GrammarException(const GrammarException&) = default;
GrammarException& GrammarException::operator=(const GrammarException&) = default;
GrammarException::~GrammarException() = default;

TracingException::TracingException(const std::string& processorName, const std::exception& inner)
    : GrammarException(processorName + '\n' + inner.what()) {}
TracingException::TracingException(const TracingException&) = default;
TracingException& TracingException::operator=(const TracingException&) = default;
TracingException::~TracingException() = default;

}  // namespace modeling::sylvan::grammar
