/// @file
/// Internal: the properties of a structured type with their positions by name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "kr/zero/meta/Type.h"

namespace kr::zero::meta {

/// A list of properties of different names, and where each name stands in it.
///
/// Two open-addressed tables of positions beside the list, one per form of the names: no cell per
/// entry, and copying a supertype's table to start a class's own copies three arrays.
class PropertyTable {
 public:
  using Numbered = StructuredType::Impl::Numbered;

  /// Appends the property, unless one of its name is there already.
  /// @return the one that is there (it may be the same), or an empty handle after appending.
  Property insert(Property property);

  const std::vector<Property>& getAll() const noexcept { return properties_; }
  std::size_t size() const noexcept { return properties_.size(); }
  /// How many carry a number in the binary formats, or will.
  std::size_t getNumberedCount() const noexcept { return numbered_; }

  /// Position of a name or a property, or StructuredType::Impl::npos.
  std::size_t find(std::u16string_view name) const noexcept;
  std::size_t find(std::string_view name) const noexcept;
  std::size_t find(Property property) const noexcept;

  /// Makes getIdentifierBuckets(); to be called when all properties have their identifiers.
  void indexIdentifiers();
  /// Positions by identifier: the position plus 1 of a property stands in the bucket that its identifier
  /// names (by its lowest bits) or behind it, before the next empty one (0). A power of two of buckets, one
  /// at least.
  const std::vector<Numbered>& getIdentifierBuckets() const noexcept { return byIdentifier_; }
  bool hasAssociations() const noexcept { return hasAssociations_; }
  bool hasUnwrittenChildren() const noexcept { return hasUnwrittenChildren_; }

  /// Keeps the two hashes of a property's name in the property.
  static void hashNames(Property::Impl& property) noexcept;

 private:
  // A position plus 1 per bucket, 0 for none; the number of buckets is a power of two.
  using Buckets = std::vector<std::uint32_t>;

  template <class Matches>
  std::size_t search(const Buckets& buckets, std::size_t hash, Matches matches) const noexcept;
  void grow();
  void place(std::size_t position) noexcept;

  std::vector<Property> properties_;
  Buckets byName_;
  Buckets byNameUtf8_;
  std::vector<Numbered> byIdentifier_{1};
  bool hasAssociations_ = false;
  bool hasUnwrittenChildren_ = false;
  std::size_t numbered_ = 0;
};

}  // namespace kr::zero::meta
