/// @file
/// Input that is not as it should be, and input in several places: what may be stepped over, what stands for
/// what, and where the rest is found.
///
///     kr::zero::ecore::XmiReadOptions options;
///     options.onProblem = [](const kr::zero::ecore::Problem& problem) {
///       std::cerr << problem.file << ':' << problem.line << ": " << problem.sentence << '\n';
///     };
///     options.source = kr::zero::ecore::filesBeside("books.xmi");
///     const kr::zero::Model model = kr::zero::ecore::readXmiFile("books.xmi", *mapping, options);
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kr/zero/ecore/Ecore.h"

namespace kr::zero::ecore {

/// What kind of thing was stepped over.
enum class ProblemKind {
  duplicateId,     ///< two elements have one xmi:id, or a reference could mean several elements
  unknownFeature,  ///< an attribute or element that the class does not have, or does not store
  unknownClass,    ///< a class that its package does not have, or that can have no elements here
  missingPackage,  ///< a package that is in none of the meta models
  badValue,        ///< a text that is no value of its type, or a value that is given twice
  missingTarget,   ///< a reference that leads nowhere
  missingType,     ///< of a meta model: a type or supertype that is in none of the files
  other            ///< anything else that a model cannot keep
};

/// Something that was stepped over, or read in a way that may not be what was meant.
struct Problem {
  ProblemKind kind = ProblemKind::other;  ///< what kind of thing it is
  std::string file;                       ///< name of the document
  std::size_t line = 0;                   ///< from 1; 0 where it is no matter of one line
  std::string sentence;                   ///< what is wrong, and what was done about it
};

/// Hears of problems, in the order in which they are met; what it throws ends the reading.
using ProblemListener = std::function<void(const Problem&)>;

/// URIs that stand for others. What is said of one URI goes before what is said of a folder; nothing is
/// looked up twice.
class KR0_ECORE_API UriMap {
 public:
  /// Says that one URI means another one. Where both end in "/", so does every URI that begins with the
  /// first.
  void add(std::string from, std::string to);
  /// What a URI means: itself, where nothing is said of it.
  std::string map(std::string_view uri) const;
  /// Whether nothing is said of any URI.
  bool isEmpty() const noexcept { return entries_.empty(); }

 private:
  std::vector<std::pair<std::string, std::string>> entries_;
};

/// Gives the bytes of a document that another one refers to.
/// @param path relative to the folder of the document that is read, '/' between folders; it never leads out
///   of that folder.
/// @throws Error where there is no such document; it is said as it is.
using DocumentSource = std::function<std::string(const std::string& path)>;

/// A source of the files in the folder of a document, and below it.
KR0_ECORE_API DocumentSource filesBeside(const std::filesystem::path& document);

/// How an XMI document is read.
struct XmiReadOptions {
  Progress progress = {};  ///< hears how far it is
  /// Where it is given, what can be read is read, and this hears of the rest:
  /// - What the class does not have is left out with all inside of it. Positions in paths count it all the
  ///   same, so that no reference comes to mean a neighbour.
  /// - A text that is no value of its type is left out; of a single value that is given twice the last
  /// counts.
  /// - A reference that leads nowhere stays unresolved, as one to this document.
  /// - Of several elements of one xmi:id, a reference means the latest before it, or the last where there is
  ///   none before it; the last one keeps the id. Of elements that share an identifying value it means the
  ///   first, and one with that xmi:id before these.
  ProblemListener onProblem = {};
  /// What URIs of the document mean: of packages, of documents that it refers to, and in schemaLocation.
  UriMap uriMap = {};
  /// Where it is given, references and children by `href` to other documents of the same folder and below are
  /// followed, each document is read once, and their roots become roots behind those of this one. What leads
  /// elsewhere (out of the folder, an absolute path, a URL) stays unresolved. An xmi:id that another document
  /// had before is kept with the path of its document as first part of the identity.
  DocumentSource source = {};
};

/// Reads an XMI document as readXmi does, with what the options allow.
/// @throws Error for what they do not allow, bytes that are not XML, and what the listener or source throws.
KR0_ECORE_API Model readXmi(std::string_view document, std::string_view name, const Mapping& mapping,
                            const XmiReadOptions& options);
/// The same for a file.
/// @throws Error also for a file that cannot be read.
KR0_ECORE_API Model readXmiFile(const std::filesystem::path& path, const Mapping& mapping,
                                const XmiReadOptions& options);

/// How meta models are loaded.
struct MetaModelOptions {
  /// Where it is given, features and supertypes whose types are missing are left out, and this hears of them.
  ProblemListener onProblem = {};
  /// What URIs of other files and packages mean.
  UriMap uriMap = {};
  /// Asked for each URI that a file refers to and no file is for: gives the file, or nothing.
  std::function<std::optional<EcoreFile>(const std::string& uri)> findFile = {};
};

/// Takes .ecore files into a registry as loadEcoreFiles does, with what the options allow.
/// @throws Error for what they do not allow. What is missing is said in one sentence.
KR0_ECORE_API std::shared_ptr<const Mapping> loadEcoreFiles(const std::vector<EcoreFile>& files,
                                                            meta::MetaRegistry& registry,
                                                            const MetaModelOptions& options);

/// The namespaces that an XMI document declares, XML's and XMI's own left out: most are URIs of packages.
/// Does not read the document as a whole: what only looks like a declaration may be among them.
/// @throws Error for an encoding that is not known, or bytes that are not in it.
KR0_ECORE_API std::vector<std::string> declaredNamespaces(std::string_view document, std::string_view name);

/// URIs of the packages that an .ecore file holds, likewise.
KR0_ECORE_API std::vector<std::string> declaredPackages(std::string_view document, std::string_view name);

}  // namespace kr::zero::ecore
