/// @file
/// Internal: the types that a document may name, and which class may stand where.
#pragma once

#include <string_view>
#include <unordered_map>
#include <vector>

#include "Item.h"
#include "kr/zero/TextHash.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::inspect {

/// Made once for a registry, which must outlive it and not grow meanwhile.
class TypeTable {
 public:
  explicit TypeTable(const meta::MetaRegistry& registry);

  /// The class or datatype of a qualified name, or null. Of two that share it, the one whose package the
  /// document lists.
  const TypeRecord* find(std::string_view qualifiedName) const;
  /// The same, if elements can be of it.
  const meta::Class::Impl* findConcrete(std::string_view qualifiedName) const;
  /// All classes that elements can be of.
  const std::vector<const meta::Class::Impl*>& concrete() const noexcept { return concrete_; }
  /// Whether there is a package of that URI.
  bool hasPackage(std::string_view uri) const { return registry_.hasPackage(uri); }
  /// Where two types share a name, the one of the package that comes first in this list is found.
  void prefer(const std::vector<std::string_view>& packageUris);

 private:
  using Types = std::vector<const TypeRecord*>;

  const meta::MetaRegistry& registry_;
  std::unordered_map<std::string_view, Types, TextHash> byName_;
  std::vector<Types*> shared_;  // of byName_, those of several types
  std::vector<const meta::Class::Impl*> concrete_;
};

/// Whether the meta model lets an element of that class stand in a property.
bool fits(const PropertyRecord& property, const TypeRecord& type);

/// Whether elements can be of a type.
bool isConcrete(const TypeRecord& type);

/// Whether a text can be a value of a property that holds a UUID, a time or any other text.
bool isTextOf(const PropertyRecord& property, std::string_view text);

}  // namespace kr::zero::inspect
