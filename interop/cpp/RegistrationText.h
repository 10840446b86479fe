/// @file
/// Internal: the source file that brings meta models into a registry.
#pragma once

#include <string>

#include "NameTable.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::cpp {

/// Constants only, so that compiling it takes next to no time.
std::string registrationOf(const NameTable& names, const meta::MetaRegistry& registry);

}  // namespace kr::zero::cpp
