/// @file
/// Internal: whether names tell the packages of a document apart.
#pragma once

#include <vector>

#include "kr/zero/meta/MetaRegistry.h"
#include "kr/zero/ustring.h"

namespace kr::zero::io {

/// Documents tell types by qualified name, so one cannot hold types of two packages that share a name.
/// @param uris the packages of a document.
/// @throws SerializeError naming two that share a name.
void requireDistinctPackageNames(const meta::MetaRegistry& registry, const std::vector<ustring>& uris);

}  // namespace kr::zero::io
