/// @file
/// A meta model as constants in a program, the way generated code brings it along, and its way into a
/// registry.
///
/// The tables are flat, so that a compiler has little to do: types stand in the order of the packages, each
/// with the numbers of supertypes, literals and properties that are its own, and these stand in the same
/// order.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "kr/zero/export.h"
#include "kr/zero/meta/Definitions.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::meta {

/// A property; see PropertyDefinition.
struct EmbeddedProperty {
  std::string_view name;         ///< once per class
  std::string_view type;         ///< qualified name
  std::uint32_t identifier;      ///< the number in the binary formats; 0: none
  std::uint32_t lower;           ///< least number of values
  std::int32_t upper;            ///< -1: no bound
  std::uint32_t flags;           ///< bits of EmbeddedFlag
  std::string_view opposite;     ///< name in the class that is the type; empty: none
  std::string_view defaultText;  ///< counts with EmbeddedFlag::kHasDefault
};

/// Facts about a property or a type that are true or not.
struct EmbeddedFlag {
  ///@{
  /// Of a property; see PropertyDefinition. kHasDefault: there is a defaultText, be it an empty one.
  static constexpr std::uint32_t kComposite = 1;
  static constexpr std::uint32_t kOrdered = 2;
  static constexpr std::uint32_t kUnique = 4;
  static constexpr std::uint32_t kDerived = 8;
  static constexpr std::uint32_t kStatic = 16;
  static constexpr std::uint32_t kTransient = 32;
  static constexpr std::uint32_t kHasDefault = 64;
  ///@}
  ///@{
  /// Of a class; see TypeDefinition.
  static constexpr std::uint32_t kAbstract = 1;
  static constexpr std::uint32_t kUniversal = 2;
  ///@}
};

/// A literal of an enumeration; see EnumLiteral.
struct EmbeddedLiteral {
  std::string_view name;  ///< in the meta model
  std::string_view text;  ///< in documents; empty: the name
  std::int32_t number;    ///< what the binary formats carry
};

/// A type; see TypeDefinition.
struct EmbeddedType {
  TypeDefinition::Kind kind;  ///< what sort of type
  std::string_view name;      ///< once per package
  std::uint32_t flags;        ///< bits of EmbeddedFlag
  std::uint32_t supertypes;   ///< how many it has
  std::uint32_t literals;     ///< how many it has
  std::uint32_t properties;   ///< how many are its own
};

/// A package. They stand in document order: each before those in it.
struct EmbeddedPackage {
  std::string_view uri;   ///< empty: the qualified name stands for it
  std::string_view name;  ///< not empty
  std::uint32_t depth;    ///< 0: in no other package
  std::uint32_t types;    ///< how many are its own
};

/// The tables, which somebody else owns: in generated code they are constants.
struct EmbeddedMetaModel {
  std::span<const EmbeddedPackage> packages;     ///< the first one is in no other
  std::span<const EmbeddedType> types;           ///< those of the first package, those of the second ...
  std::span<const std::string_view> supertypes;  ///< qualified names, in the order of the types
  std::span<const EmbeddedLiteral> literals;     ///< in the order of the types
  std::span<const EmbeddedProperty> properties;  ///< in the order of the types
};

/// The packages as definitions, the outermost ones in a list.
KR0_FRAMEWORK_API std::vector<PackageDefinition> definitionsOf(const EmbeddedMetaModel& metaModel);

/// The same of all that a registry knows, with every number pinned and every type by its qualified name.
KR0_FRAMEWORK_API std::vector<PackageDefinition> definitionsOf(const MetaRegistry& registry);

/// Takes the packages into a registry, those left out that it has already. May be called any number of times,
/// and from several threads at once.
/// @throws MetaError where the registry has a package of the same URI that differs, and where add() does.
///   Nothing is added then.
KR0_FRAMEWORK_API void registerOnce(const EmbeddedMetaModel& metaModel, MetaRegistry& registry);

}  // namespace kr::zero::meta
