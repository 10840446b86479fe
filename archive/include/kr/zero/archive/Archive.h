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
#include <functional>
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

///@{
/// Levels of compression, as Zstandard counts them: from fast to small.
inline constexpr int kFastestLevel = 1;
inline constexpr int kSmallestLevel = 19;
/// Smaller than gzip makes the XMI document, in less time.
inline constexpr int kDefaultLevel = 8;
///@}

/// How an archive is written.
struct ArchiveOptions {
  /// Whose files go into the archive; of the model's registry. Null: the meta model is written from the
  /// registry, without what a registry does not keep (documentation, operations).
  const ecore::Mapping* mapping = nullptr;
  bool tagged = false;        ///< whether the document inside is in the tagged format; else in the direct one
  int level = kDefaultLevel;  ///< kFastestLevel to kSmallestLevel
  io::Progress progress = {};  ///< called while elements are written
};

/// Writes a model and the meta model that it uses to a file, all or nothing, as io::saveModel does. Same
/// model, same meta model, same level: same bytes, with the same release of libzstd. Takes the memory of the
/// document and less than 4 MiB beside the model.
/// @throws Error: misuse for a level out of range or the mapping of another registry; inexpressible for a
///   model that the format, or a meta model that Ecore cannot express; unwritable, with the system's reason;
///   cancelled by `progress`. The old file is then as it was.
KR0_ARCHIVE_API void saveArchive(const Model& model, const std::filesystem::path& path,
                                 const ArchiveOptions& options = {});
/// The same to memory, in place of what is there. A model that cannot be written leaves it as it was.
KR0_ARCHIVE_API void writeArchive(const Model& model, std::string& bytes, const ArchiveOptions& options = {});

/// A package of the meta model of an archive.
struct ArchivedPackage {
  std::string uri;          ///< its namespace URI
  std::string name;         ///< qualified
  std::string fingerprint;  ///< see fingerprintOf
};

/// What an archive says of itself.
struct Manifest {
  int version = 1;              ///< of the archive format
  bool tagged = false;          ///< whether the document is in the tagged format; else in the direct one
  std::uint64_t bytes = 0;      ///< of the document
  std::string hash;             ///< of the document: XXH3-128 in 32 hexadecimal digits
  std::uint64_t metaBytes = 0;  ///< of the meta model: the sum of its files
  std::string metaHash;         ///< of the meta model's files, one behind the other
  std::vector<std::pair<std::string, std::uint64_t>> files;  ///< names and sizes of these files
  std::vector<ArchivedPackage> packages;                     ///< all that the model uses, sorted by URI
};

/// How much an archive may unpack to. More than that is refused (ErrorCode::overLimit) as soon as it is met.
struct ArchiveLimits {
  /// Of document and meta model, each: 4 GiB. io::ReadLimits::kNone for no limit.
  std::uint64_t bytes = std::uint64_t{4} << 30;
};

/// An archive in memory.
struct ArchiveBytes {
  std::string_view bytes;            ///< the whole file; the caller's, and must outlive the reader
  std::string name = "the archive";  ///< what errors call it
};

/// A part of an archive as it lies in its file.
struct ArchivePart {
  std::string name;          ///< "manifest", "meta model" or "document"
  std::uint64_t bytes = 0;   ///< that it takes there
  std::uint64_t offset = 0;  ///< of the first of them: behind the head of a skippable frame
};

/// As much of a document as can be had.
struct PartialDocument {
  std::vector<std::uint8_t>
      bytes;                ///< those before the damage, or all, of which some may be others than they were
  std::string damage = {};  ///< what is wrong; empty: it is whole
};

/// A model with what it needs to live.
struct LoadedArchive {
  std::unique_ptr<meta::MetaRegistry> registry;   ///< the archive's own, with nothing else in it
  std::shared_ptr<const ecore::Mapping> mapping;  ///< for XMI, and for another archive; of `registry`
  Model model;                                    ///< of `registry`
};

/// Reads the parts of an archive one by one. What is whole can be had although another part is damaged:
/// without the manifest the document is still proved by its own checksum; the manifest and the meta model do
/// not need the document. Errors name the part. Reading takes the memory of what is read and less than 4 MiB
/// (10 MiB where another program wrote the archive, with a larger window); what is claimed allocates nothing.
class KR0_ARCHIVE_API ArchiveReader {
 public:
  /// Opens the file and finds its parts.
  /// @throws Error: unreadable for a file that cannot be read, or is no regular one; foreign for one that
  ///   does not begin like an archive.
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
  /// The manifest as it stands in the file: JSON; lives as long as the reader.
  /// @throws Error where it is damaged.
  const std::string& getManifestText() const;
  /// The files of the meta model; none where all of it is built in. Names are paths with '/', and whoever
  /// writes files by them must look at where they lead.
  /// @throws Error where the meta model or the manifest is damaged, or it is over the limit.
  std::vector<ecore::EcoreFile> readMetaModel();
  /// The bytes of the document. Where the manifest is damaged their own checksum has to do.
  /// @throws Error where it is damaged, or over the limit.
  std::vector<std::uint8_t> readDocument();
  /// The same piece by piece, for documents that are not to be in memory as a whole. What was taken is proved
  /// only when the call returns.
  void readDocument(const std::function<void(std::string_view)>& take);
  /// The bytes of a document as far as they can be unpacked.
  /// @throws Error where there is no document, or it is over the limit.
  PartialDocument readPartialDocument();
  /// The meta model ready for use, and no model: `model` is empty.
  /// @throws Error where it or the manifest is damaged, or over the limit.
  LoadedArchive loadMetaModel();
  /// The model, by the meta model of the archive.
  /// @throws Error where any part is damaged, or over the limit.
  LoadedArchive readModel();

 private:
  struct Impl;
  const std::string& name() const;

  std::unique_ptr<Impl> impl_;
};

///@{
/// Reads an archive by the meta model that it brings.
/// @throws Error as ArchiveReader and its readModel do.
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
/// not from documentation, order or layout. docs/formats/archive.md defines it.
/// @throws Error (misuse) for a URI that the registry does not know.
KR0_ARCHIVE_API std::string fingerprintOf(const meta::MetaRegistry& registry, const std::string& packageUri);

/// Whether a document begins like an archive, and not like a Zstandard file with a note of some other program
/// in front.
/// @param beginning as much of the document as there is: where one of the first two parts is damaged, the
///   other tells.
KR0_ARCHIVE_API bool looksLikeArchive(std::string_view beginning);

}  // namespace kr::zero::archive
