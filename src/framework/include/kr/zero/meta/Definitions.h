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

/// A property as data.
struct PropertyDefinition {
  std::string name;  ///< not empty, once per class
  /// A standard type's name, a qualified name ("library.Genre"), or a name of the own package or of
  /// one around it. Tried in this order.
  std::string type;
  /// The number in the binary formats, 1 to 16382. None: the registry takes the smallest that no
  /// property has which meets this one in some class (two meet in a class that inherits from the
  /// owners of both). Numbers given here count first; the others follow in the order of declaration: a
  /// package's types, then its nested packages. 0 only for derived and static properties, which take it
  /// when no number is given.
  std::optional<std::uint32_t> identifier;
  std::uint32_t lower = 0;  ///< least number of values
  std::int32_t upper = 1;   ///< -1: no bound
  /// Classes only; says nothing for a datatype, whose values always lie in their owner.
  bool composite = false;
  bool ordered = true;       ///< whether the order of values means something
  bool unique = true;        ///< whether a value may occur once only
  bool derived = false;      ///< worked out from others, not stored
  bool isStatic = false;     ///< the class's, not stored
  bool isTransient = false;  ///< held in memory, never written
  /// Name of the opposite property in the class that is this property's type; empty: none. The
  /// opposite names this one in turn.
  std::string opposite;
  /// What holds where nothing was said, as text; none: the type's own (0, false, "").
  std::optional<std::string> defaultText;
};

/// A type as data; which members count depends on its kind.
struct TypeDefinition {
  /// What sort of type.
  enum class Kind { primitive, enumeration, datatype, classType };
  Kind kind = Kind::classType;                 ///< what sort of type
  std::string name;                            ///< not empty, once per package
  bool isAbstract = false;                     ///< classes
  bool isUniversal = false;                    ///< classes: every class conforms to it
  std::vector<std::string> supertypes;         ///< classes; named like PropertyDefinition::type
  std::vector<EnumLiteral> literals;           ///< enumerations; an empty text means the name
  std::vector<PropertyDefinition> properties;  ///< classes and datatypes
};

/// A package as data.
struct PackageDefinition {
  std::string uri;                          ///< empty: the qualified name stands for it
  std::string name;                         ///< not empty
  std::vector<TypeDefinition> types;        ///< in the order that numbers are given out in
  std::vector<PackageDefinition> packages;  ///< nested ones
};

}  // namespace kr::zero::meta
