#include "kr/zero/io/ParseCustomizer.h"

namespace kr::zero::io {

ParseCustomizer::ParseCustomizer(const meta::MetaRegistry& registry) : registry_(&registry) {}
ParseCustomizer::~ParseCustomizer() = default;

bool ParseCustomizer::setPackageUris(const std::vector<ustring>& uris) {
  uris_ = std::vector<ustring>(uris);  // and not the memory of a document with many more
  problem_.clear();
  for (const ustring& uri : uris) {
    if (registry_->hasPackage(toUtf8(uri))) continue;
    problem_ = "the package \"" + toUtf8(uri) + "\" is not known; give its meta model";
    return false;
  }
  return true;
}

meta::Type ParseCustomizer::getMetaClass(const ustring& typeName) {
  return registry_->findType(typeName, uris_);
}

HydratorParseCustomizer::HydratorParseCustomizer(const meta::MetaRegistry& registry, Hydrate hydrate)
    : ParseCustomizer(registry), hydrate_(std::move(hydrate)) {}

bool HydratorParseCustomizer::setPackageUris(const std::vector<ustring>& uris) {
  if (hydrate_)
    for (const ustring& uri : uris)
      if (!getRegistry().hasPackage(toUtf8(uri))) hydrate_(uri);
  return ParseCustomizer::setPackageUris(uris);
}

}  // namespace kr::zero::io
