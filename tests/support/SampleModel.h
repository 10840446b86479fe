/// @file
/// One rich model that goes through every path: every kind of property, every standard type, the three
/// states, several inheritance, references of each sort.
#pragma once

#include "kr/zero/Model.h"
#include "kr/zero/meta/MetaModelBuilder.h"

namespace kr::zero::test {

/// The package "sample" with its nested package "sample.detail", not yet registered anywhere.
meta::PackageDefinition sampleDefinition();

/// A registry of its own that holds sampleDefinition().
const meta::MetaRegistry& sampleRegistry();

/// The sample model, always the same.
/// @param registry must hold sampleDefinition().
Model makeSample(const meta::MetaRegistry& registry = sampleRegistry());

/// Checks with Google Test that a model is what makeSample gives, property by property.
void expectSample(const Model& model);

}  // namespace kr::zero::test
