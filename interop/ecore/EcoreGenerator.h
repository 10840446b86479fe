/// @file
/// Internal: writes packages that did not come from an .ecore file as one.
#pragma once

#include <string>
#include <string_view>

#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::ecore {

/// The root package of that URI with all packages in it.
/// @throws EcoreError for what Ecore has no counterpart for: datatypes, and standard types beyond its own.
std::string generateEcore(const meta::MetaRegistry& registry, std::string_view packageUri,
                          bool pinIdentifiers);

}  // namespace kr::zero::ecore
