/// @file
/// Changes to documents of the binary formats that know what bytes mean: numbers stay numbers, lengths fit
/// texts, and elements and properties are copied, moved and taken out as a whole. One change in three knows
/// nothing.
///
/// Whoever links this defines kLayout.
#pragma once

#include <cstddef>

namespace kr::zero::fuzz {

/// Which format a target's documents have; `chosen`: by the lowest bit of the first byte.
enum class Documents { direct, tagged, chosen };

/// What an input of a target is: bytes to choose by, then a document.
struct Layout {
  std::size_t choices;
  Documents documents;
};

/// Defined by the target.
extern const Layout kLayout;

}  // namespace kr::zero::fuzz
