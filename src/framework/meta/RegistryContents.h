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

#include "kr/zero/TextHash.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::meta {

/// Types, properties and packages with what finds them.
struct RegistryContents {
  std::vector<std::unique_ptr<Type::Impl>> types;
  std::vector<std::unique_ptr<Property::Impl[]>> properties;
  std::size_t propertyCount = 0;
  /// Entries of all property tables together.
  std::size_t tableEntryCount = 0;
  std::vector<PackageInfo> packages;
  /// Qualified names, which several packages may share.
  std::unordered_map<std::string, std::string, TextHash, std::equal_to<>> packageNamesByUri;
  // Of types that share a name the first one. The keys are the types' own strings.
  std::unordered_map<std::string_view, Type, TextHash> typesByUtf8;
  std::unordered_map<std::u16string_view, Type, TextHash> typesByName;
  /// The others, by sharedName.
  std::unordered_map<std::string, Type, TextHash> typesOfSharedNames;
  /// Classes that another one follows on their line.
  std::unordered_set<const Type::Impl*> continued;

  static std::string sharedName(std::string_view packageUri, std::string_view qualifiedName);
  Type find(std::string_view qualifiedName) const;
  /// The one that is not the first of its name.
  Type findShared(std::string_view packageUri, std::string_view qualifiedName) const;

  /// Takes over all that `more` holds. On an exception nothing has changed.
  void absorb(RegistryContents&& more);
};

}  // namespace kr::zero::meta
