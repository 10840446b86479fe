/// @file
/// Internal: where the parts of an archive lie in its file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <istream>
#include <memory>
#include <optional>
#include <string>

#include "kr/zero/Error.h"
#include "kr/zero/archive/Archive.h"

namespace kr::zero::archive {

/// A part of the file, without the head of its frame.
struct Extent {
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
};

/// What errors call the parts.
inline constexpr const char* kManifestPart = "manifest";
inline constexpr const char* kMetaModelPart = "meta model";
inline constexpr const char* kDocumentPart = "document";

/// A file that begins like an archive. Where its frames do not go on as those of an archive, what comes
/// before is there, and asking for anything else says what is wrong. Frames are looked at, not believed: none
/// reaches beyond the file.
class ArchiveFile {
 public:
  /// @throws Error for a file that cannot be read, or begins otherwise.
  explicit ArchiveFile(const std::filesystem::path& path);
  /// The same for a file that is in memory.
  explicit ArchiveFile(const ArchiveBytes& archive);

  const std::string& name() const { return name_; }
  ///@{
  /// @throws Error where it was not found.
  Extent manifest() const { return require(manifest_, kManifestPart); }
  Extent metaModel() const { return require(metaModel_, kMetaModelPart); }
  /// It reaches to the end of the file.
  Extent document() const { return require(document_, kDocumentPart); }
  ///@}

  /// All parts that were found.
  std::vector<ArchivePart> parts() const;

  /// Reads some bytes; fewer where the file ends before, as it may have shrunk.
  std::string read(std::uint64_t offset, std::size_t bytes);

  [[noreturn]] void fail(ErrorCode code, const std::string& problem) const;
  [[noreturn]] void failDamaged(const char* part, const std::string& why) const;

 private:
  using Part = std::optional<Extent>;

  void open(const std::filesystem::path& path);
  void requireBeginning();
  void findParts();
  bool noteFrame(std::uint32_t magic, std::uint64_t offset, Extent content);
  const char* nextPart() const;
  bool stop(std::uint64_t offset, const std::string& why);
  Extent require(const Part& part, const char* name) const;

  std::string name_;
  std::unique_ptr<std::istream> file_;
  std::uint64_t size_ = 0;
  Part manifest_;
  Part metaModel_;
  Part document_;
  std::optional<Error> fault_;  // what ended the search for parts
};

}  // namespace kr::zero::archive
