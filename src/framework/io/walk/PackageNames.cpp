#include "io/walk/PackageNames.h"

#include <map>
#include <string>

#include "kr/zero/io/Serializer.h"

namespace kr::zero::io {

void requireDistinctPackageNames(const meta::MetaRegistry& registry, const std::vector<ustring>& uris) {
  std::map<std::string, std::string> urisByName;
  for (const ustring& uri : uris) {
    const std::string narrow = toUtf8(uri);
    const auto name = registry.findPackageName(narrow);
    if (!name) continue;  // a customizer may list packages that only its documents know
    const auto [other, isNew] = urisByName.emplace(*name, narrow);
    if (isNew || other->second == narrow) continue;
    throw SerializeError("the packages \"" + other->second + "\" and \"" + narrow + "\" are both named " +
                         *name + "; a document tells types by name and cannot hold both");
  }
}

}  // namespace kr::zero::io
