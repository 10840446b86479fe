#include "MappingImpl.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::ecore {

EcoreError::~EcoreError() = default;

Mapping::Mapping(std::unique_ptr<const Impl> impl) : impl_(std::move(impl)) {}
Mapping::~Mapping() = default;
Memo& Mapping::memo() const noexcept { return impl_->memo; }
const meta::MetaRegistry& Mapping::getRegistry() const noexcept { return *impl_->registry; }

meta::Type PackageMapping::findType(std::string_view name) const {
  if (const auto it = typesByXmlName.find(name); it != typesByXmlName.end()) return it->second;
  if (const auto it = types.find(name); it != types.end()) return it->second;
  return {};
}

const FeatureMapping& Mapping::Impl::of(meta::Property property) const {
  static const FeatureMapping plain;
  const std::size_t index = property->getIndex();
  return index < features.size() ? features[index] : plain;
}

FeatureMapping& Mapping::Impl::make(meta::Property property) {
  const std::size_t index = property->getIndex();
  if (index >= features.size()) features.resize(index + 1);
  return features[index];
}

std::vector<meta::Property> idAttributesOf(const Mapping& mapping) {
  std::vector<meta::Property> ids;
  for (const meta::PackageInfo& package : mapping.getRegistry().getPackages())
    for (const meta::Type type : package.types)
      if (const meta::StructuredType structured(type); structured)
        for (const meta::Property property : structured->getOwnedAttributes())
          if (mapping.impl().of(property).isIdentifier) ids.push_back(property);
  return ids;
}

const PackageMapping* Mapping::Impl::findPackage(std::string_view uri) const {
  const auto it = packageByUri.find(uri);
  return it == packageByUri.end() ? nullptr : &packages[it->second];
}

const SourceDocument* Mapping::Impl::findSource(std::string_view packageUri) const {
  const auto it = sourceByUri.find(packageUri);
  return it == sourceByUri.end() ? nullptr : &sources[it->second];
}

void Mapping::Impl::addKnownPackages() {
  for (const meta::PackageInfo& info : registry->getPackages()) {
    PackageMapping package;
    package.uri = info.uri;
    package.prefix = info.name;
    for (const meta::Type type : info.types) package.types.emplace(type->name(), type);
    packageByUri.emplace(info.uri, packages.size());
    packages.push_back(std::move(package));
  }
}

const std::string& Mapping::Impl::xmlNameOf(meta::Type type) const {
  const auto it = typeXmlNames.find(type->getIndex());
  return it == typeXmlNames.end() ? type->name() : it->second;
}

}  // namespace kr::zero::ecore
