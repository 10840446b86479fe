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

/// See PropertyDefinition. `flags` are bits of EmbeddedFlag.
struct EmbeddedProperty {
  std::string_view name;
  std::string_view type;  ///< qualified name
  std::uint32_t identifier;
  std::uint32_t lower;
  std::int32_t upper;
  std::uint32_t flags;
  std::string_view opposite;
  std::string_view defaultText;
};

/// Facts about a property or a type that are true or not.
struct EmbeddedFlag {
  static constexpr std::uint32_t kComposite = 1;
  static constexpr std::uint32_t kOrdered = 2;
  static constexpr std::uint32_t kUnique = 4;
  static constexpr std::uint32_t kDerived = 8;
  static constexpr std::uint32_t kStatic = 16;
  static constexpr std::uint32_t kTransient = 32;
  static constexpr std::uint32_t kHasDefault = 64;
  static constexpr std::uint32_t kAbstract = 1;
  static constexpr std::uint32_t kUniversal = 2;
};

struct EmbeddedLiteral {
  std::string_view name;
  std::string_view text;
  std::int32_t number;
};

struct EmbeddedType {
  TypeDefinition::Kind kind;
  std::string_view name;
  std::uint32_t flags;
  std::uint32_t supertypes;
  std::uint32_t literals;
  std::uint32_t properties;
};

/// Packages stand in document order: each before those in it.
struct EmbeddedPackage {
  std::string_view uri;
  std::string_view name;
  std::uint32_t depth;  ///< 0: in no other package
  std::uint32_t types;
};

struct EmbeddedMetaModel {
  std::span<const EmbeddedPackage> packages;
  std::span<const EmbeddedType> types;
  std::span<const std::string_view> supertypes;
  std::span<const EmbeddedLiteral> literals;
  std::span<const EmbeddedProperty> properties;
};

/// The packages as definitions, the outermost ones in a list.
KR0_FRAMEWORK_API std::vector<PackageDefinition> definitionsOf(const EmbeddedMetaModel& metaModel);

/// The same of all that a registry knows, with every number pinned and every type by its qualified name.
KR0_FRAMEWORK_API std::vector<PackageDefinition> definitionsOf(const MetaRegistry& registry);

/// Takes the packages into a registry, those left out that it has already. May be called any number of times,
/// and from several threads at once.
/// @throws MetaError where the registry has a package of the same URI that differs, and where add() does.
/// Nothing
///   is added then.
KR0_FRAMEWORK_API void registerOnce(const EmbeddedMetaModel& metaModel, MetaRegistry& registry);

}  // namespace kr::zero::meta
