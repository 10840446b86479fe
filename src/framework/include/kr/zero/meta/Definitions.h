/// @file
/// A meta model as plain data, the way a registry takes it in. Texts are UTF-8.
///
/// Most programs write these through MetaModelBuilder; importers fill them directly.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kr/zero/meta/Type.h"

namespace kr::zero::meta {

struct PropertyDefinition {
  std::string name;
  /// A standard type's name, a qualified name ("library.Genre"), or a name of the own package or of
  /// one around it. Tried in this order.
  std::string type;
  /// The number in the binary formats, 1 to 16382. None: the registry takes the smallest that no
  /// property has which meets this one in some class (two meet in a class that inherits from the
  /// owners of both). Numbers given here count first; the others follow in the order of declaration: a
  /// package's types, then its nested packages. 0 only for derived and static properties, which take it
  /// when no number is given.
  std::optional<std::uint32_t> identifier;
  std::uint32_t lower = 0;
  std::int32_t upper = 1;  ///< -1: no bound
  /// Classes only; says nothing for a datatype, whose values always lie in their owner.
  bool composite = false;
  bool ordered = true;
  bool unique = true;
  bool derived = false;
  bool isStatic = false;
  bool isTransient = false;
  /// Name of the opposite property in the class that is this property's type; empty: none. The
  /// opposite names this one in turn.
  std::string opposite;
  std::optional<std::string> defaultText;
};

struct TypeDefinition {
  enum class Kind { primitive, enumeration, datatype, classType };
  Kind kind = Kind::classType;
  std::string name;
  bool isAbstract = false;                     ///< classes
  bool isUniversal = false;                    ///< classes: every class conforms to it
  std::vector<std::string> supertypes;         ///< classes; named like PropertyDefinition::type
  std::vector<EnumLiteral> literals;           ///< enumerations; an empty text means the name
  std::vector<PropertyDefinition> properties;  ///< classes and datatypes
};

struct PackageDefinition {
  std::string uri;  ///< empty: the qualified name stands for it
  std::string name;
  std::vector<TypeDefinition> types;
  std::vector<PackageDefinition> packages;
};

}  // namespace kr::zero::meta
