#include "TypeMatch.h"

#include "kr/zero/TextHash.h"

namespace kr::zero::evolution {

namespace {

std::string keyOf(const std::string& uri, const std::string& name) { return uri + '\n' + name; }

}  // namespace

TypeMatch::TypeMatch(const meta::MetaRegistry& before, const meta::MetaRegistry& after,
                     const std::map<std::string, std::string>& renames) {
  std::unordered_map<std::string, meta::Type, TextHash> byPackage;
  for (const meta::PackageInfo& package : after.getPackages())
    for (const meta::Type type : package.types) byPackage.emplace(keyOf(package.uri, type->name()), type);
  const auto newType = [&](const meta::PackageInfo& package, meta::Type type) {
    const auto renamed = renames.find(type->qualifiedName());
    if (renamed != renames.end()) return after.findType(std::string_view(renamed->second));
    const auto found = byPackage.find(keyOf(package.uri, type->name()));
    if (found != byPackage.end()) return found->second;
    return after.hasPackage(package.uri) ? meta::Type()
                                         : after.findType(std::string_view(type->qualifiedName()));
  };
  for (const meta::PackageInfo& package : before.getPackages())
    for (const meta::Type type : package.types)
      if (const meta::Type now = newType(package, type); now && known_.insert(now.get()).second)
        types_.emplace(type.get(), now);
}

meta::Type TypeMatch::find(meta::Type before) const {
  const meta::PrimitiveType primitive(before);
  if (primitive && primitive->getStandardType() != meta::StandardType::none) return before;
  const auto found = types_.find(before.get());
  return found == types_.end() ? meta::Type() : found->second;
}

}  // namespace kr::zero::evolution
