/// @file
/// Internal: documents of every format, with the meta models that they need.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ProgressBar.h"
#include "kr/zero/Model.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/archive/Packing.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/ecore/Imperfect.h"
#include "kr/zero/io/ReadFailure.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::tool {

/// krb is the direct binary format, krt the tagged one, krz an archive of either. The last three are tables.
enum class Format { krb, krt, xmi, krz, json, sqlite, csv, ndjson };

/// Whether documents of a format are only written: tables do not tell all of a model.
constexpr bool isTables(Format format) { return format >= Format::sqlite; }

/// How much an input may unpack to unless the call says otherwise, in bytes.
inline constexpr std::uint64_t kDefaultLimit = archive::ArchiveLimits{}.bytes;

/// How documents are read.
struct ReadOptions {
  std::vector<std::string> metaModels = {};  ///< the files; archives need none
  std::string from = {};                     ///< format of the documents, empty: find out
  std::uint64_t limit = kDefaultLimit;       ///< bytes that one may unpack to
  std::vector<std::string> metaPath = {};    ///< folders where meta models are found by URI
  ecore::UriMap uriMap = {};                 ///< what URIs of documents and meta models mean
  bool keepGoing = false;                    ///< read what can be read, and tell the rest
  bool follow = false;                       ///< read what a document refers to in its folder, too
};

/// A document to read.
struct InputOptions : ReadOptions {
  std::string path;  ///< "-": standard input
};

/// The format of a name that --from or --to gives ("krb", "krt", "xmi", "krz", "json"), or of tables;
/// nothing for an empty name.
std::optional<Format> formatNamed(std::string_view name);
std::string_view nameOf(Format format);

/// The format in which a path is written: that of the extension .krb, .krt, .krz or .xmi; .gz and .zst behind
/// it say nothing of the format.
/// @param remedy what else may tell the format, as the complaint ends.
/// @throws WrongCall for a name that tells none.
Format outputFormat(const std::string& path, std::string_view remedy = {});

/// Meta models in a registry of their own. Copies share it.
class MetaModels {
 public:
  /// @throws Error where they cannot be taken in.
  explicit MetaModels(const std::vector<std::string>& paths, std::uint64_t limit = kDefaultLimit);
  /// Those that the options name, with what they find for these.
  explicit MetaModels(const ReadOptions& options) : MetaModels(options.metaModels, false, options) {}
  /// Those of an archive.
  MetaModels(std::unique_ptr<meta::MetaRegistry> registry, std::shared_ptr<const ecore::Mapping> mapping)
      : registry_(std::move(registry)), mapping_(std::move(mapping)) {}
  /// Those in these files, which are read once however many documents need them.
  /// @throws Error where they cannot be taken in.
  static MetaModels of(const std::vector<std::string>& paths, std::uint64_t limit);
  /// Those that the options name, and those that they find for the packages of a document, likewise.
  /// @return nothing where they name none and find none.
  static std::optional<MetaModels> find(const ReadOptions& options, const std::vector<std::string>& packages);

  const meta::MetaRegistry& registry() const { return *registry_; }
  const ecore::Mapping& mapping() const { return *mapping_; }

 private:
  MetaModels(const std::vector<std::string>& paths, bool withEcore, const ReadOptions& options);

  std::shared_ptr<const meta::MetaRegistry> registry_;
  std::shared_ptr<const ecore::Mapping> mapping_;
};

/// The bytes of a document, and their format.
struct Document {
  std::string name;
  std::vector<std::uint8_t> bytes;  ///< unpacked
  std::string_view viewed = {};     ///< the same where they are not in `bytes`, but somewhere else
  Format format = Format::krb;
  archive::Packing packing = archive::Packing::none;  ///< how the file is compressed as a whole
  std::size_t packedBytes = 0;                        ///< of the file
  std::uint64_t limit = kDefaultLimit;                ///< bytes that it may unpack to

  std::string_view text() const;
  /// As an archive, which it is where its format is krz.
  archive::ArchiveBytes asArchive() const { return {text(), name}; }
};

/// A model with the meta models that it lives by.
struct LoadedDocument {
  MetaModels metaModels;
  Model model;
};

/// What there is to say of how a model is written.
struct WriteOptions {
  std::optional<int> level = {};  ///< of compression, 1 to 19; empty: the usual one
  bool tagged = false;            ///< whether the document in an archive is in the tagged format
  std::optional<archive::Packing> packing = {};  ///< around the document; empty: as the name says
};

/// What a direct binary document says of itself before its first element.
struct BinaryHeader {
  std::string version;
  std::vector<std::string> packages;
};

/// The bytes of a file, unpacked.
/// @throws Error where that fails.
std::string readText(const std::string& path, std::uint64_t limit);

/// Reads a file or standard input, and unpacks what its content says is packed. Its format is the one given,
/// else krz where the content is an archive, else that of the extension (.krb, .krt, .xmi, .krz), else what
/// the content looks like.
/// @throws Error where it cannot be read or unpacked.
Document readDocument(const std::string& path, std::optional<Format> format, ProgressBar& progress,
                      std::uint64_t limit = kDefaultLimit);

/// What a document is: an archive by its content, else by its name's extension, else by its content.
Format formatOf(std::string_view text, const std::string& path);

/// The binary format of the document in an archive, which tells it itself where the manifest is damaged.
Format innerFormatOf(const archive::ArchiveReader& reader, std::string_view document);

/// @throws Error where a document is tables, which are only written.
void refuseTables(const std::string& path, std::optional<Format> format);

/// @throws Error where what came out of a packed file is packed, too.
void requireOneLayer(std::string_view unpacked, const std::string& name);

/// Does what may unpack a document, and has the error of its limit name the option that raises it.
template <class Work>
auto withinLimit(const Document& document, Work work) {
  try {
    return work();
  } catch (const Error& error) {
    if (error.getCode() != ErrorCode::overLimit) throw;
    throw Error(ErrorCode::overLimit,
                {.file = document.name,
                 .problem = "it unpacks to more than " + std::to_string(document.limit) +
                            " bytes; --limit allows more"});
  }
}

/// A binary document for what the library says of failures to read.
io::FailedDocument asFailed(const Document& document);

/// @throws Error where the header is malformed.
BinaryHeader readBinaryHeader(const Document& document);

/// The packages that a document says it uses, as far as that is told without a meta model.
std::vector<std::string> packagesOf(const Document& document);

/// Whether the meta models of a document that needs them are given, or can be found.
bool hasMetaModels(const Document& document, const ReadOptions& options);

/// @throws Error where the document is malformed or does not fit the meta models, as far as the options do
/// not
///   allow that.
Model readModel(const Document& document, const MetaModels& metaModels, ProgressBar& progress,
                const ReadOptions& options = {});

/// Reads a model by the meta models that the options name or, where they name none, by those that an archive
/// brings.
/// @throws WrongCall where there are neither.
LoadedDocument readModel(const Document& document, const ReadOptions& options, ProgressBar& progress);

///@{
/// Reads a document, or its model, and shows how far that has come.
/// @throws Error where it is malformed or does not fit the meta models.
/// @throws WrongCall where it needs a meta model and there is none.
Document loadBytes(const InputOptions& input);
LoadedDocument loadDocument(const InputOptions& input);
///@}

/// The bytes of a model in a format, not packed.
/// @throws Error for a model that the format cannot express.
std::string encodeModel(const Model& model, Format format, const MetaModels& metaModels,
                        ProgressBar& progress);

/// Writes a model to a file or standard output, packed as its name says; a failure leaves no file behind.
/// @throws Error for a model that the format cannot express.
/// @return the number of bytes written; 0 for tables.
std::size_t writeModel(const Model& model, const std::string& path, Format format,
                       const MetaModels& metaModels, ProgressBar& progress, const WriteOptions& options = {});

}  // namespace kr::zero::tool
