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
#include <list>
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
  /// From `lower` to `upper` values; -1 for no upper bound.
  PropertyBuilder& bounds(std::uint32_t lower, std::int32_t upper);
  PropertyBuilder& required();  ///< 1..1, or 1..* after many()
  PropertyBuilder& many();      ///< 0..*, or 1..* after required()
  /// Its elements are held, not only referred to.
  PropertyBuilder& composite();
  /// The order of its values means nothing.
  PropertyBuilder& unordered();
  /// A value may occur more than once.
  PropertyBuilder& nonUnique();
  /// Worked out from others: nothing is stored.
  PropertyBuilder& derived();
  /// The class's and not the elements': nothing is stored.
  PropertyBuilder& isStatic();
  /// Held in memory, never written.
  PropertyBuilder& isTransient();
  /// The other end of a relation, by its name in the target class.
  PropertyBuilder& opposite(std::string name);
  /// What holds where nothing was said, as text.
  PropertyBuilder& defaultText(std::string text);

 private:
  friend class TypeBuilder;
  PropertyDefinition definition_;
};

/// One type; which calls make sense depends on its kind.
class KR0_FRAMEWORK_API TypeBuilder {
 public:
  /// A class without elements of its own.
  TypeBuilder& abstractType();
  /// A class that this one inherits from; may be called more than once.
  TypeBuilder& supertype(std::string name);
  /// A literal of an enumeration. An empty text means the name.
  TypeBuilder& literal(std::string name, std::int32_t number, std::string text = {});
  /// A property of a class or datatype. The type is named as PropertyDefinition::type says.
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
  /// A package, which documents know by its URI and types by its name.
  MetaModelBuilder(std::string uri, std::string name);

  ///@{
  /// A type of that kind and name.
  TypeBuilder& primitive(std::string name);
  TypeBuilder& enumeration(std::string name);
  TypeBuilder& datatype(std::string name);
  TypeBuilder& classType(std::string name);
  ///@}
  /// A package inside this one.
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
  std::list<MetaModelBuilder> packages_;
};

}  // namespace kr::zero::meta
