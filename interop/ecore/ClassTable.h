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

/// A property with what XML adds to it.
struct Feature {
  meta::Property property;
  const FeatureMapping* mapping = nullptr;

  std::string_view name() const { return property->name(); }
  std::string_view xmlName() const { return mapping->xmlName.empty() ? name() : mapping->xmlName; }
  bool isMany() const { return property->isMany(); }
  /// What documents hold of it; none where they hold nothing.
  meta::PropertyKind kind() const {
    return property->isWritten() ? property->getKind() : meta::PropertyKind::none;
  }
  bool isStored() const { return kind() != meta::PropertyKind::none; }
  bool isPrimitive() const { return meta::isPrimitive(kind()); }
  bool isText() const { return kind() == meta::PropertyKind::text || kind() == meta::PropertyKind::dateTime; }
  bool isReference() const { return kind() == meta::PropertyKind::association; }
  /// Whether its values are elements inside, those of datatypes too.
  bool isChild() const {
    return kind() == meta::PropertyKind::composition || kind() == meta::PropertyKind::datatype;
  }
  /// Whether the writer puts its values into attributes, references to other documents aside.
  bool isAttributeForm() const;
};

/// Features by the texts that a document has for them. Documents repeat themselves: what was asked for after
/// the last text is tried first, so a table belongs to one reader or writer.
class FeatureNames {
 public:
  /// A name that is there already keeps its feature.
  void add(std::string_view name, const Feature& feature);
  /// The feature, or null.
  const Feature* find(std::string_view name);

 private:
  struct Entry {
    std::string_view name;
    const Feature* feature;
    std::uint32_t next;  // the entry that was asked for after this one
  };
  std::vector<Entry> entries_;
  std::unordered_map<std::string_view, std::uint32_t, TextHash> positions_;
  std::uint32_t last_ = 0;
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
  const Feature* findByAttribute(std::string_view name) { return attributes_.find(name); }
  const Feature* findByElement(std::string_view name) { return elements_.find(name); }
  const Feature* findByName(std::string_view name) { return names_.find(name); }
  /// The feature whose value names an instance within its document, or null.
  const Feature* identifier() const noexcept { return identifier_; }
  /// The feature that takes the character data, or null.
  const Feature* content() const noexcept { return content_; }
  /// The text feature "name", or null.
  const Feature* nameFeature() const noexcept { return nameFeature_; }
  /// Whether paths lead to instances inside of it by their names, as in Ecore's own documents.
  bool isPathByName() const noexcept { return isPathByName_; }

 private:
  void nameFeatures();

  meta::StructuredType type_;
  std::vector<Feature> features_;
  FeatureNames attributes_;
  FeatureNames elements_;
  FeatureNames names_;
  const Feature* identifier_ = nullptr;
  const Feature* content_ = nullptr;
  const Feature* nameFeature_ = nullptr;
  bool isPathByName_ = false;
};

/// The tables of the classes that a document uses, made on first use.
class ClassTables {
 public:
  explicit ClassTables(const Mapping::Impl& mapping) : mapping_(&mapping) {}
  ClassTable& of(meta::StructuredType type);
  const Mapping::Impl& mapping() const noexcept { return *mapping_; }

 private:
  const Mapping::Impl* mapping_;
  std::vector<std::unique_ptr<ClassTable>> tables_;  // by the type's index
};

}  // namespace kr::zero::ecore
