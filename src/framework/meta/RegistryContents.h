/// @file
/// Internal: what a registry holds, and what one call of MetaRegistry::add adds to it.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "kr/zero/meta/MetaRegistry.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::meta {

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>{}(text); }
};
using TextSet = std::unordered_set<std::string, TextHash, std::equal_to<>>;

/// Types, properties and packages with what finds them.
struct RegistryContents {
  std::vector<std::unique_ptr<Type::Impl>> types;
  std::vector<std::unique_ptr<Property::Impl[]>> properties;
  std::size_t propertyCount = 0;
  /// Entries of all property tables together.
  std::size_t tableEntryCount = 0;
  std::vector<PackageInfo> packages;
  TextSet packageUris;
  TextSet packageNames;
  // The keys are the types' own strings.
  std::unordered_map<std::string_view, Type> typesByUtf8;
  std::unordered_map<std::u16string_view, Type> typesByName;
  /// Classes that another one follows on their line.
  std::unordered_set<const Type::Impl*> continued;

  /// Takes over all that `more` holds. On an exception nothing has changed.
  void absorb(RegistryContents&& more);
};

}  // namespace kr::zero::meta
