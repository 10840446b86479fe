#include <algorithm>
#include <boost/interprocess/streams/bufferstream.hpp>
#include <exception>
#include <fstream>
#include <optional>
#include <utility>

#include "Frames.h"
#include "Hash.h"
#include "Manifest.h"
#include "Zstandard.h"
#include "kr/zero/archive/Archive.h"

namespace kr::zero::archive {

namespace {

constexpr std::uint64_t kLargestManifest = std::uint64_t{64} << 20;
constexpr std::size_t kPiece = std::size_t{1} << 17;

/// A part of the file.
struct Extent {
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
};

std::string_view asText(const std::vector<std::uint8_t>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

struct ArchiveReader::Impl {
  std::string name;
  ArchiveLimits limits;
  std::unique_ptr<std::istream> file;
  std::uint64_t size = 0;
  std::optional<Extent> manifestAt;
  std::optional<Extent> metaModelAt;
  std::optional<Extent> documentAt;
  std::string manifestText;
  std::optional<Manifest> manifest;

  Impl(const std::filesystem::path& path, ArchiveLimits given) : name(path.string()), limits(given) {
    errno = 0;
    file = std::make_unique<std::ifstream>(path, std::ios::binary);
    if (!*file || !std::filesystem::is_regular_file(path)) failToRead(errno == 0 ? EINVAL : errno);
    size = std::filesystem::file_size(path);
    open();
  }

  Impl(const ArchiveBytes& archive, ArchiveLimits given) : name(archive.name), limits(given) {
    file = std::make_unique<boost::interprocess::ibufferstream>(archive.bytes.data(), archive.bytes.size());
    size = archive.bytes.size();
    open();
  }

  void open() {
    findParts();
    manifestText = readManifestText();
    manifest = parseManifest();
  }

  // --- Failures

  [[noreturn]] void fail(ErrorCode code, const std::string& problem) const {
    throw Error(code, {.file = name, .problem = problem});
  }
  [[noreturn]] void failToRead(int error) const {
    fail(ErrorCode::unreadable, "cannot be read, " + std::generic_category().message(error));
  }
  [[noreturn]] void failDamaged(const char* part, const std::string& why) const {
    fail(ErrorCode::damaged, "the " + std::string(part) + " of the archive is damaged: " + why);
  }
  [[noreturn]] void failStructure(std::uint64_t offset, const std::string& why) const {
    throw Error(offset == 0 ? ErrorCode::foreign : ErrorCode::damaged,
                {.file = name, .byteOffset = offset, .problem = why});
  }

  // --- The file

  std::string readAt(std::uint64_t offset, std::size_t bytes) {
    std::string read(bytes, '\0');
    file->clear();
    file->seekg(static_cast<std::streamoff>(offset));
    file->read(read.data(), static_cast<std::streamsize>(bytes));
    if (file->bad()) failToRead(EIO);
    read.resize(static_cast<std::size_t>(std::max<std::streamsize>(0, file->gcount())));
    return read;
  }

  void findParts() {
    std::uint64_t offset = 0;
    while (!documentAt) {
      const std::string head = readAt(offset, kFrameHeadBytes);
      if (head.size() < kFrameHeadBytes) failStructure(offset, "the archive ends before its document");
      const auto magic = static_cast<std::uint32_t>(fromLittleEndian(head.substr(0, kMagicBytes)));
      if (offset == 0 && magic != kManifestMagic)
        failStructure(offset, "this does not begin like an archive");
      if (magic == kDataMagic) {
        documentAt = {offset, size - offset};
      } else if (magic < kFirstSkippableMagic || magic > kLastSkippableMagic) {
        failStructure(offset, "there is no frame of an archive here");
      } else {
        const Extent content{offset + kFrameHeadBytes, fromLittleEndian(head.substr(kMagicBytes))};
        if (content.size > size - content.offset) failStructure(offset, "a frame is longer than the file");
        noteFrame(magic, offset, content);
        offset = content.offset + content.size;
      }
    }
    if (!metaModelAt) failStructure(documentAt->offset, "the archive has no frame for a meta model");
  }

  void noteFrame(std::uint32_t magic, std::uint64_t offset, Extent content) {
    if (magic != kManifestMagic && magic != kMetaModelMagic) return;  // somebody else's
    std::optional<Extent>& part = magic == kManifestMagic ? manifestAt : metaModelAt;
    if (part) failStructure(offset, "a frame of the archive is there twice");
    part = content;
  }

  // --- The manifest

  std::string readManifestText() {
    if (manifestAt->size > kLargestManifest || manifestAt->size < kChecksumBytes) return {};
    return readAt(manifestAt->offset + kChecksumBytes,
                  static_cast<std::size_t>(manifestAt->size) - kChecksumBytes);
  }

  /// Nothing for a damaged one; requireManifest() says why.
  std::optional<Manifest> parseManifest() {
    if (!isManifestSound()) return std::nullopt;
    try {
      return fromJson(manifestText);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& error) {
      manifestFault = error.what();
      return std::nullopt;
    }
  }

  bool isManifestSound() {
    const std::string checksum = readAt(manifestAt->offset, kChecksumBytes);
    return !manifestText.empty() && fromLittleEndian(checksum) == checksumOf(manifestText);
  }

  const Manifest& requireManifest() const {
    if (!manifest) failDamaged("manifest", manifestFault);
    return *manifest;
  }
  std::string manifestFault = "its checksum is another";

  // --- Content

  /// Decompresses a part.
  /// @param claimed its size as the manifest says it; nothing where there is no manifest.
  template <class Append>
  void unpack(const char* part, Extent at, std::optional<std::uint64_t> claimed, Append append) {
    if (claimed.value_or(0) > limits.bytes) failLimit(part);
    std::string piece;
    std::uint64_t read = 0;
    const auto give = [&] {
      piece =
          readAt(at.offset + read, static_cast<std::size_t>(std::min<std::uint64_t>(kPiece, at.size - read)));
      read += piece.size();
      return std::string_view(piece);
    };
    std::uint64_t unpacked = 0;
    const auto take = [&](std::string_view bytes) {
      unpacked += bytes.size();
      if (unpacked > limits.bytes) failLimit(part);
      if (unpacked > claimed.value_or(unpacked)) failDamaged(part, "it is longer than the manifest says");
      append(bytes);
    };
    try {
      decompress(give, take);
    } catch (const Error&) {
      throw;
    } catch (const std::runtime_error& error) {
      failDamaged(part, error.what());
    }
    if (claimed && unpacked < *claimed) failDamaged(part, "it is shorter than the manifest says");
  }

  [[noreturn]] void failLimit(const char* part) const {
    fail(ErrorCode::overLimit, "the " + std::string(part) + " of the archive unpacks to more than " +
                                   std::to_string(limits.bytes) + " bytes");
  }

  void requireHash(const char* part, std::string_view bytes, const std::string& hash) const {
    if (hashOf(bytes) != hash) failDamaged(part, "the manifest has another hash for it");
  }

  std::string unpackMetaModel() {
    const Manifest& known = requireManifest();
    std::string text;
    if (metaModelAt->size != 0)
      unpack("meta model", *metaModelAt, known.metaBytes, [&](std::string_view bytes) { text += bytes; });
    requireHash("meta model", text, known.metaHash);
    return text;
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

std::vector<ArchivePart> ArchiveReader::getParts() const {
  return {{"manifest", impl_->manifestAt->size},
          {"meta model", impl_->metaModelAt->size},
          {"document", impl_->documentAt->size}};
}

const Manifest& ArchiveReader::getManifest() const { return impl_->requireManifest(); }

const std::string& ArchiveReader::getManifestText() const {
  impl_->requireManifest();
  return impl_->manifestText;
}

std::vector<ecore::EcoreFile> ArchiveReader::readMetaModel() try {
  const std::string text = impl_->unpackMetaModel();
  std::vector<ecore::EcoreFile> files;
  std::size_t at = 0;
  for (const auto& [name, bytes] : impl_->requireManifest().files) {
    if (bytes > text.size() - at) impl_->failDamaged("manifest", "its files are longer than the meta model");
    files.push_back({name, text.substr(at, static_cast<std::size_t>(bytes))});
    at += static_cast<std::size_t>(bytes);
  }
  if (at != text.size()) impl_->failDamaged("manifest", "its files are shorter than the meta model");
  return files;
} catch (...) {
  rethrowAsError({.file = impl_->name});
}

std::vector<std::uint8_t> ArchiveReader::readDocument() try {
  const std::optional<Manifest>& manifest = impl_->manifest;
  std::vector<std::uint8_t> bytes;
  std::optional<std::uint64_t> claimed;
  if (manifest) claimed = manifest->bytes;
  // Room for all of it, within the limit, so that it never lies in memory twice; the system gives memory to
  // what is written there, not to what was asked for.
  if (claimed && *claimed <= impl_->limits.bytes) bytes.reserve(static_cast<std::size_t>(*claimed));
  impl_->unpack("document", *impl_->documentAt, claimed,
                [&](std::string_view piece) { bytes.insert(bytes.end(), piece.begin(), piece.end()); });
  if (manifest) impl_->requireHash("document", asText(bytes), manifest->hash);
  return bytes;
} catch (...) {
  rethrowAsError({.file = impl_->name});
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
