/// @file
/// Attributes by which people tell elements apart.
#pragma once

#include <cstddef>
#include <optional>

#include "kr/zero/compare/export.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::compare {

/// How well an attribute names elements among their siblings, by what it is called (name, id, title and the
/// like, in upper or lower case): 0 best. Nothing for one that does not, that holds several values, or none
/// of its own. Threads: any.
KR0_COMPARE_API std::optional<std::size_t> namingRankOf(const meta::Property::Impl& property);

}  // namespace kr::zero::compare
