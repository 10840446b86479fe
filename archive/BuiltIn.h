/// @file
/// Internal: packages that archives name and do not bring.
#pragma once

#include <string>

#include "kr/zero/archive/Archive.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::archive {

/// Whether a package is a version of one that is built in.
bool isBuiltIn(const std::string& uri, const std::string& fingerprint);

/// Registers what is built in of the packages of an archive.
void registerBuiltIn(const Manifest& manifest, meta::MetaRegistry& registry);

}  // namespace kr::zero::archive
