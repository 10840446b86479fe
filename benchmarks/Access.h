/// @file
/// Measures access to values in memory: by generated classes, by name, and in Protocol Buffers' generated
/// messages.
#pragma once

#include <cstddef>

#include "Rows.h"

namespace kr::zero::bench {

/// Adds a row per limit of kAccessLimits, on items with the required values alone, and the same for
/// information on those of the library, whose other values lie between.
/// @param elements of the library; kGateElements where the limits are to mean something.
/// @param rounds how often each pair is measured.
/// @throws std::runtime_error where two ways give different values.
void measureAccessRows(std::size_t elements, std::size_t rounds, Rows& rows);

}  // namespace kr::zero::bench
