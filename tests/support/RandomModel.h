/// @file
/// Random meta models and random models of them, for round trips.
#pragma once

#include <memory>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/meta/Definitions.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "support/Random.h"

namespace kr::zero::test {

/// Nested packages, enumerations (also with literals that share a number), user-defined primitives,
/// datatypes of datatypes, classes with several supertypes (diamonds among them), abstract and universal
/// ones; properties of every standard type and every kind with all sorts of bounds, some with pinned
/// identifiers, opposites, defaults, derived, static and transient ones. Always consistent, with at least
/// one class that can have elements.
std::vector<meta::PackageDefinition> makeRandomDefinitions(Random& random);

/// A registry of its own with makeRandomDefinitions().
std::unique_ptr<meta::MetaRegistry> makeRandomRegistry(Random& random);

/// Up to some 40 elements with all three states of properties, border values, any Unicode text,
/// identities, references of every sort.
/// @param registry must hold makeRandomDefinitions().
Model makeRandomModel(const meta::MetaRegistry& registry, Random& random);

}  // namespace kr::zero::test
