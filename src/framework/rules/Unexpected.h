/// @file
/// Internal to the event grammar: the failure of an event that does not fit.
#pragma once

#include "modeling/sylvan/SylvanEventCode.h"
#include "modeling/sylvan/grammar/EventKinds.h"

namespace modeling::sylvan::grammar {

/// @throws GrammarException "expected EndStruct or StartNamedEntry, found WritePrimitive"
[[noreturn]] void refuse(SylvanEventCode found, EventKinds expected);

}  // namespace modeling::sylvan::grammar
