#include <filesystem>
#include <map>
#include <memory>

#include "Commands.h"
#include "Errors.h"
#include "Files.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/io/AtomicFile.h"

namespace kr::zero::tool {

namespace {

namespace fs = std::filesystem;

/// Where a file goes.
fs::path placeOf(const ecore::EcoreFile& file, const std::string& folder) {
  return folder.empty() ? fs::path(file.name) : fs::path(folder) / fs::path(file.name).filename();
}

/// A file that is pinned already is not touched.
bool isThere(const fs::path& path, const std::string& text) {
  std::error_code error;
  if (!fs::is_regular_file(path, error) || fs::file_size(path, error) != text.size()) return false;
  const std::vector<std::uint8_t> bytes = readInput(path.string());
  return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()) == text;
}

std::map<fs::path, std::string> filesOf(const MetaModels& metaModels, const std::string& folder) {
  std::map<fs::path, std::string> files;
  for (ecore::EcoreFile& file : ecore::pinMetaModels(metaModels.mapping())) {
    const fs::path place = placeOf(file, folder);
    if (!files.emplace(place, std::move(file.text)).second)
      throw WrongCall("two of the files would become " + place.string());
  }
  return files;
}

}  // namespace

void pinSchema(const SchemaPinOptions& options) {
  const MetaModels metaModels(options.metaModels);
  const auto files = filesOf(metaModels, options.folder);
  if (!options.folder.empty()) makeFolder(options.folder);
  // All of them are written before the first one takes its place.
  std::vector<std::unique_ptr<io::AtomicFile>> waiting;
  for (const auto& [path, text] : files) {
    if (isThere(path, text)) continue;
    waiting.push_back(std::make_unique<io::AtomicFile>(path));
    waiting.back()->write(text);
  }
  for (const auto& file : waiting) file->commit();
}

}  // namespace kr::zero::tool
