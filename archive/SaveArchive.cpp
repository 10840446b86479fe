#include <ios>
#include <optional>

#include "Frames.h"
#include "Hash.h"
#include "Manifest.h"
#include "Zstandard.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/io/AtomicFile.h"
#include "kr/zero/io/ModelFile.h"
#include "kr/zero/io/SerializeCustomizer.h"

namespace kr::zero::archive {

namespace {

std::string_view asText(const std::vector<std::uint8_t>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::vector<std::string> packagesOf(const Model& model) {
  std::vector<std::string> uris;
  for (const ustring& uri : io::SerializeCustomizer().getPackageUris(model)) uris.push_back(toUtf8(uri));
  return uris;
}

ArchivedPackage describe(const meta::MetaRegistry& registry, const std::string& uri) {
  return {uri, registry.findPackageName(uri).value_or(std::string()), fingerprintOf(registry, uri)};
}

/// The files of a meta model, one behind the other, and what the manifest says of them.
std::string joinFiles(const std::vector<ecore::EcoreFile>& files, Manifest& manifest) {
  std::string text;
  for (const ecore::EcoreFile& file : files) {
    manifest.files.emplace_back(file.name, file.text.size());
    text += file.text;
  }
  manifest.metaBytes = text.size();
  manifest.metaHash = hashOf(text);
  return text;
}

std::string compressed(std::string_view bytes, int level) {
  std::string frame;
  if (!bytes.empty()) compress(bytes, level, [&](std::string_view piece) { frame += piece; });
  return frame;
}

void write(const Model& model, const ArchiveOptions& options, const TakePiece& take) {
  const std::shared_ptr<const ecore::Mapping> made =
      options.mapping == nullptr ? ecore::describeRegistry(model.getRegistry()) : nullptr;
  const ecore::PackageClosure closure =
      ecore::closureOf(options.mapping == nullptr ? *made : *options.mapping, packagesOf(model));
  Manifest manifest;
  manifest.tagged = options.tagged;
  for (const std::string& uri : closure.packageUris)
    manifest.packages.push_back(describe(model.getRegistry(), uri));
  const std::string metaModel = joinFiles(closure.files, manifest);
  std::vector<std::uint8_t> document;
  io::writeModel(model, document,
                 {.format = options.tagged ? io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN
                                           : io::IOFormatProvider::FORMAT_BINARY,
                  .progress = options.progress});
  manifest.bytes = document.size();
  manifest.hash = hashOf(asText(document));

  const std::string text = toJson(manifest);
  take(frame(kManifestMagic, littleEndian(checksumOf(text), kChecksumBytes) + text));
  take(frame(kMetaModelMagic, compressed(metaModel, options.level)));
  compress(asText(document), options.level, take);
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
