/// @file
/// Internal: writes the numbers of features into the text of an .ecore file.
#pragma once

#include <string>

#include "MappingImpl.h"

namespace kr::zero::ecore {

/// The text of a file with an annotation for every stored feature that has none yet. Everything else stays
/// as it was, to the blank.
std::string pinIdentifiers(const SourceDocument& source, const meta::MetaRegistry& registry);

}  // namespace kr::zero::ecore
