/// @file
/// The place where meta models are known by name.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kr/zero/Error.h"
#include "kr/zero/export.h"
#include "kr/zero/meta/Definitions.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::meta {

/// A meta model that cannot be taken in. The text says what is wrong and where.
class KR0_FRAMEWORK_API MetaError : public Error {
 public:
  ///@{
  /// From what is wrong, with its place or without.
  explicit MetaError(const std::string& problem) : Error(ErrorCode::badMetaModel, problem) {}
  explicit MetaError(ErrorDetails details) : Error(ErrorCode::badMetaModel, std::move(details)) {}
  ///@}
  ~MetaError() override;
};

/// A package as a registry holds it.
struct PackageInfo {
  std::string uri;            ///< as documents name it
  std::string name;           ///< name alone
  std::string qualifiedName;  ///< names of the packages around it and its own, joined by dots
  std::vector<Type> types;    ///< in declaration order
};

/// Packages and types by name.
///
/// Most programs use the one of the process, instance(). A registry of one's own keeps meta models
/// apart that share names (two versions of one package, say). The standard types are the same objects
/// in every registry.
///
/// Threads: reading is safe from many threads, also while another thread adds packages.
/// Lifetime: types and properties live as long as their registry; the process's lives until exit.
class KR0_FRAMEWORK_API MetaRegistry {
 public:
  MetaRegistry();
  ~MetaRegistry();
  MetaRegistry(const MetaRegistry&) = delete;
  MetaRegistry& operator=(const MetaRegistry&) = delete;

  /// The registry of the process.
  static MetaRegistry& instance();

  /// Takes in packages that may refer to each other and to what is known already. All or nothing: after
  /// an exception, std::bad_alloc among them, the registry is as it was.
  /// @throws MetaError where something is inconsistent: a name that is empty, malformed or there already in
  ///   its package, a property's name that readers take for a mark (" S", " E"), a package's URI there
  ///   already, an unknown type or supertype, supertypes in a circle, an identifier out of range or met twice
  ///   in one class, two properties of one name meeting in one class, bounds that contradict, a composite
  ///   that is no class, a datatype that holds a class or itself, an opposite that does not fit. Also where
  ///   the properties that all classes list come to more than 8 million (classes that list the same ones
  ///   counted once): chains of thousands of classes that each add some.
  void add(const std::vector<PackageDefinition>& packages);
  /// The same for one package.
  void add(const PackageDefinition& package);

  /// The type of a qualified name, or an empty handle. Packages of different URIs may share a name and then
  /// have types of one qualified name: of these it is the one that was registered first.
  Type findType(std::string_view qualifiedName) const;
  /// The same for a name in UTF-16.
  Type findType(std::u16string_view qualifiedName) const;
  /// The same with a preference for types of the packages with these URIs.
  Type findType(std::u16string_view qualifiedName, const std::vector<ustring>& packageUris) const;
  /// Whether a package of this URI was added.
  bool hasPackage(std::string_view uri) const;
  /// The qualified name of the package with this URI, or nothing.
  std::optional<std::string> findPackageName(std::string_view uri) const;
  /// All packages in the order of their arrival, nested ones after the one around them.
  std::vector<PackageInfo> getPackages() const;

 private:
  friend class RegistryLoader;
  struct State;
  std::unique_ptr<State> state_;
};

namespace internal {

/// A standard type by its name; an empty handle for any other name.
KR0_FRAMEWORK_API PrimitiveType getPrimitiveTypeFromMetaRegistry(const ustring& name);

}  // namespace internal

}  // namespace kr::zero::meta
