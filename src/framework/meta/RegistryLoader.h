/// @file
/// Internal: makes types and properties of package definitions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kr/zero/meta/Definitions.h"
#include "kr/zero/meta/Type.h"
#include "meta/DependencyOrder.h"
#include "meta/IdentifierSet.h"
#include "meta/PropertyTable.h"
#include "meta/RegistryContents.h"
#include "meta/StandardTypeTable.h"

namespace kr::zero::meta {

/// One call of MetaRegistry::add: checks the definitions against each other and against what a registry
/// knows, and makes everything new beside it. The steps stand in the files RegistryLoader.cpp (packages,
/// types, supertypes), LoaderProperties.cpp, LoaderIdentifiers.cpp and LoaderLines.cpp.
class RegistryLoader {
 public:
  explicit RegistryLoader(const RegistryContents& known) : known_(known) {}

  /// @throws MetaError where something is inconsistent.
  RegistryContents load(const std::vector<PackageDefinition>& packages);

  static StandardTypeTable makeStandardTypes();

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  struct NewPackage {
    const PackageDefinition* definition;
    std::size_t parent;
  };

  // A type in the making; the pointers that do not fit its kind are null.
  struct NewType {
    const TypeDefinition* definition = nullptr;
    std::size_t package = 0;
    Type::Impl* type = nullptr;
    Enum::Impl* enumeration = nullptr;
    StructuredType::Impl* structured = nullptr;
    Class::Impl* classType = nullptr;
    std::size_t firstProperty = 0;
  };

  // Packages, types, supertypes.
  void collectPackages(const std::vector<PackageDefinition>& packages);
  void createPackage(const PackageDefinition& definition, std::size_t parent);
  void createTypes();
  void createType(const TypeDefinition& definition, std::size_t package);
  void makeObject(NewType& made);
  void nameType(const NewType& made);
  void checkKind(const NewType& type) const;
  void fillLiterals(const NewType& type) const;
  void linkSupertypes();
  void linkSupertypesOf(const NewType& type, std::vector<std::uint32_t>& needs);
  Type resolve(std::string_view name, std::size_t package) const;
  Type findType(std::string_view qualifiedName) const;
  Type findTypeIn(std::string_view packageUri, std::string_view qualifiedName) const;
  Type findFrom(std::size_t package, std::string_view qualifiedName) const;
  /// Position among the new types, or none for a type that was known before.
  std::size_t newIndexOf(Type type) const noexcept;

  // Properties.
  void createProperties();
  void createProperty(const NewType& owner, const PropertyDefinition& definition, Property::Impl& made);
  void checkProperty(const NewType& owner, const PropertyDefinition& definition, Type type) const;
  void buildTables();
  void indexIdentifiers();
  std::shared_ptr<const PropertyTable> buildTable(const NewType& type);
  void notePositions(const NewType& type, std::size_t inherited);
  void insertAll(const NewType& type, const std::vector<Property>& properties, PropertyTable& table) const;
  void linkOpposites();
  Property findOpposite(const NewType& owner, const PropertyDefinition& definition, Property property) const;
  std::string opposingName(Property property) const;
  void requireNoDatatypesInThemselves() const;

  // Identifiers.
  // Properties that meet in a class meet in every class below it too. So the classes at the bottom show
  // all there is, and of those that share a property table one does.
  struct Bottom {
    std::vector<IdentifierSet> taken;             // by the properties of each table at the bottom
    std::vector<std::vector<std::size_t>> below;  // positions in `taken`, by number of a new type above
  };
  void numberProperties();
  Bottom collectBottom() const;
  void collectTaken(const PropertyTable& table, Bottom& bottom) const;
  void numberPropertiesOf(const NewType& type, const std::vector<std::size_t>& below,
                          std::vector<IdentifierSet>& taken);
  [[noreturn]] void failSharedIdentifier(const PropertyTable& table, std::uint32_t identifier) const;

  // Lines.
  using Places = Class::Impl::Places;
  using SharedPlaces = std::shared_ptr<const Places>;
  using Heirs = std::unordered_map<const Type::Impl*, std::uint32_t>;
  void placeOnLines();
  Heirs findHeirs() const;
  Places placesAbove(const NewType& type, const Class::Impl* ownLine);

  // What messages call things.
  std::string describe(const NewType& type) const;
  std::string describe(const NewType& owner, const PropertyDefinition& property) const;
  std::string describeCircle(const std::vector<std::uint32_t>& circle) const;

  const RegistryContents& known_;
  RegistryContents made_;
  std::vector<NewPackage> packages_;
  std::vector<NewType> types_;
  std::vector<const PropertyDefinition*> propertyDefinitions_;
  std::vector<std::shared_ptr<PropertyTable>> newTables_;
  // Numbers of the new types, supertypes first.
  std::vector<std::uint32_t> order_;
  // Work that a few lines of a meta model can ask for many times over, counted to be limited.
  std::size_t placesMet_ = 0;
  std::size_t propertiesMet_ = 0;
  // By number of a new type: whether a new class inherits from it directly.
  std::vector<bool> hasSubclass_;
};

}  // namespace kr::zero::meta
