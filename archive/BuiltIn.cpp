#include "BuiltIn.h"

#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "kr/zero/ecore/Ecore.h"

namespace kr::zero::archive {

namespace {

struct Version {
  std::string fingerprint;
  meta::PackageDefinition definition;
};

std::vector<Version> makeVersions(const std::string& uri) {
  std::vector<Version> versions;
  for (meta::PackageDefinition& definition : ecore::builtInVersionsOf(uri)) {
    meta::MetaRegistry registry;
    registry.add(definition);
    versions.push_back({fingerprintOf(registry, uri), std::move(definition)});
  }
  return versions;
}

/// The version of that fingerprint, or null. Lives as long as the program.
const Version* findVersion(const std::string& uri, const std::string& fingerprint) {
  static std::mutex mutex;
  static std::map<std::string, std::vector<Version>> known;  // of packages that are built in
  const std::lock_guard lock(mutex);
  auto found = known.find(uri);
  if (found == known.end()) {
    std::vector<Version> versions = makeVersions(uri);
    if (versions.empty()) return nullptr;
    found = known.emplace(uri, std::move(versions)).first;
  }
  for (const Version& version : found->second)
    if (version.fingerprint == fingerprint) return &version;
  return nullptr;
}

}  // namespace

bool isBuiltIn(const std::string& uri, const std::string& fingerprint) {
  return findVersion(uri, fingerprint) != nullptr;
}

void registerBuiltIn(const Manifest& manifest, meta::MetaRegistry& registry) {
  for (const ArchivedPackage& package : manifest.packages)
    if (const Version* const version = findVersion(package.uri, package.fingerprint))
      registry.add(version->definition);
}

}  // namespace kr::zero::archive
