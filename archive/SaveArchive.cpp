#include <algorithm>
#include <optional>
#include <span>

#include "DocumentText.h"
#include "Fingerprint.h"
#include "Frames.h"
#include "Hash.h"
#include "Manifest.h"
#include "Zstandard.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/io/AtomicFile.h"
#include "kr/zero/io/SerializeCustomizer.h"

namespace kr::zero::archive {

namespace {

std::vector<std::string> packagesOf(const Model& model) {
  std::vector<std::string> uris;
  for (const ustring& uri : io::SerializeCustomizer().getPackageUris(model)) uris.push_back(toUtf8(uri));
  return uris;
}

ecore::PackageClosure closureOf(const Model& model, const ecore::Mapping* mapping) {
  if (mapping != nullptr) return ecore::closureOf(*mapping, packagesOf(model));
  return ecore::closureOf(*ecore::describeRegistry(model.getRegistry()), packagesOf(model));
}

std::vector<ArchivedPackage> describe(const meta::MetaRegistry& registry,
                                      const std::vector<std::string>& uris) {
  const Fingerprints fingerprints(registry);
  std::vector<ArchivedPackage> packages;
  for (const std::string& uri : uris)
    packages.push_back({uri, registry.findPackageName(uri).value(), fingerprints.find(uri).value()});
  return packages;
}

/// What the manifest says of texts that stand one behind the other.
void noteContent(std::span<const std::string_view> texts, std::uint64_t& bytes, std::string& hash) {
  Hasher hasher;
  bytes = 0;
  for (const std::string_view text : texts) {
    hasher.add(text);
    bytes += text.size();
  }
  hash = hasher.digits();
}

// A meta model is small beside most documents, and yet the larger half of the archives of small ones.
int levelOfMetaModel(int level) { return std::min(level + 2, kSmallestLevel); }

/// The frame of the meta model; nothing where all of it is built in.
std::string packMetaModel(const std::vector<ecore::EcoreFile>& files, int level, Manifest& manifest) {
  std::vector<std::string_view> texts;
  for (const ecore::EcoreFile& file : files) {
    manifest.files.emplace_back(file.name, file.text.size());
    texts.push_back(file.text);
  }
  noteContent(texts, manifest.metaBytes, manifest.metaHash);
  std::string frame;
  if (!files.empty())
    Compressor(levelOfMetaModel(level)).compress(texts, [&](std::string_view piece) { frame += piece; });
  return frame;
}

std::string manifestText(const Manifest& manifest) {
  std::string text = toJson(manifest);
  if (text.size() > kLargestManifest)
    throw Error(ErrorCode::inexpressible, "the model uses more packages than a manifest can name");
  return text;
}

void requireSense(const Model& model, const ArchiveOptions& options) {
  if (options.level < kFastestLevel || options.level > kSmallestLevel)
    throw Error(ErrorCode::misuse, "the level " + std::to_string(options.level) + " is not between " +
                                       std::to_string(kFastestLevel) + " and " +
                                       std::to_string(kSmallestLevel));
  if (options.mapping != nullptr && &options.mapping->getRegistry() != &model.getRegistry())
    throw Error(ErrorCode::misuse, "the mapping belongs to another registry than the model");
}

void write(const Model& model, const ArchiveOptions& options, const TakePiece& take) {
  requireSense(model, options);
  Manifest manifest;
  manifest.tagged = options.tagged;
  std::string metaModel;
  {
    const ecore::PackageClosure closure = closureOf(model, options.mapping);
    manifest.packages = describe(model.getRegistry(), closure.packageUris);
    metaModel = packMetaModel(closure.files, options.level, manifest);
  }
  const DocumentText document(model, options.tagged, options.progress);
  noteContent(document.pieces(), manifest.bytes, manifest.hash);

  const std::string text = manifestText(manifest);
  take(frame(kManifestMagic, littleEndian(checksumOf(text), kChecksumBytes) + text));
  take(frame(kMetaModelMagic, metaModel));
  Compressor(options.level).compress(document.pieces(), take);
}

}  // namespace

void saveArchive(const Model& model, const std::filesystem::path& path, const ArchiveOptions& options) {
  try {
    std::optional<io::AtomicFile> file;  // not before there is something to write
    write(model, options, [&](std::string_view piece) { (file ? *file : file.emplace(path)).write(piece); });
    file->commit();
  } catch (...) {
    io::rethrowWriteFailure(path.string());
  }
}

void writeArchive(const Model& model, std::string& bytes, const ArchiveOptions& options) {
  try {
    std::string written;
    write(model, options, [&](std::string_view piece) { written += piece; });
    bytes = std::move(written);
  } catch (...) {
    rethrowAsError({});
  }
}

}  // namespace kr::zero::archive
