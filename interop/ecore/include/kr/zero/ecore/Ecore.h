/// @file
/// Ecore meta models and XMI models, into the framework and back.
///
///     kr::zero::meta::MetaRegistry registry;
///     auto mapping = kr::zero::ecore::loadMetaModels({"library.ecore"}, registry);
///     kr::zero::Model model = kr::zero::ecore::readXmiFile("books.xmi", *mapping);
///     std::string xmi = kr::zero::ecore::writeXmi(model, *mapping);
///
/// All of it throws kr::zero::Error and nothing else; what caused it is nested in it.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/Error.h"
#include "kr/zero/Model.h"
#include "kr/zero/ecore/Memo.h"
#include "kr/zero/ecore/export.h"
#include "kr/zero/meta/Definitions.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::ecore {

/// A document that cannot be taken in or written out.
class KR0_ECORE_API EcoreError : public Error {
 public:
  /// As for Error.
  using Error::Error;
  ~EcoreError() override;
};

/// What an .ecore file says beyond the meta model itself: namespace prefixes, names in XML, identity
/// attributes, features that cannot be stored. Belongs to the registry that it was loaded into, which
/// must outlive it. Immutable; safe to share between threads.
class KR0_ECORE_API Mapping {
 public:
  struct Impl;
  /// The registry that this belongs to.
  const meta::MetaRegistry& getRegistry() const noexcept;
  /// @cond
  explicit Mapping(std::unique_ptr<const Impl> impl);
  ~Mapping();
  const Impl& impl() const noexcept { return *impl_; }
  /// For what others work out from a mapping again and again.
  Memo& memo() const noexcept;
  /// @endcond

 private:
  std::unique_ptr<const Impl> impl_;
};

/// Takes .ecore files, which may refer to each other, into a registry.
///
/// References between files are found by relative path, by package URI, and for any other URI
/// (`platform:/plugin/...`) by file name. Ecore itself is known without a file, and so are the data types of
/// XML schemas. What has no stored value in Ecore (transient features, the container
/// side of a containment, values of data types without a text form, feature maps) is derived in the registry.
/// Operations are left out. Annotations with the source "urn:kr0:binary" say what Ecore has no words for, as
/// writeEcore writes them: of a feature "id", the number that is pinned, "type", a standard type, "markers",
/// those of "derived static transient" that hold, and "default" with the value "none"; of a class "kind" with
/// the value "datatype", and "universal" with the value "true".
/// @param paths may be empty: the mapping then knows what the registry knows.
/// @throws Error for a file that cannot be read or is not Ecore, a type that is in none of the files,
///   and where the registry refuses the result.
KR0_ECORE_API std::shared_ptr<const Mapping> loadMetaModels(const std::vector<std::filesystem::path>& paths,
                                                            meta::MetaRegistry& registry);

/// The attributes that .ecore files mark as ids: what names an element within its document.
KR0_ECORE_API std::vector<meta::Property> idAttributesOf(const Mapping& mapping);

/// A meta model's file in memory.
struct EcoreFile {
  std::string name;  ///< a path by which others refer to it; '/' between folders
  std::string text;  ///< the .ecore document
};

/// The same for files in memory.
KR0_ECORE_API std::shared_ptr<const Mapping> loadEcoreFiles(const std::vector<EcoreFile>& files,
                                                            meta::MetaRegistry& registry);

/// The mapping of what a registry knows, with nothing special about it.
KR0_ECORE_API std::shared_ptr<const Mapping> describeRegistry(const meta::MetaRegistry& registry);

/// What a package is where no file says it: of Ecore its data types with EObject and the entries of maps,
/// which meta models lean on, and all of it; of Ecore's types for XML schemas the data types. None for other
/// packages.
KR0_ECORE_API std::vector<meta::PackageDefinition> builtInVersionsOf(std::string_view packageUri);

/// Packages with all that they refer to.
struct PackageClosure {
  std::vector<std::string> packageUris;  ///< sorted
  /// What says them, numbers pinned: the files that they came from, named as they lie beside each other,
  /// others written from the registry.
  std::vector<EcoreFile> files;
};

/// @param isKnown asked for the URI of each package: whether nobody needs it in a file.
/// @throws Error for a package that the registry does not know, or a text in it that XML cannot hold.
KR0_ECORE_API PackageClosure closureOf(const Mapping& mapping, const std::vector<std::string>& packageUris,
                                       const std::function<bool(const std::string& uri)>& isKnown);

/// Writes a package as an .ecore document in UTF-8. For a package that came from a file that is the whole
/// document as it was, with all that a registry does not keep (operations, annotations, layout); any other
/// package is written from the registry: same types, properties, bounds, markers, literals, defaults,
/// opposites.
/// @param packageUri URI of the package.
/// @param pinIdentifiers pins the number of every stored feature by an annotation.
/// @throws Error where there is no such package, or XML cannot hold a text of it.
KR0_ECORE_API std::string writeEcore(const Mapping& mapping, std::string_view packageUri,
                                     bool pinIdentifiers = false);

/// Writes numbers into the files of a mapping, for good: every stored feature gets an annotation with its
/// number (source "urn:kr0:binary", key "id"), and every class one with the highest number that its elements
/// ever had (key "lastId"). All else stays as it was, as in writeEcore.
///
/// What has a number keeps it. Files that were never pinned get the numbers that the registry gave, so
/// documents that are there stay readable. A feature that came later gets a number above all that a class
/// which it can meet ever had: that of a removed one is not given again. Pinning twice changes nothing. Files
/// whose classes inherit from each other belong into one call.
/// @return the files that the mapping was loaded from, by the names that they were loaded by, in UTF-8.
/// @throws Error where no number up to 16382 is left, or an annotation holds something else.
KR0_ECORE_API std::vector<EcoreFile> pinMetaModels(const Mapping& mapping);

/// Hears how far a long reading or writing has come, 0 to 1. May be empty.
using Progress = std::function<void(double)>;

/// Reads an XMI document: several roots or one, ids, paths and names as references, references into other
/// documents (which stay unresolved). What is unset stays unset. `xmi:id` becomes the second part of an
/// element's identity, after "xmi:id".
/// @param document UTF-8, UTF-16 or the encoding that its XML declaration names.
/// @param name what error texts call the document.
/// @throws Error for anything that is not XML, does not fit the meta models, leads nowhere, or cannot
///   be kept in a model; nothing is left out without a word.
KR0_ECORE_API Model readXmi(std::string_view document, std::string_view name, const Mapping& mapping,
                            const Progress& progress = {});
/// The same for a file.
/// @throws Error also for a file that cannot be read.
KR0_ECORE_API Model readXmiFile(const std::filesystem::path& path, const Mapping& mapping,
                                const Progress& progress = {});

/// Writes a model as an XMI document in UTF-8 that reads back as an equal model.
/// @throws Error for a model that XMI cannot express: a text with a character that XML does not have,
///   a reference to an element that is not there.
KR0_ECORE_API std::string writeXmi(const Model& model, const Mapping& mapping, const Progress& progress = {});

}  // namespace kr::zero::ecore
