/// @file
/// Writes a meta model in a few readable lines.
///
///     using kr::zero::meta::MetaModelBuilder;
///     MetaModelBuilder library("http://example.org/library", "library");
///     library.enumeration("Genre").literal("novel", 0).literal("poetry", 1);
///     auto& book = library.classType("Book");
///     book.property("title", "String").required();
///     book.property("genre", "Genre");
///     book.property("authors", "Author").many();
///     library.classType("Author").property("name", "String");
///     library.classType("Library").property("books", "Book").many().composite();
///     library.registerIn(kr::zero::meta::MetaRegistry::instance());
///
/// The objects that the calls return belong to the builder and keep their address while it lives.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "kr/zero/export.h"
#include "kr/zero/meta/Definitions.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::meta {

/// One property; starts as 0..1, not composite.
class KR0_FRAMEWORK_API PropertyBuilder {
 public:
  /// Pins the number that the binary formats carry.
  PropertyBuilder& id(std::uint32_t identifier);
  PropertyBuilder& bounds(std::uint32_t lower, std::int32_t upper);
  PropertyBuilder& required();  ///< 1..1, or 1..* after many()
  PropertyBuilder& many();      ///< 0..*, or 1..* after required()
  PropertyBuilder& composite();
  PropertyBuilder& unordered();
  PropertyBuilder& nonUnique();
  PropertyBuilder& derived();
  PropertyBuilder& isStatic();
  PropertyBuilder& isTransient();
  PropertyBuilder& opposite(std::string name);
  PropertyBuilder& defaultText(std::string text);

 private:
  friend class TypeBuilder;
  PropertyDefinition definition_;
};

/// One type; which calls make sense depends on its kind.
class KR0_FRAMEWORK_API TypeBuilder {
 public:
  TypeBuilder& abstractType();
  TypeBuilder& supertype(std::string name);
  TypeBuilder& literal(std::string name, std::int32_t number, std::string text = {});
  PropertyBuilder& property(std::string name, std::string type);

 private:
  friend class MetaModelBuilder;
  TypeDefinition definition() const;
  TypeDefinition definition_;
  std::deque<PropertyBuilder> properties_;
};

/// One package with its types and nested packages.
class KR0_FRAMEWORK_API MetaModelBuilder {
 public:
  MetaModelBuilder(std::string uri, std::string name);

  TypeBuilder& primitive(std::string name);
  TypeBuilder& enumeration(std::string name);
  TypeBuilder& datatype(std::string name);
  TypeBuilder& classType(std::string name);
  MetaModelBuilder& package(std::string uri, std::string name);

  /// The package as plain data.
  PackageDefinition definition() const;
  /// registry.add(definition())
  void registerIn(MetaRegistry& registry) const;

 private:
  TypeBuilder& add(TypeDefinition::Kind kind, std::string name);
  std::string uri_;
  std::string name_;
  std::deque<TypeBuilder> types_;
  std::deque<MetaModelBuilder> packages_;
};

}  // namespace kr::zero::meta
