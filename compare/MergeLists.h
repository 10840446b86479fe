/// @file
/// Internal: lists of three versions made one.
#pragma once

#include <cstdint>
#include <vector>

namespace kr::zero::compare {

using ListEntries = std::vector<std::uint32_t>;

/// A merged list.
struct MergedList {
  ListEntries entries;
  bool isOrderDisputed = false;  ///< both sides put the same entries into orders of their own
};

/// Puts the entries of ours and theirs, none of which is twice in a list, into one order. What one side put
/// behind an entry stands behind it; of what both put there, that of ours comes first. Where one side changed
/// the order of base, its order holds.
/// @param base, ours, theirs without entries that are to go.
MergedList mergeLists(const ListEntries& base, const ListEntries& ours, const ListEntries& theirs);

}  // namespace kr::zero::compare
