/// @file
/// One small meta model and a model of it, as each room of the library writes them.
#pragma once

#include <memory>
#include <string>

#include "kr/zero/Model.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::test {

/// An .ecore document: the package "s" (URI "urn:s") with the class Node: texts, numbers, an enumeration,
/// children, references with an opposite, and a documentation.
const std::string& smallEcore();
/// The same, with a property renamed, one converted and a literal added.
const std::string& laterEcore();

/// A meta model from the text of an .ecore file.
struct LoadedEcore {
  std::unique_ptr<meta::MetaRegistry> registry;
  std::shared_ptr<const ecore::Mapping> mapping;
};
LoadedEcore loadEcore(const std::string& text, const std::string& name = "small.ecore");

/// smallEcore(), loaded once.
const LoadedEcore& smallMetaModel();

/// A model of smallMetaModel(): one root, some nodes inside each other.
Model makeSmall();

}  // namespace kr::zero::test
