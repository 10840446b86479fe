/// @file
/// Internal: what reader and writer ask about a class again and again, found once.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "MappingImpl.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::ecore {

/// Which way the values of a feature go.
enum class FeatureKind : std::uint8_t {
  none,  ///< nothing is stored
  boolean,
  integer,
  real,
  text,
  enumeration,
  otherPrimitive,  ///< by its text form
  child,           ///< an element or datatype value inside
  reference,
};

inline bool isPrimitive(FeatureKind kind) {
  return kind >= FeatureKind::boolean && kind <= FeatureKind::otherPrimitive;
}

struct Feature {
  meta::Property property;
  const FeatureMapping* mapping = nullptr;
  FeatureKind kind = FeatureKind::none;
  bool isMany = false;

  std::string_view name() const { return property->getNameUtf8(); }
  std::string_view xmlName() const { return mapping->xmlName.empty() ? name() : mapping->xmlName; }
  /// Whether the writer puts its values into attributes, references to other documents aside.
  bool isAttributeForm() const;
};

class ClassTable {
 public:
  ClassTable(meta::StructuredType type, const Mapping::Impl& mapping);
  ClassTable(const ClassTable&) = delete;
  ClassTable& operator=(const ClassTable&) = delete;

  meta::StructuredType type() const noexcept { return type_; }
  /// Of all properties, in their order.
  const std::vector<Feature>& features() const noexcept { return features_; }
  /// The feature that an XML attribute, an XML element or a step of a path means, or null.
  const Feature* findByAttribute(std::string_view name) const { return find(attributes_, name); }
  const Feature* findByElement(std::string_view name) const { return find(elements_, name); }
  const Feature* findByName(std::string_view name) const { return find(names_, name); }
  /// The feature whose value names an instance within its document, or null.
  const Feature* identifier() const noexcept { return identifier_; }
  /// The feature that takes the character data, or null.
  const Feature* content() const noexcept { return content_; }
  /// The text feature "name", or null.
  const Feature* nameFeature() const noexcept { return nameFeature_; }
  /// Whether paths lead to instances inside of it by their names, as in Ecore's own documents.
  bool isPathByName() const noexcept { return isPathByName_; }

 private:
  using Names = std::unordered_map<std::string_view, const Feature*>;
  static const Feature* find(const Names& names, std::string_view name);
  void nameFeatures();

  meta::StructuredType type_;
  std::vector<Feature> features_;
  Names attributes_;
  Names elements_;
  Names names_;
  const Feature* identifier_ = nullptr;
  const Feature* content_ = nullptr;
  const Feature* nameFeature_ = nullptr;
  bool isPathByName_ = false;
};

/// The tables of the classes that a document uses, made on first use.
class ClassTables {
 public:
  explicit ClassTables(const Mapping::Impl& mapping) : mapping_(&mapping) {}
  const ClassTable& of(meta::StructuredType type);
  const Mapping::Impl& mapping() const noexcept { return *mapping_; }

 private:
  const Mapping::Impl* mapping_;
  std::vector<std::unique_ptr<ClassTable>> tables_;  // by the type's index
};

}  // namespace kr::zero::ecore
