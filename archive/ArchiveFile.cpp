#include "ArchiveFile.h"

#include <algorithm>
#include <boost/interprocess/streams/bufferstream.hpp>
#include <cerrno>
#include <fstream>
#include <system_error>

#include "Frames.h"
#include "kr/zero/io/ReadFailure.h"

namespace kr::zero::archive {

ArchiveFile::ArchiveFile(const std::filesystem::path& path) : name_(path.string()) {
  open(path);
  requireBeginning();
  findParts();
}

ArchiveFile::ArchiveFile(const ArchiveBytes& archive)
    : name_(archive.name),
      file_(std::make_unique<boost::interprocess::ibufferstream>(archive.bytes.data(), archive.bytes.size())),
      size_(archive.bytes.size()) {
  requireBeginning();
  findParts();
}

void ArchiveFile::open(const std::filesystem::path& path) {
  const auto refuse = [this](const std::string& why) { fail(ErrorCode::unreadable, io::unreadableFor(why)); };
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  // Anything else may have no end, or no way back.
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
    refuse("it is no regular file");
  errno = 0;
  file_ = std::make_unique<std::ifstream>(path, std::ios::binary);
  if (!*file_) fail(ErrorCode::unreadable, io::unreadableFor(errno == 0 ? EIO : errno));
  size_ = std::filesystem::file_size(path);
}

void ArchiveFile::requireBeginning() {
  if (size_ == 0) throw Error(ErrorCode::foreign, {.file = name_, .problem = "the document is empty"});
  const std::string magic = read(0, kMagicBytes);
  if (magic.size() < kMagicBytes || fromLittleEndian(magic) != kManifestMagic)
    throw Error(ErrorCode::foreign,
                {.file = name_, .byteOffset = 0, .problem = "this does not begin like an archive"});
}

// --- Frames

void ArchiveFile::findParts() {
  std::uint64_t offset = 0;
  for (bool isGoingOn = true; isGoingOn && !document_;) {
    const std::string head = read(offset, kFrameHeadBytes);
    const std::string next = nextPart();
    // The file may have grown meanwhile.
    if (head.size() < kFrameHeadBytes || size_ - offset < kFrameHeadBytes) {
      isGoingOn = stop(offset, "the archive ends before its " + next);
      continue;
    }
    const auto magic = static_cast<std::uint32_t>(fromLittleEndian(head.substr(0, kMagicBytes)));
    const Extent content{offset + kFrameHeadBytes, fromLittleEndian(head.substr(kMagicBytes))};
    if (magic == kDataMagic) {
      document_ = {offset, size_ - offset};
    } else if (magic < kFirstSkippableMagic || magic > kLastSkippableMagic) {
      isGoingOn = stop(offset, "there is no frame of an archive where the " + next + " should begin");
    } else if (content.size > size_ - content.offset) {
      isGoingOn = stop(offset, "a frame is longer than the file where the " + next + " should begin");
    } else {
      isGoingOn = noteFrame(magic, offset, content);
      offset = content.offset + content.size;
    }
  }
}

bool ArchiveFile::noteFrame(std::uint32_t magic, std::uint64_t offset, Extent content) {
  if (magic != kManifestMagic && magic != kMetaModelMagic) return true;  // somebody else's
  const bool isManifest = magic == kManifestMagic;
  Part& part = isManifest ? manifest_ : metaModel_;
  if (part)
    return stop(offset,
                std::string("the ") + (isManifest ? kManifestPart : kMetaModelPart) + " is there twice");
  part = content;
  return true;
}

const char* ArchiveFile::nextPart() const {
  if (!manifest_) return kManifestPart;
  return metaModel_ ? kDocumentPart : kMetaModelPart;
}

/// Ends the search.
bool ArchiveFile::stop(std::uint64_t offset, const std::string& why) {
  fault_ = Error(ErrorCode::damaged, {.file = name_, .byteOffset = offset, .problem = why});
  return false;
}

Extent ArchiveFile::require(const Part& part, const char* name) const {
  if (part) return *part;
  if (fault_) throw *fault_;
  failDamaged(name, "its frame is missing");
}

std::vector<ArchivePart> ArchiveFile::parts() const {
  std::vector<ArchivePart> parts;
  const auto add = [&parts](const char* name, const Part& part) {
    if (part) parts.push_back({name, part->size, part->offset});
  };
  add(kManifestPart, manifest_);
  add(kMetaModelPart, metaModel_);
  add(kDocumentPart, document_);
  return parts;
}

// --- Bytes

std::string ArchiveFile::read(std::uint64_t offset, std::size_t bytes) {
  std::string read(bytes, '\0');
  file_->clear();
  file_->seekg(static_cast<std::streamoff>(offset));
  file_->read(read.data(), static_cast<std::streamsize>(bytes));
  if (file_->bad()) fail(ErrorCode::unreadable, io::unreadableFor(EIO));
  read.resize(static_cast<std::size_t>(std::max<std::streamsize>(0, file_->gcount())));
  return read;
}

// --- Failures

void ArchiveFile::fail(ErrorCode code, const std::string& problem) const {
  throw Error(code, {.file = name_, .problem = problem});
}

void ArchiveFile::failDamaged(const char* part, const std::string& why) const {
  fail(ErrorCode::damaged, "the " + std::string(part) + " of the archive is damaged: " + why);
}

}  // namespace kr::zero::archive
