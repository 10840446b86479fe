#include "modeling/sylvan/grammar/Processor.h"

namespace modeling::sylvan::grammar {

Processor::Processor() = default;
Processor::Processor(const Processor&) = default;
Processor& Processor::operator=(const Processor&) = default;
Processor::~Processor() = default;

}  // namespace modeling::sylvan::grammar
