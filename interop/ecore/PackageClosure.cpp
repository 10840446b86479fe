// The packages that some packages need, and the files that say them.

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

#include "EcoreWriting.h"
#include "MappingImpl.h"

namespace kr::zero::ecore {

namespace {

namespace fs = std::filesystem;
using meta::PackageInfo;

using PackagesByUri = std::map<std::string, PackageInfo>;

PackagesByUri packagesOf(const meta::MetaRegistry& registry) {
  PackagesByUri packages;
  for (PackageInfo& package : registry.getPackages()) packages.emplace(package.uri, std::move(package));
  return packages;
}

/// URIs of the packages of all types that the types of a package name.
std::set<std::string> neighboursOf(const PackageInfo& package) {
  std::set<std::string> uris;
  const auto note = [&uris](meta::Type type) {
    if (!type->packageUri().empty()) uris.insert(type->packageUri());
  };
  for (const meta::Type type : package.types) {
    const meta::StructuredType structured(type);
    if (!structured) continue;
    for (const meta::Property property : structured->getOwnedAttributes()) note(property->getType());
    if (const meta::Class cls(type); cls)
      for (const meta::Class above : cls->getSupertypes()) note(above);
  }
  return uris;
}

/// Packages by the one that is around them all, which they are written into one file with.
class Trees {
 public:
  explicit Trees(const PackagesByUri& packages) {
    std::map<std::string_view, const PackageInfo*> byName;
    for (const auto& [uri, package] : packages) byName.emplace(package.qualifiedName, &package);
    for (const auto& [uri, package] : packages) {
      const PackageInfo* const root = findRoot(byName, package);
      roots_[uri] = root;
      members_[root].push_back(uri);
    }
  }
  const PackageInfo& rootOf(const std::string& uri) const { return *roots_.at(uri); }
  const std::vector<std::string>& aroundOf(const std::string& uri) const {
    return members_.at(roots_.at(uri));
  }

 private:
  static const PackageInfo* findRoot(const std::map<std::string_view, const PackageInfo*>& byName,
                                     const PackageInfo& package) {
    const std::string_view name = package.qualifiedName;
    for (std::size_t dot = name.find('.'); dot != name.npos; dot = name.find('.', dot + 1))
      if (const auto found = byName.find(name.substr(0, dot)); found != byName.end()) return found->second;
    return &package;
  }

  std::map<std::string, const PackageInfo*> roots_;
  std::map<const PackageInfo*, std::vector<std::string>> members_;
};

/// Packages with all that they need: what their types name, and what stands in one file with them.
std::set<std::string> closeOver(const Mapping::Impl& mapping, const PackagesByUri& packages,
                                const Trees& trees, const std::vector<std::string>& uris) {
  std::set<std::string> closed;
  std::vector<std::string> waiting(uris);
  std::set<const std::vector<std::string>*> seen;  // lists of packages that stand in one file
  while (!waiting.empty()) {
    const std::string uri = std::move(waiting.back());
    waiting.pop_back();
    if (!closed.insert(uri).second) continue;
    const auto found = packages.find(uri);
    if (found == packages.end())
      throw EcoreError(ErrorCode::misuse, "there is no package with the URI \"" + uri + "\"");
    for (const std::string& next : neighboursOf(found->second)) waiting.push_back(next);
    const SourceDocument* const source = mapping.findSource(uri);
    const std::vector<std::string>& beside = source != nullptr ? source->packageUris : trees.aroundOf(uri);
    if (seen.insert(&beside).second) waiting.insert(waiting.end(), beside.begin(), beside.end());
  }
  return closed;
}

/// Names of files as they lie beside each other: without the folders that all of them are in.
void shorten(std::vector<EcoreFile>& files) {
  if (files.empty()) return;
  std::vector<fs::path> places;
  places.reserve(files.size());
  for (const EcoreFile& file : files)
    places.push_back(
        fs::absolute(fs::path(std::u8string(file.name.begin(), file.name.end()))).lexically_normal());
  fs::path common = places.front().parent_path();
  const auto isIn = [](const fs::path& place, const fs::path& folder) {
    return std::mismatch(folder.begin(), folder.end(), place.begin(), place.end()).first == folder.end();
  };
  for (const fs::path& place : places)
    while (common.has_relative_path() && !isIn(place, common)) common = common.parent_path();
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::u8string name = places[i].lexically_relative(common).generic_u8string();
    files[i].name.assign(name.begin(), name.end());
  }
}

class Collector {
 public:
  Collector(const Mapping& mapping, const std::vector<std::string>& uris)
      : mapping_(mapping),
        packages_(packagesOf(*mapping.impl().registry)),
        trees_(packages_),
        uris_(closeOver(mapping.impl(), packages_, trees_, uris)) {}

  PackageClosure collect(const std::function<bool(const std::string&)>& isKnown) {
    for (const std::string& uri : uris_)
      if (!isKnown(uri)) add(uri);
    PackageClosure closure;
    shorten(sources_);
    closure.files = std::move(sources_);
    closure.files.insert(closure.files.end(), written_.begin(), written_.end());
    std::sort(closure.files.begin(), closure.files.end(),
              [](const EcoreFile& a, const EcoreFile& b) { return a.name < b.name; });
    closure.packageUris.assign(uris_.begin(), uris_.end());
    return closure;
  }

 private:
  void add(const std::string& uri) {
    if (const SourceDocument* const source = mapping_.impl().findSource(uri); source != nullptr) {
      if (taken_.insert(source->name).second) sources_.push_back({source->name, textOf(uri)});
    } else {
      const std::string& root = trees_.rootOf(uri).uri;
      if (taken_.insert("package " + root).second)
        written_.push_back({packages_.at(root).qualifiedName + ".ecore", textOf(root)});
    }
  }
  std::string textOf(const std::string& uri) const { return writeEcore(mapping_, uri, true); }

  const Mapping& mapping_;
  const PackagesByUri packages_;
  const Trees trees_;
  const std::set<std::string> uris_;
  std::set<std::string> taken_;
  std::vector<EcoreFile> sources_;
  std::vector<EcoreFile> written_;
};

}  // namespace

PackageClosure closureOf(const Mapping& mapping, const std::vector<std::string>& packageUris,
                         const std::function<bool(const std::string& uri)>& isKnown) {
  try {
    return Collector(mapping, packageUris).collect(isKnown);
  } catch (...) {
    rethrowAsError({});
  }
}

std::shared_ptr<const Mapping> describeRegistry(const meta::MetaRegistry& registry) {
  auto mapping = std::make_unique<Mapping::Impl>(registry);
  mapping->addKnownPackages();
  return std::make_shared<const Mapping>(std::move(mapping));
}

}  // namespace kr::zero::ecore
