#include <algorithm>
#include <exception>

#include "BuiltIn.h"
#include "Fingerprint.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/evolution/CarryOver.h"
#include "kr/zero/io/BinaryFormats.h"
#include "kr/zero/io/ModelFile.h"

namespace kr::zero::archive {

namespace {

/// What is wrong in a part is wrong with the archive.
/// @param part what the sentence lacks to name it.
[[noreturn]] void rethrowOfPart(const std::string& name, const std::string& part) {
  try {
    throw;
  } catch (const Error& error) {
    std::throw_with_nested(Error(error.getCode(), {.file = name, .problem = part + error.what()}));
  }
}

/// Documents are read by the formats that the process knows; a host may have put others in their place.
void requireFormats() {
  static const bool areThere = [] {
    const std::vector<ustring> known = io::IOFormatProvider::getFormatNames();
    if (std::find(known.begin(), known.end(), io::IOFormatProvider::FORMAT_BINARY) == known.end())
      io::registerBinaryFormats();
    return true;
  }();
  static_cast<void>(areThere);
}

Model readModel(ArchiveReader& reader, const std::string& name, const meta::MetaRegistry& registry) {
  requireFormats();
  const std::vector<std::uint8_t> document = reader.readDocument();
  const ustring format = reader.getManifest().tagged ? io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN
                                                     : io::IOFormatProvider::FORMAT_BINARY;
  try {
    return io::readModel(document,
                         {.registry = &registry, .format = format, .name = "the document of the archive"});
  } catch (...) {
    rethrowOfPart(name, {});
  }
}

std::shared_ptr<const ecore::Mapping> loadMetaModel(ArchiveReader& reader, const std::string& name,
                                                    meta::MetaRegistry& registry) {
  const std::vector<ecore::EcoreFile> files = reader.readMetaModel();
  try {
    registerBuiltIn(reader.getManifest(), registry);
    return ecore::loadEcoreFiles(files, registry);
  } catch (...) {
    rethrowOfPart(name, "the meta model of the archive: ");
  }
}

/// Whether all packages write and mean the same in the registry.
bool isSame(const meta::MetaRegistry& registry, const Manifest& manifest) {
  const Fingerprints fingerprints(registry);
  return std::all_of(manifest.packages.begin(), manifest.packages.end(), [&](const ArchivedPackage& package) {
    return fingerprints.find(package.uri) == package.fingerprint;
  });
}

/// The manifest and the meta model were made together.
void requireBrought(const meta::MetaRegistry& registry, const Manifest& manifest, const std::string& name) {
  const Fingerprints fingerprints(registry);
  for (const ArchivedPackage& package : manifest.packages)
    if (fingerprints.find(package.uri) != package.fingerprint)
      throw Error(ErrorCode::damaged,
                  {.file = name,
                   .problem = "the meta model of the archive has no package \"" + package.uri +
                              "\" with the fingerprint that the manifest says"});
}

[[noreturn]] void refuseLoss(const evolution::CarryOverRefused& refused, const std::string& name) {
  ErrorDetails details{.file = name, .problems = refused.getDetails().problems};
  details.problem =
      "it was written by another version of its meta model: `kr0 migrate \"" + name +
      "\" NEW.krz --to META.ecore --allow-loss` carries over all but this: " + refused.getDetails().problem;
  std::throw_with_nested(Error(ErrorCode::doesNotFit, std::move(details)));
}

Model carryOver(const Model& model, const std::string& name, const meta::MetaRegistry& registry,
                evolution::CarryOverReport* report) {
  try {
    evolution::CarryOverResult result = evolution::carryOver(model, registry);
    if (report != nullptr) *report = std::move(result.report);
    return std::move(result.model);
  } catch (const evolution::CarryOverRefused& refused) {
    refuseLoss(refused, name);
  } catch (...) {
    rethrowAsError({.file = name});
  }
}

Model load(ArchiveReader& reader, const std::string& name, const meta::MetaRegistry& registry,
           evolution::CarryOverReport* report) {
  if (isSame(registry, reader.getManifest())) return readModel(reader, name, registry);
  return carryOver(reader.readModel().model, name, registry, report);
}

}  // namespace

LoadedArchive ArchiveReader::loadMetaModel() {
  auto registry = std::make_unique<meta::MetaRegistry>();
  std::shared_ptr<const ecore::Mapping> mapping = archive::loadMetaModel(*this, name(), *registry);
  requireBrought(*registry, getManifest(), name());
  return {std::move(registry), std::move(mapping), Model()};
}

LoadedArchive ArchiveReader::readModel() {
  LoadedArchive loaded = loadMetaModel();
  loaded.model = archive::readModel(*this, name(), *loaded.registry);
  return loaded;
}

LoadedArchive loadArchive(const std::filesystem::path& path, const ArchiveLimits& limits) {
  return ArchiveReader(path, limits).readModel();
}

LoadedArchive loadArchive(const ArchiveBytes& archive, const ArchiveLimits& limits) {
  return ArchiveReader(archive, limits).readModel();
}

Model loadArchive(const std::filesystem::path& path, const meta::MetaRegistry& registry,
                  const ArchiveLimits& limits, evolution::CarryOverReport* report) {
  ArchiveReader reader(path, limits);
  return load(reader, path.string(), registry, report);
}

Model loadArchive(const ArchiveBytes& archive, const meta::MetaRegistry& registry,
                  const ArchiveLimits& limits, evolution::CarryOverReport* report) {
  ArchiveReader reader(archive, limits);
  return load(reader, archive.name, registry, report);
}

}  // namespace kr::zero::archive
