#include "rules/Unexpected.h"

#include <string>

#include "modeling/sylvan/grammar/GrammarException.h"

namespace modeling::sylvan::grammar {

void refuse(SylvanEventCode found, EventKinds expected) {
  throw GrammarException("expected " + describe(expected) + ", found " + std::string(getName(found)));
}

}  // namespace modeling::sylvan::grammar
