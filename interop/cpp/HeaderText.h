/// @file
/// Internal: the header of a package.
#pragma once

#include <string>

#include "NameTable.h"
#include "kr/zero/ecore/Documentation.h"

namespace kr::zero::cpp {

/// What stands at the top of every file.
std::string noteFor(std::string_view packageUri);

/// Templates need no more than a declaration of what they name, so a header declares what it needs of others,
/// and includes them behind its own definitions: packages may refer to each other in circles.
std::string headerOf(const NameTable& names, const ecore::Documentation& documentation,
                     const Package& package);

}  // namespace kr::zero::cpp
