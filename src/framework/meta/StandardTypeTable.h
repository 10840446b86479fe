/// @file
/// Internal: the standard types, made once for all registries.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "kr/zero/meta/Type.h"

namespace kr::zero::meta {

/// How many there are. They have the indices below this one in every registry.
inline constexpr std::size_t kStandardTypeCount = kStandardTypes.size() - 1;

using StandardTypeTable = std::vector<std::unique_ptr<PrimitiveType::Impl>>;

/// In the order of StandardType. They live until the process ends, also through the destruction of statics.
const StandardTypeTable& getStandardTypes();

}  // namespace kr::zero::meta
