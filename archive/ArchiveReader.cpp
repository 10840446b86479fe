#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include "ArchiveFile.h"
#include "Frames.h"
#include "Hash.h"
#include "Manifest.h"
#include "Zstandard.h"
#include "kr/zero/archive/Archive.h"

namespace kr::zero::archive {

namespace {

constexpr std::size_t kSmallPiece = 256;
constexpr std::uint64_t kFrameChecksumBytes = 4;
constexpr std::uint64_t kMostAtOnce = std::uint64_t{1} << 20;  // compressed bytes that may lie in memory
// 8 MiB, which RFC 8878 asks every decompressor to have; our frames need an eighth of it.
constexpr FrameRules kRules{.largestWindowLog = 23, .provesItself = true};
// Documents become 10 to 30 times smaller.
constexpr std::uint64_t kUsualRatio = 256;

/// Room for a document before it is there: all that is claimed, so that it never lies in memory twice; less
/// where the frame is far too small for that, which then grows as bytes come.
std::size_t roomFor(std::uint64_t claimed, std::uint64_t compressed) {
  std::uint64_t room = claimed;
  while (room / kUsualRatio > compressed) room = (room + 1) / 2;
  return static_cast<std::size_t>(room);
}

/// Hands the bytes of a meta model out to its files, by the sizes in the manifest, whose sum is its size.
class FilesOfMetaModel {
 public:
  explicit FilesOfMetaModel(const Manifest& manifest) : manifest_(manifest) {
    for (const auto& [name, bytes] : manifest.files) files_.push_back({name, {}});
  }

  void add(std::string_view bytes) {
    while (!bytes.empty() && at_ < files_.size()) {
      std::string& text = files_[at_].text;
      const std::uint64_t missing = manifest_.files[at_].second - text.size();
      const auto taken = static_cast<std::size_t>(std::min<std::uint64_t>(missing, bytes.size()));
      text.append(bytes.substr(0, taken));
      bytes.remove_prefix(taken);
      if (taken == missing) ++at_;
    }
  }
  std::vector<ecore::EcoreFile> take() { return std::move(files_); }

 private:
  const Manifest& manifest_;
  std::vector<ecore::EcoreFile> files_;
  std::size_t at_ = 0;  // the file that is being filled
};

}  // namespace

struct ArchiveReader::Impl {
  ArchiveFile file;
  ArchiveLimits limits;
  std::string manifestText;
  std::optional<Manifest> manifest;  // nothing: manifestFault
  std::optional<Error> manifestFault;

  /// @param from a path, or bytes.
  template <class From>
  Impl(const From& from, ArchiveLimits given) : file(from), limits(given) {
    try {
      manifestText = readManifestText();
      manifest = parseManifest();
    } catch (const Error& error) {
      if (error.getCode() != ErrorCode::damaged) throw;
      manifestFault = error;
    }
  }

  // --- The manifest

  std::string readManifestText() {
    const Extent at = file.manifest();
    if (at.size < kChecksumBytes) file.failDamaged(kManifestPart, "it is cut short");
    if (at.size - kChecksumBytes > kLargestManifest)
      file.failDamaged(kManifestPart, "it has more than " + std::to_string(kLargestManifest) + " bytes");
    const std::string checksum = file.read(at.offset, kChecksumBytes);
    std::string text =
        file.read(at.offset + kChecksumBytes, static_cast<std::size_t>(at.size - kChecksumBytes));
    if (fromLittleEndian(checksum) != checksumOf(text))
      file.failDamaged(kManifestPart, "its checksum is another");
    return text;
  }

  Manifest parseManifest() const {
    try {
      return fromJson(manifestText);
    } catch (const std::runtime_error& error) {
      file.failDamaged(kManifestPart, error.what());
    }
  }

  const Manifest& requireManifest() const {
    if (!manifest) throw *manifestFault;
    return *manifest;
  }

  // --- Content

  /// What the manifest says of a part.
  struct Claim {
    std::uint64_t bytes;
    const std::string& hash;
  };

  /// Decompresses a part.
  /// @param claim nothing where there is no manifest.
  template <class Append>
  void unpack(const char* part, Extent at, const std::optional<Claim>& claim, Append append) {
    if (claim && claim->bytes > limits.bytes) failLimit(part);
    std::string piece;
    std::uint64_t read = 0;
    const auto give = [&] {
      piece = file.read(at.offset + read,
                        static_cast<std::size_t>(std::min<std::uint64_t>(kPieceBytes, at.size - read)));
      read += piece.size();
      return std::string_view(piece);
    };
    std::uint64_t unpacked = 0;
    Hasher hasher;
    const auto take = [&](std::string_view bytes) {
      unpacked += bytes.size();
      if (unpacked > limits.bytes) failLimit(part);
      if (claim && unpacked > claim->bytes) file.failDamaged(part, "it is longer than the manifest says");
      if (claim) hasher.add(bytes);
      append(bytes);
    };
    decompressPart(part, give, take);
    if (claim && unpacked < claim->bytes) file.failDamaged(part, "it is shorter than the manifest says");
    if (claim && hasher.digits() != claim->hash)
      file.failDamaged(part, "the manifest has another hash for it");
  }

  /// Decompresses a document of usual size in one step.
  /// @return false, and nothing is there, where that cannot be done: unpack() does it, or says why not.
  bool unpackAtOnce(Extent at, const Claim& claim, std::vector<std::uint8_t>& bytes) {
    if (at.size > kMostAtOnce || claim.bytes > limits.bytes || roomFor(claim.bytes, at.size) != claim.bytes)
      return false;
    const std::string frame = file.read(at.offset, static_cast<std::size_t>(at.size));
    bytes.resize(static_cast<std::size_t>(claim.bytes));
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (decompressAtOnce(frame, bytes, kRules) && hashOf(text) == claim.hash) return true;
    bytes.clear();
    return false;
  }

  void decompressPart(const char* part, const GivePiece& give, const TakePiece& take) const {
    try {
      decompress(give, take, kRules);
    } catch (const Error&) {
      throw;
    } catch (const std::runtime_error& error) {
      file.failDamaged(part, error.what());
    }
  }

  [[noreturn]] void failLimit(const char* part) const {
    file.fail(ErrorCode::overLimit, "the " + std::string(part) + " of the archive unpacks to more than " +
                                        std::to_string(limits.bytes) +
                                        " bytes, which is the limit; ArchiveLimits::bytes sets it");
  }
};

ArchiveReader::ArchiveReader(const std::filesystem::path& path, ArchiveLimits limits) {
  try {
    impl_ = std::make_unique<Impl>(path, limits);
  } catch (...) {
    rethrowAsError({.file = path.string()}, ErrorCode::unreadable);
  }
}

ArchiveReader::ArchiveReader(const ArchiveBytes& archive, ArchiveLimits limits) {
  try {
    impl_ = std::make_unique<Impl>(archive, limits);
  } catch (...) {
    rethrowAsError({.file = archive.name}, ErrorCode::unreadable);
  }
}

ArchiveReader::~ArchiveReader() = default;

std::vector<ArchivePart> ArchiveReader::getParts() const { return impl_->file.parts(); }

const std::string& ArchiveReader::name() const { return impl_->file.name(); }

const Manifest& ArchiveReader::getManifest() const { return impl_->requireManifest(); }

const std::string& ArchiveReader::getManifestText() const {
  impl_->requireManifest();
  return impl_->manifestText;
}

std::vector<ecore::EcoreFile> ArchiveReader::readMetaModel() try {
  const Manifest& manifest = impl_->requireManifest();
  const Extent at = impl_->file.metaModel();
  FilesOfMetaModel files(manifest);
  if (at.size != 0)
    impl_->unpack(kMetaModelPart, at, Impl::Claim{manifest.metaBytes, manifest.metaHash},
                  [&](std::string_view bytes) { files.add(bytes); });
  else if (manifest.metaBytes != 0)
    impl_->file.failDamaged(kMetaModelPart, "it is shorter than the manifest says");
  else if (manifest.metaHash != hashOf({}))
    impl_->file.failDamaged(kMetaModelPart, "the manifest has another hash for it");
  return files.take();
} catch (...) {
  rethrowAsError({.file = name()});
}

std::vector<std::uint8_t> ArchiveReader::readDocument() try {
  const Extent at = impl_->file.document();
  const std::optional<Manifest>& manifest = impl_->manifest;
  std::vector<std::uint8_t> bytes;
  std::optional<Impl::Claim> claim;
  if (manifest) {
    claim.emplace(Impl::Claim{manifest->bytes, manifest->hash});
    if (impl_->unpackAtOnce(at, *claim, bytes)) return bytes;
    bytes.reserve(roomFor(std::min(claim->bytes, impl_->limits.bytes), at.size));
  }
  impl_->unpack(kDocumentPart, at, claim, [&](std::string_view piece) {
    const auto* const begin = reinterpret_cast<const std::uint8_t*>(piece.data());
    bytes.insert(bytes.end(), begin, begin + piece.size());
  });
  return bytes;
} catch (...) {
  rethrowAsError({.file = name()});
}

void ArchiveReader::readDocument(const std::function<void(std::string_view)>& take) try {
  std::optional<Impl::Claim> claim;
  if (impl_->manifest) claim.emplace(Impl::Claim{impl_->manifest->bytes, impl_->manifest->hash});
  impl_->unpack(kDocumentPart, impl_->file.document(), claim, take);
} catch (...) {
  rethrowAsError({.file = name()});
}

PartialDocument ArchiveReader::readPartialDocument() try {
  const Extent at = impl_->file.document();
  PartialDocument document;
  std::string piece;
  std::uint64_t read = 0;
  // What is unpacked while something is found to be wrong is lost, so the pieces are small, and the checksum,
  // which stands at the end, is one of its own.
  const auto give = [&] {
    const std::uint64_t left = at.size - read;
    const std::uint64_t next = left > kFrameChecksumBytes ? left - kFrameChecksumBytes : left;
    piece = impl_->file.read(at.offset + read,
                             static_cast<std::size_t>(std::min<std::uint64_t>(kSmallPiece, next)));
    read += piece.size();
    return std::string_view(piece);
  };
  const auto take = [&](std::string_view bytes) {
    const auto* const begin = reinterpret_cast<const std::uint8_t*>(bytes.data());
    document.bytes.insert(document.bytes.end(), begin, begin + bytes.size());
    if (document.bytes.size() > impl_->limits.bytes) impl_->failLimit(kDocumentPart);
  };
  try {
    decompress(give, take, {.largestWindowLog = kRules.largestWindowLog});
    const std::optional<Manifest>& manifest = impl_->manifest;
    const std::string_view text(reinterpret_cast<const char*>(document.bytes.data()), document.bytes.size());
    if (manifest && hashOf(text) != manifest->hash) document.damage = "the manifest has another hash for it";
  } catch (const Error&) {
    throw;
  } catch (const std::runtime_error& error) {
    document.damage = error.what();
  }
  return document;
} catch (...) {
  rethrowAsError({.file = name()});
}

bool looksLikeArchive(std::string_view beginning) {
  if (!beginning.starts_with(littleEndian(kManifestMagic, kMagicBytes))) return false;
  const std::uint64_t size = fromLittleEndian(beginning.substr(kMagicBytes, kFrameHeadBytes - kMagicBytes));
  const auto from = [&](std::uint64_t place) {
    return beginning.substr(static_cast<std::size_t>(std::min<std::uint64_t>(place, beginning.size())));
  };
  return from(kFrameHeadBytes + kChecksumBytes).starts_with('{') ||
         from(kFrameHeadBytes + size).starts_with(littleEndian(kMetaModelMagic, kMagicBytes));
}

}  // namespace kr::zero::archive
