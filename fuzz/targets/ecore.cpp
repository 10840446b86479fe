// Any bytes as Ecore files, which may refer to each other: a byte FF, which no text has, stands between two
// files. What is loaded can be written from the registry alone, and then means the same.
#include <optional>
#include <string>

#include "common/MemoryUse.h"
#include "common/Refusals.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/ecore/Imperfect.h"

namespace kr::zero::fuzz {

namespace {

using ecore::EcoreFile;
using meta::MetaRegistry;

constexpr std::size_t kMostFiles = 3;
const MemoryBound kBound = promisedFor("Ecore");

std::vector<EcoreFile> filesOf(Input input) {
  std::vector<EcoreFile> files{{"a.ecore", {}}};
  for (const std::uint8_t byte : input) {
    if (byte != 0xFF || files.size() == kMostFiles)
      files.back().text += static_cast<char>(byte);
    else
      files.push_back({std::string(1, static_cast<char>('a' + files.size())) + ".ecore", {}});
  }
  return files;
}

std::vector<std::string> urisOf(const MetaRegistry& registry) {
  std::vector<std::string> uris;
  for (const meta::PackageInfo& package : registry.getPackages()) uris.push_back(package.uri);
  return uris;
}

bool loadMeasured(const std::vector<EcoreFile>& files, std::size_t bytes, MetaRegistry& registry,
                  std::shared_ptr<const ecore::Mapping>& mapping) {
  const MemoryUse use;
  const bool isLoaded = succeeds([&] { mapping = ecore::loadEcoreFiles(files, registry); });
  use.requireBounded(bytes, kBound);
  return isLoaded;
}

// From the registry, which keeps no layout; a text that XML cannot hold is refused.
void examineWriting(const MetaRegistry& registry) {
  ecore::PackageClosure closure;
  const auto described = ecore::describeRegistry(registry);
  if (!succeeds([&] {
        closure = ecore::closureOf(*described, urisOf(registry), [](const auto&) { return false; });
      }))
    return;
  MetaRegistry again;
  requireSuccess("what was written of a meta model can be loaded",
                 [&] { ecore::loadEcoreFiles(closure.files, again); });
  for (const std::string& uri : urisOf(registry)) {
    require(again.hasPackage(uri), "every package comes back", uri.c_str());
    require(archive::fingerprintOf(again, uri) == archive::fingerprintOf(registry, uri),
            "every package means the same", uri.c_str());
  }
}

void examinePins(const ecore::Mapping& mapping) {
  std::vector<EcoreFile> pinned;
  if (!succeeds([&] { pinned = ecore::pinMetaModels(mapping); })) return;
  MetaRegistry again;
  requireSuccess("pinned files can be loaded", [&] {
    const auto mappingAgain = ecore::loadEcoreFiles(pinned, again);
    const auto twice = ecore::pinMetaModels(*mappingAgain);
    for (std::size_t i = 0; i < pinned.size(); ++i)
      require(twice.at(i).text == pinned[i].text, "pinning twice changes nothing", twice[i].text.c_str());
  });
}

void examineLenient(const std::vector<EcoreFile>& files) {
  MetaRegistry registry;
  ecore::MetaModelOptions options;
  options.onProblem = [](const ecore::Problem& problem) {
    require(!problem.sentence.empty(), "every problem says something");
  };
  succeeds([&] { ecore::loadEcoreFiles(files, registry, options); });
}

}  // namespace

void examine(Input input) {
  // What is made once in a process is not measured.
  [[maybe_unused]] static const bool isWarm = (examineLenient({{"a.ecore", "<a/>"}}), true);
  const auto files = filesOf(input);
  MetaRegistry registry;
  std::shared_ptr<const ecore::Mapping> mapping;
  if (loadMeasured(files, input.size(), registry, mapping)) {
    examineWriting(registry);
    examinePins(*mapping);
  } else {
    require(registry.getPackages().empty(), "a meta model that is refused leaves nothing behind");
  }
  examineLenient(files);
}

}  // namespace kr::zero::fuzz
