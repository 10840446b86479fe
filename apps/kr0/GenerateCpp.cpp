#include "kr/zero/cpp/GenerateCpp.h"

#include <filesystem>
#include <system_error>

#include "Commands.h"
#include "Errors.h"
#include "Files.h"
#include "kr/zero/ecore/Documentation.h"

namespace kr::zero::tool {

namespace {

void makeFolder(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (!error && !std::filesystem::is_directory(path, error) && !error)
    error = std::make_error_code(std::errc::not_a_directory);
  if (error)
    throw Error(ErrorCode::unwritable,
                {.file = path, .problem = "cannot be made a folder, " + error.message()});
}

}  // namespace

void generateCpp(const GenerateOptions& options) {
  if (!cpp::isNamespace(options.space))
    throw WrongCall("--namespace: \"" + options.space +
                    "\" is not identifiers of C++ joined by \"::\", or begins with one that is taken");
  const MetaModels metaModels(options.metaModels);
  const auto files =
      cpp::generate(metaModels.registry(), ecore::readDocumentation(metaModels.mapping()), options.space);
  makeFolder(options.folder);
  for (const cpp::File& file : files)
    writeOutput((std::filesystem::path(options.folder) / file.name).string(), file.text);
}

}  // namespace kr::zero::tool
