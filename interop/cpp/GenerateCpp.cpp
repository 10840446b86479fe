#include "kr/zero/cpp/GenerateCpp.h"

#include <stdexcept>

#include "HeaderText.h"
#include "Identifiers.h"
#include "NameTable.h"
#include "RegistrationText.h"
#include "SourceText.h"

namespace kr::zero::cpp {

bool isNamespace(std::string_view text) {
  constexpr std::string_view kJoint = "::";
  const std::string_view first = text.substr(0, text.find(kJoint));
  if (first == "std" || first == "kr") return false;
  for (;;) {
    const std::size_t end = text.find(kJoint);
    const std::string_view name = text.substr(0, end);
    if (name.empty() || cleaned(name) != name || isReserved(name)) return false;
    if (end == std::string_view::npos) return true;
    text.remove_prefix(end + kJoint.size());
  }
}

std::vector<File> generate(const meta::MetaRegistry& registry, const ecore::Documentation& documentation,
                           std::string_view space) {
  if (!isNamespace(space))
    throw std::invalid_argument(join("\"", space, "\" is no namespace to generate into"));
  const NameTable names(registry, space);
  std::vector<File> files;
  for (const Package& package : names.packages())
    files.push_back({package.header, headerOf(names, documentation, package)});
  files.push_back({std::string(kRegistrationFile), registrationOf(names, registry)});
  return files;
}

}  // namespace kr::zero::cpp
