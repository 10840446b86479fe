#include "Neighbours.h"

#include <vector>

#include "Fragments.h"
#include "XmlText.h"

namespace kr::zero::ecore {

namespace {

std::size_t folderSize(std::string_view path) { return path.rfind('/') + 1; }

/// A path without "." and ".."; nothing where it leads out of the folder that it starts in, or nowhere.
std::optional<std::string> straightened(std::string_view path) {
  std::vector<std::string_view> steps;
  while (!path.empty()) {
    const std::string_view step = path.substr(0, path.find('/'));
    path.remove_prefix(std::min(path.size(), step.size() + 1));
    if (step.empty() || step == ".") continue;
    if (step != "..") {
      steps.push_back(step);
    } else if (steps.empty()) {
      return std::nullopt;
    } else {
      steps.pop_back();
    }
  }
  if (steps.empty()) return std::nullopt;
  std::string straight;
  for (const std::string_view step : steps) straight.append(straight.empty() ? "" : "/").append(step);
  return straight;
}

}  // namespace

Neighbours::Neighbours(std::string_view document, const UriMap& uriMap)
    : folder_(document.substr(0, folderSize(document))),
      first_(document.substr(folder_.size())),
      uriMap_(uriMap) {}

std::optional<std::string> Neighbours::pathOf(std::string_view from, std::string_view uri) const {
  const std::string meant = uriMap_.map(uri);
  const bool isUrl = meant.find(':') < meant.find('/');
  const std::string path = percentDecoded(meant);
  if (isUrl || path.starts_with('/') || path.find('\0') != path.npos) return std::nullopt;
  // What the caller says is meant from the first document.
  const std::string_view folder = meant == uri ? from.substr(0, folderSize(from)) : std::string_view();
  return straightened(std::string(folder) + path);
}

DocumentSource filesBeside(const std::filesystem::path& document) {
  return [folder = document.parent_path()](const std::string& path) {
    return readFile(folder / std::filesystem::path(std::u8string(path.begin(), path.end())));
  };
}

}  // namespace kr::zero::ecore
