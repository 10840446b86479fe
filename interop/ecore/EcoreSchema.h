/// @file
/// Internal: Ecore described in its own terms, so that .ecore files are read like any other document.
#pragma once

#include "MappingImpl.h"

namespace kr::zero::ecore {

/// The mapping of the package "ecore", in a registry of its own. Annotations' contents and references are
/// left out: they may hold anything, and a meta model does not depend on them.
const Mapping::Impl& ecoreSchema();

/// What one of Ecore's own data types is to a registry.
struct EcoreDataType {
  const char* name;
  const char* standardType;  ///< null: a user-defined primitive, carried as text
  bool isSerializable;
};

/// The data type of that name, or null.
const EcoreDataType* findEcoreDataType(std::string_view name);

/// The package "ecore" for when Ecore.ecore itself is not among the files: the data types that are
/// carried as text, EObject, and the map entry of texts.
meta::PackageDefinition makeEcorePackage();

}  // namespace kr::zero::ecore
