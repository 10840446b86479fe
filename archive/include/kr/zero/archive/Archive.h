/// @file
/// Archives: documents that bring their meta model and can prove that they are whole. docs/formats/archive.md
/// tells the bytes.
///
///     kr::zero::archive::saveArchive(model, "books.krz");
///     kr::zero::archive::LoadedArchive books = kr::zero::archive::loadArchive("books.krz");
///     for (kr::zero::Element e : books.model.elements()) use(e);
///
/// Everything here throws kr::zero::Error and nothing else; a damaged archive's says which part is damaged.
/// Threads: each call, and each reader, is on its own.
#pragma once

#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/archive/export.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/evolution/CarryOverReport.h"
#include "kr/zero/io/ParseOptions.h"

namespace kr::zero::archive {

/// Level of compression, as Zstandard counts them: from 1, fast, to 19, small.
inline constexpr int kDefaultLevel = 8;

struct ArchiveOptions {
  /// Whose files go into the archive. Null: the meta model is written from the model's registry.
  const ecore::Mapping* mapping = nullptr;
  bool tagged = false;  ///< whether the document inside is in the tagged format; else in the direct one
  int level = kDefaultLevel;
  io::Progress progress = {};
};

/// Writes a model and the meta model that it uses to a file, all or nothing. Same model, same meta model,
/// same level: same bytes.
KR0_ARCHIVE_API void saveArchive(const Model& model, const std::filesystem::path& path,
                                 const ArchiveOptions& options = {});
/// The same to memory, in place of what is there. A model that cannot be written leaves it as it was.
KR0_ARCHIVE_API void writeArchive(const Model& model, std::string& bytes, const ArchiveOptions& options = {});

/// A package of the meta model of an archive.
struct ArchivedPackage {
  std::string uri;
  std::string name;         ///< qualified
  std::string fingerprint;  ///< see fingerprintOf
};

/// What an archive says of itself.
struct Manifest {
  int version = 1;          ///< of the archive format
  bool tagged = false;      ///< format of the document
  std::uint64_t bytes = 0;  ///< of the document
  std::string hash;         ///< of the document: XXH3-128 in 32 hexadecimal digits
  std::uint64_t metaBytes = 0;
  std::string metaHash;  ///< of the meta model's files, one behind the other
  std::vector<std::pair<std::string, std::uint64_t>> files;  ///< names and sizes of these files
  std::vector<ArchivedPackage> packages;
};

/// How much an archive may unpack to.
struct ArchiveLimits {
  std::uint64_t bytes = std::numeric_limits<std::uint64_t>::max();  ///< of document and meta model, each
};

/// An archive in memory.
struct ArchiveBytes {
  std::string_view bytes;            ///< the whole file; the caller's, and must outlive the reader
  std::string name = "the archive";  ///< what errors call it
};

/// A part of an archive as it lies in its file.
struct ArchivePart {
  std::string name;         ///< "manifest", "meta model" or "document"
  std::uint64_t bytes = 0;  ///< that it takes there
};

/// Reads the parts of an archive one by one. What is whole can be had although another part is damaged.
class KR0_ARCHIVE_API ArchiveReader {
 public:
  /// Opens the file and finds its parts.
  /// @throws Error for a file that cannot be read, or is no archive.
  explicit ArchiveReader(const std::filesystem::path& path, ArchiveLimits limits = {});
  /// The same for an archive in memory.
  explicit ArchiveReader(const ArchiveBytes& archive, ArchiveLimits limits = {});
  ~ArchiveReader();
  ArchiveReader(const ArchiveReader&) = delete;
  ArchiveReader& operator=(const ArchiveReader&) = delete;

  /// The parts in their order, damaged ones too.
  std::vector<ArchivePart> getParts() const;
  /// The manifest; lives as long as the reader.
  /// @throws Error where it is damaged.
  const Manifest& getManifest() const;
  /// The manifest as it stands in the file: JSON.
  const std::string& getManifestText() const;
  /// The files of the meta model; none where all of it is built in.
  std::vector<ecore::EcoreFile> readMetaModel();
  /// The bytes of the document. Where the manifest is damaged their own checksum has to do.
  std::vector<std::uint8_t> readDocument();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// A model with what it needs to live.
struct LoadedArchive {
  std::unique_ptr<meta::MetaRegistry> registry;
  std::shared_ptr<const ecore::Mapping> mapping;
  Model model;  ///< of `registry`
};

///@{
/// Reads an archive by the meta model that it brings.
KR0_ARCHIVE_API LoadedArchive loadArchive(const std::filesystem::path& path,
                                          const ArchiveLimits& limits = {});
KR0_ARCHIVE_API LoadedArchive loadArchive(const ArchiveBytes& archive, const ArchiveLimits& limits = {});
///@}

///@{
/// Reads an archive by a meta model that is there already. Where a package of the archive has another
/// fingerprint in the registry, the archive is read by the meta model that it brings, and its model carried
/// over (kr/zero/evolution/CarryOver.h).
/// @param registry must outlive the model.
/// @param report where it is not null, and the model had to be carried over: gets what became of everything.
/// @throws Error also where carrying over would lose something (ErrorCode::doesNotFit; the problems are the
///   losses, and the sentence says which command carries over the rest).
KR0_ARCHIVE_API Model loadArchive(const std::filesystem::path& path, const meta::MetaRegistry& registry,
                                  const ArchiveLimits& limits = {},
                                  evolution::CarryOverReport* report = nullptr);
KR0_ARCHIVE_API Model loadArchive(const ArchiveBytes& archive, const meta::MetaRegistry& registry,
                                  const ArchiveLimits& limits = {},
                                  evolution::CarryOverReport* report = nullptr);
///@}

/// 32 hexadecimal digits that tell whether two packages write and mean the same: made from class names,
/// supertypes, abstractness, property names, numbers, types, bounds, markers, and literals with numbers, and
/// not from documentation, order or layout.
/// @throws Error for a URI that the registry does not know.
KR0_ARCHIVE_API std::string fingerprintOf(const meta::MetaRegistry& registry, const std::string& packageUri);

/// Whether a document begins like an archive, and not like a Zstandard file with a note of some other program
/// in front.
/// @param beginning as much of the document as there is: where one of the first two parts is damaged, the
/// other
///   tells.
KR0_ARCHIVE_API bool looksLikeArchive(std::string_view beginning);

}  // namespace kr::zero::archive
