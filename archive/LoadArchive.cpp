#include <algorithm>
#include <exception>

#include "kr/zero/archive/Archive.h"
#include "kr/zero/evolution/CarryOver.h"
#include "kr/zero/io/ModelFile.h"

namespace kr::zero::archive {

namespace {

Model readModel(ArchiveReader& reader, const std::string& name, const meta::MetaRegistry& registry) {
  const std::vector<std::uint8_t> document = reader.readDocument();
  return io::readModel(document,
                       {.registry = &registry,
                        .format = reader.getManifest().tagged ? io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN
                                                              : io::IOFormatProvider::FORMAT_BINARY,
                        .name = name});
}

/// Refuses a package that writes or means something else in the registry.
void requireSame(const meta::MetaRegistry& registry, const ArchivedPackage& package,
                 const std::string& name) {
  const auto refuse = [&](const std::string& what) {
    throw Error(ErrorCode::doesNotFit,
                {.file = name, .problem = "the package \"" + package.uri + "\" " + what});
  };
  if (!registry.hasPackage(package.uri)) refuse("is not known; read the archive by its own meta model");
  if (fingerprintOf(registry, package.uri) != package.fingerprint)
    refuse(
        "is another version than the one that the archive was written with; read it by its own meta model");
}

/// Whether all packages write and mean the same in the registry.
bool isSame(const meta::MetaRegistry& registry, const Manifest& manifest) {
  return std::all_of(manifest.packages.begin(), manifest.packages.end(), [&](const ArchivedPackage& package) {
    return registry.hasPackage(package.uri) && fingerprintOf(registry, package.uri) == package.fingerprint;
  });
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

LoadedArchive load(ArchiveReader& reader, const std::string& name) {
  auto registry = std::make_unique<meta::MetaRegistry>();
  std::shared_ptr<const ecore::Mapping> mapping = ecore::loadEcoreFiles(reader.readMetaModel(), *registry);
  for (const ArchivedPackage& package : reader.getManifest().packages) requireSame(*registry, package, name);
  Model model = readModel(reader, name, *registry);
  return {std::move(registry), std::move(mapping), std::move(model)};
}

Model load(ArchiveReader& reader, const std::string& name, const meta::MetaRegistry& registry,
           evolution::CarryOverReport* report) {
  if (isSame(registry, reader.getManifest())) return readModel(reader, name, registry);
  return carryOver(load(reader, name).model, name, registry, report);
}

}  // namespace

LoadedArchive loadArchive(const std::filesystem::path& path, const ArchiveLimits& limits) {
  ArchiveReader reader(path, limits);
  return load(reader, path.string());
}

LoadedArchive loadArchive(const ArchiveBytes& archive, const ArchiveLimits& limits) {
  ArchiveReader reader(archive, limits);
  return load(reader, archive.name);
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
