/// @file
/// Internal: a generated class.
#pragma once

#include <string>

#include "NameTable.h"
#include "kr/zero/ecore/Documentation.h"

namespace kr::zero::cpp {

/// Appends the features that a class or datatype declares itself, as a template that any class can have as a
/// base, then the class, and its name for elements that can be changed.
void appendClass(std::string& out, const NameTable& names, const ecore::Documentation& documentation,
                 meta::StructuredType type);

}  // namespace kr::zero::cpp
