/// @file
/// Internal: Ecore's own meta model.
#pragma once

#include "kr/zero/meta/Definitions.h"

namespace kr::zero::ecore {

/// The package of Ecore as its .ecore file has it: classes and features in their order, which numbers and
/// paths depend on, but for operations and documentation; and as the import takes them: what is transient or
/// the container's side is not stored. Source: Ecore.ecore of the Eclipse Modeling Framework.
meta::PackageDefinition wholeEcore();

}  // namespace kr::zero::ecore
