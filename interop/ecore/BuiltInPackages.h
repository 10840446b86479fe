/// @file
/// Internal: the packages that every meta model may lean on without giving their files: Ecore itself and
/// what it has for XML schemas.
#pragma once

#include <span>
#include <string_view>

#include "kr/zero/meta/Definitions.h"

namespace kr::zero::ecore {

/// What a data type is to a registry.
struct BuiltInType {
  const char* name;
  const char* standardType = nullptr;  ///< null: a user-defined primitive, carried as text
  bool isSerializable = true;
};

struct BuiltInPackage {
  const char* uri;
  const char* file;  ///< name of the file that holds it
  const char* name;
  std::span<const BuiltInType> dataTypes;

  /// The data type of that name, or null.
  const BuiltInType* findDataType(std::string_view typeName) const;
  /// Whether a class of the package is there without its file.
  bool hasClass(std::string_view className) const;
  /// Whether it is one of Ecore's own classes, those that few meta models lean on included.
  bool wholeHasClass(std::string_view className) const;
  /// The package as far as it is there without its file: data types that are carried as text, and of Ecore
  /// the classes EObject and EStringToStringMapEntry.
  meta::PackageDefinition definition() const;
};

/// The package of that URI, or null.
const BuiltInPackage* findBuiltInPackage(std::string_view uri);
/// The package that lies in a file of that name, or null.
const BuiltInPackage* findBuiltInFile(std::string_view file);

}  // namespace kr::zero::ecore
