/// @file
/// What a fuzz target is: a function that takes any bytes, and ends the process where a promise is broken.
///
///     void kr::zero::fuzz::examine(Input input) { require(holdsFor(input), "it holds"); }
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "support/DirectBytes.h"

namespace kr::zero::fuzz {

using test::Bytes;
using Input = std::span<const std::uint8_t>;

/// Defined by each target. Keeps nothing from one call to the next that changes what the next one does, so
/// that a finding is one file.
void examine(Input input);

/// Ends the process, with the rule that was broken, unless `holds`.
/// @param rule what should hold, as a sentence.
/// @param found what was there instead; may be empty.
void require(bool holds, const char* rule, const char* found = "");

}  // namespace kr::zero::fuzz
