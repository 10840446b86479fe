/// @file
/// Internal: the types of a report, each with the number by which all else in it calls them.
#pragma once

#include <cstdint>
#include <vector>

#include "Documents.h"
#include "JsonText.h"

namespace kr::zero::tool {

/// Classes, datatypes, enumerations and properties of meta models, numbered in the order of their
/// declaration.
class ReportSchema {
 public:
  explicit ReportSchema(const MetaModels& metaModels);

  const std::vector<meta::StructuredType>& classes() const { return classes_; }
  ///@{
  /// The number, or -1 for what is in none of the packages.
  int numberOf(meta::Type type) const;
  int numberOf(meta::Property property) const;
  ///@}
  /// Adds all of it as members of an object.
  /// @param isUsed by the number of a class.
  void write(const std::vector<bool>& isUsed, JsonText& json) const;

 private:
  void writeClass(std::size_t number, bool isUsed, JsonText& json) const;
  void writeEnumeration(std::size_t number, JsonText& json) const;
  void writeProperty(meta::Property property, JsonText& json) const;

  const meta::MetaRegistry& registry_;
  std::vector<meta::PackageInfo> packages_;
  std::vector<meta::StructuredType> classes_;
  std::vector<int> packageOfClass_;
  std::vector<meta::Enum> enumerations_;
  std::vector<int> packageOfEnumeration_;
  std::vector<meta::Property> properties_;
  std::vector<meta::Property> ids_;
  std::vector<int> typeNumbers_;      // by index of the type
  std::vector<int> propertyNumbers_;  // by index of the property
};

}  // namespace kr::zero::tool
