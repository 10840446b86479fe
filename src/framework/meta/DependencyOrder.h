/// @file
/// Internal: puts things into an order in which each comes after those it needs.
#pragma once

#include <cstdint>
#include <vector>

namespace kr::zero::meta {

/// For each thing, by number, the numbers of those it needs.
using Dependencies = std::vector<std::vector<std::uint32_t>>;

/// The numbers in an order in which each follows all it needs; where several could come next, the
/// one that became ready first. Things in a circle, and those that need one, are left out.
std::vector<std::uint32_t> orderByDependencies(const Dependencies& needs);

/// A circle among the things that `order` left out: each needs the next one, the last the first.
/// Empty where it left out none.
std::vector<std::uint32_t> findCircle(const Dependencies& needs, const std::vector<std::uint32_t>& order);

}  // namespace kr::zero::meta
