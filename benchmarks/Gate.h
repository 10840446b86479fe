/// @file
/// Measures the library's rows of the gate.
#pragma once

#include <cstddef>

#include "Rows.h"

namespace kr::zero::bench {

/// Adds a row per limit of kLibraryLimits and kEventLimits, those of growth, and the peaks of memory.
/// @param elements of the library; kGateElements where the limits are to mean something.
/// @param rounds how often each pair is measured.
/// @throws std::runtime_error where a peer holds another content than the one that was made.
void measureLibraryRows(std::size_t elements, std::size_t rounds, Rows& rows);

}  // namespace kr::zero::bench
