/// @file
/// Internal: what everything in a registry is called in C++.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::cpp {

/// A package with its names.
struct Package {
  meta::PackageInfo info;
  std::string space;   ///< "models::uml::values"
  std::string header;  ///< "uml.values.kr0.h"
};

/// Names differ from each other within a scope: namespaces and types in the namespace around them, literals
/// in their enumeration, and the names of properties that meet in a class.
class NameTable {
 public:
  /// @param space the namespace around all others.
  NameTable(const meta::MetaRegistry& registry, std::string_view space);

  /// In the order of the registry, each before those in it.
  const std::vector<Package>& packages() const noexcept { return packages_; }
  const Package& packageOf(meta::Type type) const { return packages_[packageByType_.at(type.get())]; }
  /// "Book"
  const std::string& nameOf(meta::Type type) const { return names_.at(type.get()); }
  /// "BasicBook": the template that "Book" is one of.
  std::string basicNameOf(meta::Type type) const;
  /// The class with handles that only read.
  std::string constNameOf(meta::Type type) const;
  /// "BookFeatures"
  std::string featuresNameOf(meta::Type type) const;
  /// "::models::library::", for one of the three before.
  std::string spaceOf(meta::Type type) const;
  /// "Title"
  const std::string& nameOf(meta::Property property) const { return names_.at(property.get()); }
  const std::string& nameOf(const meta::EnumLiteral& literal) const { return names_.at(&literal); }

 private:
  void namePackages(const meta::MetaRegistry& registry, std::string_view space);
  void nameTypes(const Package& package, class UniqueNames& scope);
  void nameLiterals(meta::Type type);
  void nameProperties();

  std::vector<Package> packages_;
  std::unordered_map<const void*, std::size_t> packageByType_;
  std::unordered_map<const void*, std::string> names_;  // by what has them
};

}  // namespace kr::zero::cpp
