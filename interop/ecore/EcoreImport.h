/// @file
/// Internal: turns .ecore files into definitions for a registry and into a mapping.
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "EcoreFiles.h"
#include "MappingImpl.h"
#include "kr/zero/meta/Definitions.h"

namespace kr::zero::ecore {

/// A class, data type or enumeration of one of the files.
struct Classifier {
  std::size_t package;
  ConstElement element;
  std::string qualifiedName;
  meta::TypeDefinition definition;
  std::vector<std::size_t> supertypes;  ///< those that are in the files, as indices
  /// Of an enumeration: the first of each text.
  std::unordered_map<std::string_view, std::size_t, TextHash> literalsByText;
  std::vector<FeatureMapping> features;  ///< in the order of the definition's properties
  std::string xmlName;
  const char* standardType = nullptr;  ///< of a data type of Ecore itself: what stands for it
  bool isSerializable = true;
};

/// The type of a feature, or a supertype.
struct TypeUse {
  std::string name;      ///< as a registry knows it
  bool isClass = false;  ///< an EClass, which a datatype of ours is too
  bool isSerializable = true;
  bool isFeatureMap = false;
  bool isSinglePrecision = false;
  std::size_t classifier = kNowhere;  ///< where it is in the files
};

class EcoreImport {
 public:
  /// @param files paths, or files in memory.
  template <class Files>
  EcoreImport(const Files& files, meta::MetaRegistry& registry, const MetaModelOptions& options)
      : registry_(registry), options_(options), files_(files, registry, options) {}

  /// Fills the registry and says what goes beyond it.
  std::unique_ptr<const Mapping::Impl> run();

 private:
  void collectClassifiers();
  void collectClassifier(std::size_t package, ConstElement element);
  void importClassifier(Classifier& classifier);
  void importEnumeration(Classifier& classifier);
  void importSupertypes(Classifier& classifier);
  void addSupertype(Classifier& classifier, const TypeUse& type, ConstElement source, TextSet& seen);
  template <class Work>
  bool attempt(Work work, std::string_view loss);
  void findLostFeatures(const Classifier& classifier);
  EcoreTarget oppositeOf(const Classifier& classifier, ConstElement feature) const;
  void importFeature(Classifier& classifier, ConstElement feature);
  void importBounds(const Classifier& classifier, ConstElement feature,
                    meta::PropertyDefinition& definition) const;
  void importDefault(ConstElement feature, const TypeUse& type, meta::PropertyDefinition& definition) const;
  void importXmlNames(const Classifier& classifier, ConstElement feature, FeatureMapping& mapping) const;
  Storage storageOf(const Classifier& classifier, ConstElement feature, const TypeUse& type,
                    FeatureMapping& mapping) const;
  TypeUse annotatedType(const Classifier& classifier, ConstElement feature, const std::string& name) const;
  void importMarkers(const Classifier& classifier, ConstElement feature, const std::string& markers,
                     meta::PropertyDefinition& definition, FeatureMapping& mapping) const;
  std::optional<std::uint32_t> pinnedIdentifier(const Classifier& classifier, ConstElement feature) const;
  std::string oppositeName(const Classifier& classifier, ConstElement feature, const TypeUse& type);

  std::size_t fileOf(const Classifier& classifier) const {
    return files_.packages()[classifier.package].file;
  }
  meta::TypeDefinition::Kind kindOfClass(std::size_t file, ConstElement element) const;
  std::string describe(const Classifier& classifier, ConstElement feature) const;
  TypeUse typeOf(const Classifier& classifier, ConstElement feature);
  TypeUse use(std::size_t file, ConstElement source, const EcoreTarget& target);
  TypeUse useClassifier(std::size_t index) const;
  TypeUse useBuiltIn(std::size_t file, ConstElement source, const EcoreTarget& target);
  TypeUse useKnown(meta::Type type) const;
  TypeUse erasure(std::size_t file, ConstElement generic, bool ofReference);
  std::size_t classifierOf(std::size_t file, ConstElement element) const;
  bool inherits(std::size_t classifier, std::size_t ancestor, const Classifier& asking);
  void findAncestors(std::size_t classifier, const Classifier& asking);

  std::vector<meta::PackageDefinition> definitions() const;
  void mapPackages(Mapping::Impl& mapping) const;
  void mapClassifier(Mapping::Impl& mapping, const Classifier& classifier) const;
  std::string packageUri(std::size_t package) const;

  meta::MetaRegistry& registry_;
  const MetaModelOptions& options_;
  EcoreFiles files_;
  std::vector<Classifier> classifiers_;
  std::vector<std::vector<std::size_t>> classifierByElement_;  // by file, by the element's index
  std::vector<const BuiltInPackage*> neededPackages_;
  bool needsWholeEcore_ = false;
  std::set<std::pair<std::size_t, std::uint32_t>> lostFeatures_;  // left out: by file and element
  // What the class that was asked for last inherits from, itself too.
  std::size_t heir_ = kNowhere;
  std::vector<std::size_t> ancestors_;
  std::vector<bool> isAncestor_;
  std::size_t ancestorsMet_ = 0;  // by all that were asked for
};

}  // namespace kr::zero::ecore
