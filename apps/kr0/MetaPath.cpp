#include "MetaPath.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "Documents.h"
#include "kr/zero/ecore/Imperfect.h"

namespace kr::zero::tool {

namespace {

namespace fs = std::filesystem;

// Folders that are not there count in the list of everybody, and are a mistake in that of one call.
std::vector<std::string> usualFolders() {
  std::vector<std::string> folders;
  // Nothing changes the environment while the tool runs. NOLINTNEXTLINE(concurrency-mt-unsafe)
  const char* const value = std::getenv("KR0_META_PATH");
  std::string_view list = value == nullptr ? std::string_view() : std::string_view(value);
  while (!list.empty()) {
    const std::string folder(list.substr(0, list.find(':')));
    list.remove_prefix(std::min(list.size(), folder.size() + 1));
    if (std::error_code error; !folder.empty() && fs::is_directory(folder, error)) folders.push_back(folder);
  }
  return folders;
}

std::string nameOf(const std::string& path) {
  return fs::path(std::string(archive::unpackedName(path))).filename().string();
}

std::optional<std::string> theOneOf(const std::set<std::string>& files, const std::string& uri) {
  if (files.size() == 1) return *files.begin();
  const std::string others = files.size() > 2 ? " and others" : "";
  throw Error(ErrorCode::doesNotFit,
              {.file = *files.begin(),
               .problem = "it is for \"" + uri + "\", and so is " + *std::next(files.begin()) + others +
                          ": give the one that is meant with -m"});
}

}  // namespace

MetaPath::MetaPath(std::vector<std::string> folders, std::uint64_t limit)
    : folders_(std::move(folders)), limit_(limit) {
  for (std::string& folder : usualFolders()) folders_.push_back(std::move(folder));
}

std::optional<std::string> MetaPath::find(const std::string& uri) {
  if (!hasLooked_) look();
  if (const auto found = byUri_.find(uri); found != byUri_.end()) return theOneOf(found->second, uri);
  const std::string name = uri.substr(uri.rfind('/') + 1);
  if (const auto found = byName_.find(name); found != byName_.end()) return theOneOf(found->second, uri);
  return std::nullopt;
}

void MetaPath::look() {
  for (const std::string& folder : folders_) lookInto(folder);
  hasLooked_ = true;
}

void MetaPath::lookInto(const std::string& folder) {
  std::error_code error;
  for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
    if (nameOf(it->path().string()).ends_with(".ecore") && it->is_regular_file())
      lookAt(it->path().lexically_normal().string());
  if (error)
    throw Error(ErrorCode::unreadable, {.file = folder, .problem = io::unreadableFor(error.value())});
}

// What cannot be read holds no package that anybody could want.
void MetaPath::lookAt(const std::string& path) {
  try {
    const std::string name = nameOf(path);
    for (const std::string& uri : ecore::declaredPackages(readText(path, limit_), path))
      byUri_[uri].insert(path);
    byName_[name].insert(path);
  } catch (const Error&) {
  }
}

}  // namespace kr::zero::tool
