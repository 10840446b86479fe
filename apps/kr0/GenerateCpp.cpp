#include "kr/zero/cpp/GenerateCpp.h"

#include <filesystem>

#include "Commands.h"
#include "Errors.h"
#include "Files.h"
#include "kr/zero/ecore/Documentation.h"

namespace kr::zero::tool {

void generateCpp(const GenerateOptions& options) {
  if (!cpp::isNamespace(options.space))
    throw WrongCall("--namespace: \"" + options.space +
                    "\" is not identifiers of C++ joined by \"::\", or begins with one that is taken");
  const MetaModels metaModels(options);
  const auto files =
      cpp::generate(metaModels.registry(), ecore::readDocumentation(metaModels.mapping()), options.space);
  makeFolder(options.folder);
  for (const cpp::File& file : files)
    writeOutput((std::filesystem::path(options.folder) / file.name).string(), file.text);
}

}  // namespace kr::zero::tool
