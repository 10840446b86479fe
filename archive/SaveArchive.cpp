#include <algorithm>
#include <map>
#include <optional>
#include <span>

#include "BuiltIn.h"
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

/// The meta model of some packages.
struct MetaModel {
  Manifest said;      // what the manifest says of it
  std::string frame;  // nothing where all of it is built in
};

MetaModel packMetaModel(const ecore::Mapping& mapping, const std::vector<std::string>& packageUris,
                        int level) {
  const meta::MetaRegistry& registry = mapping.getRegistry();
  const Fingerprints fingerprints(registry);
  std::map<std::string, std::string> found;  // fingerprints by URI
  const ecore::PackageClosure closure = ecore::closureOf(mapping, packageUris, [&](const std::string& uri) {
    return isBuiltIn(uri, found[uri] = fingerprints.find(uri).value());
  });
  MetaModel made;
  for (const std::string& uri : closure.packageUris)
    made.said.packages.push_back({uri, registry.findPackageName(uri).value(), found.at(uri)});
  std::vector<std::string_view> texts;
  for (const ecore::EcoreFile& file : closure.files) {
    made.said.files.emplace_back(file.name, file.text.size());
    texts.push_back(file.text);
  }
  noteContent(texts, made.said.metaBytes, made.said.metaHash);
  if (!texts.empty())
    Compressor(levelOfMetaModel(level)).compress(texts, [&](std::string_view piece) { made.frame += piece; });
  return made;
}

/// A program that saves many models packs their meta model once.
std::shared_ptr<const MetaModel> metaModelOf(const Model& model, const ArchiveOptions& options) {
  const std::vector<std::string> uris = packagesOf(model);
  const auto pack = [&](const ecore::Mapping& mapping) {
    return packMetaModel(mapping, uris, options.level);
  };
  if (options.mapping == nullptr)
    return std::make_shared<const MetaModel>(pack(*ecore::describeRegistry(model.getRegistry())));
  std::string key = "archive " + std::to_string(options.level);
  for (const std::string& uri : uris) key.append("\n").append(uri);
  return options.mapping->memo().get<MetaModel>(key, [&] { return pack(*options.mapping); });
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
  const std::shared_ptr<const MetaModel> metaModel = metaModelOf(model, options);
  Manifest manifest = metaModel->said;
  manifest.tagged = options.tagged;
  const DocumentText document(model, options.tagged, options.progress);
  noteContent(document.pieces(), manifest.bytes, manifest.hash);

  const std::string text = manifestText(manifest);
  take(frame(kManifestMagic, littleEndian(checksumOf(text), kChecksumBytes) + text));
  take(frame(kMetaModelMagic, metaModel->frame));
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
