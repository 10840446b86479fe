/// @file
/// Internal: Ecore described in its own terms, so that .ecore files are read like any other document.
#pragma once

#include "MappingImpl.h"

namespace kr::zero::ecore {

/// The mapping of the package "ecore", in a registry of its own. Annotations' contents and references are
/// left out: they may hold anything, and a meta model does not depend on them.
const Mapping::Impl& ecoreSchema();

}  // namespace kr::zero::ecore
