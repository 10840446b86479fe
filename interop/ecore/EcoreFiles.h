/// @file
/// Internal: .ecore files that are loaded together, and where a reference of one of them leads.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "BuiltInPackages.h"
#include "XmiReader.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::ecore {

inline constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

/// Most bytes of the URI of a package, of its name or that of a classifier with those of the packages around,
/// and of the name of a literal. Each is kept with everything that it names, so a long one would cost many
/// times its length.
inline constexpr std::size_t kLongestName = 512;

/// "the name of a literal is longer than 512 bytes"
inline std::string tooLong(std::string_view what) {
  return std::string(what).append(" is longer than ").append(std::to_string(kLongestName)).append(" bytes");
}

/// Ecore described in its own terms, in a registry of its own, so that .ecore files are read like any other
/// document. Annotations' contents and references are left out: they may hold anything, and a meta model does
/// not depend on them.
const Mapping::Impl& ecoreSchema();

/// A package of one of the files.
struct EcorePackage {
  std::size_t file;
  Element element;     // where Fragments can start
  std::size_t parent;  ///< index of the package around it, or kNowhere; always smaller than its own
  std::string uri;     ///< empty where the file gives none
  std::string qualifiedName;
};

/// Where a reference leads: exactly one of the three is filled.
struct EcoreTarget {
  std::size_t file = kNowhere;  ///< of `element`
  ConstElement element;
  const BuiltInPackage* package = nullptr;  ///< holds the type `builtIn`, and is in none of the files
  std::string builtIn;
  meta::Type known;  ///< a type that the registry knew before
};

class EcoreFiles {
 public:
  /// Reads the files, and those that the options bring for what they refer to; one that is named twice counts
  /// once.
  /// @throws EcoreError for a file that cannot be read or is not Ecore, and for all that is missing, unless
  /// the
  ///   options tolerate that.
  EcoreFiles(const std::vector<std::filesystem::path>& paths, const meta::MetaRegistry& registry,
             const MetaModelOptions& options);

  /// The same for files in memory.
  EcoreFiles(const std::vector<EcoreFile>& files, const meta::MetaRegistry& registry,
             const MetaModelOptions& options);

  std::size_t size() const noexcept { return files_.size(); }
  const XmiContent& content(std::size_t file) const { return *files_[file].content; }
  /// The text of a file in UTF-8.
  const std::string& text(std::size_t file) const { return files_[file].text; }
  /// The packages of all files, those around others first.
  const std::vector<EcorePackage>& packages() const noexcept { return packages_; }

  /// Where a reference of an element leads.
  /// @throws EcoreError where it leads to none of the files nor to what the registry knows.
  EcoreTarget follow(std::size_t file, ConstElement source, const char* property,
                     std::size_t position = 0) const;

  /// A type of Ecore itself.
  EcoreTarget findEcoreType(std::string_view name) const;

  /// @throws EcoreError with the line of an element.
  [[noreturn]] void fail(std::size_t file, ConstElement element, std::string_view what) const;

 private:
  struct File {
    std::filesystem::path place;  // absolute and without detours
    std::string text;
    std::unique_ptr<XmiContent> content;
  };

  /// A reference to something that is in none of the files.
  struct Missing {
    std::string uri;
    std::size_t file;
    ConstElement source;
    std::string text;
  };

  void read(const std::filesystem::path& path);
  void add(const EcoreFile& file);
  void add(std::filesystem::path place, const std::string& name, std::string bytes);
  bool has(const std::filesystem::path& place) const;
  void completeFiles();
  void completeFile(std::size_t file, std::vector<Missing>& missing);
  bool isKnown(std::size_t from, const std::string& uri) const;
  bool bring(std::size_t from, const std::string& uri);
  void tellMissing(const std::vector<Missing>& missing) const;
  void collectPackages(std::size_t file);
  EcorePackage describe(std::size_t file, Element element, std::size_t parent) const;
  EcoreTarget followOut(std::size_t file, std::string_view uri, std::string_view fragment) const;
  EcoreTarget find(std::size_t file, std::string_view fragment) const;
  EcoreTarget findInPackage(std::string_view uri, std::string_view fragment) const;
  EcoreTarget findBuiltIn(const BuiltInPackage& package, std::string_view fragment) const;
  EcoreTarget findInRegistry(std::string_view uri, std::string_view fragment) const;
  /// The file that a URI of the file `from` means, or kNowhere.
  std::size_t findFile(std::size_t from, std::string_view uri) const;
  std::size_t lookForFile(std::size_t from, std::string_view uri) const;

  const meta::MetaRegistry& registry_;
  const MetaModelOptions& options_;
  std::vector<File> files_;
  std::vector<EcorePackage> packages_;
  TextMap<std::size_t> packageByUri_;
  /// What URIs of a file meant when they were asked for last; forgotten with each file that comes.
  mutable std::unordered_map<std::size_t, TextMap<std::size_t>> filesByUri_;
};

}  // namespace kr::zero::ecore
