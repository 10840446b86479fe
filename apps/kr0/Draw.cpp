// kr0 schema draw: class diagrams.
#include "Draw.h"

#include <algorithm>
#include <filesystem>

#include "Errors.h"
#include "Files.h"
#include "Visible.h"

namespace kr::zero::tool {

namespace {

std::string pictureFormatOf(const std::string& path) {
  const std::string extension = std::filesystem::path(path).extension().string();
  for (const char* const known : {".svg", ".pdf", ".png", ".dot"})
    if (extension == known) return extension.substr(1);
  throw WrongCall(path + ": its name tells no format of pictures: end it in .svg, .pdf, .png or .dot");
}

bool isCalled(const meta::PackageInfo& package, const std::string& name) {
  return package.qualifiedName == name || package.uri == name;
}

std::vector<meta::PackageInfo> choose(std::vector<meta::PackageInfo> packages,
                                      const std::vector<std::string>& wanted) {
  if (wanted.empty()) return packages;
  std::vector<meta::PackageInfo> chosen;
  for (const std::string& name : wanted)
    if (std::none_of(packages.begin(), packages.end(),
                     [&](const auto& each) { return isCalled(each, name); })) {
      std::string known;
      for (const meta::PackageInfo& package : packages)
        known += (known.empty() ? "" : ", ") + asName(package.qualifiedName);
      throw WrongCall("there is no package " + inQuotes(name) + ", but " + known);
    }
  for (meta::PackageInfo& package : packages)
    if (std::any_of(wanted.begin(), wanted.end(), [&](const auto& name) { return isCalled(package, name); }))
      chosen.push_back(std::move(package));
  return chosen;
}

}  // namespace

void drawSchema(const DrawOptions& options) {
  const std::string format = pictureFormatOf(options.output);
  const MetaModels metaModels(options);
  const std::string diagram = diagramOf(choose(metaModels.registry().getPackages(), options.packages));
  writeOutput(options.output, format == "dot" ? diagram : renderByGraphviz(diagram, format));
}

}  // namespace kr::zero::tool
