#include "TypeTable.h"

#include <algorithm>

#include "fl/i18n/utf8.h"
#include "kr/zero/DateTime.h"

namespace kr::zero::inspect {

namespace {

/// 8-4-4-4-12 hexadecimal digits.
bool isUuid(std::string_view text) {
  constexpr std::size_t kDigits = 36;
  if (text.size() != kDigits) return false;
  for (std::size_t i = 0; i < kDigits; ++i) {
    const bool isDash = i == 8 || i == 13 || i == 18 || i == 23;
    const char c = text[i];
    const bool isDigit = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    if (isDash ? c != '-' : !isDigit) return false;
  }
  return true;
}

}  // namespace

TypeTable::TypeTable(const meta::MetaRegistry& registry) : registry_(registry) {
  for (const meta::PackageInfo& package : registry.getPackages())
    for (const meta::Type type : package.types) {
      const meta::StructuredType structured(type);
      if (!structured) continue;
      byName_[structured->qualifiedName()].push_back(structured.operator->());
      if (isConcrete(*structured.operator->()))
        concrete_.push_back(static_cast<const meta::Class::Impl*>(structured.operator->()));
    }
  for (auto& [name, types] : byName_)
    if (types.size() > 1) shared_.push_back(&types);
}

const TypeRecord* TypeTable::find(std::string_view qualifiedName) const {
  const auto found = byName_.find(qualifiedName);
  return found == byName_.end() ? nullptr : found->second.front();
}

const meta::Class::Impl* TypeTable::findConcrete(std::string_view qualifiedName) const {
  const TypeRecord* const type = find(qualifiedName);
  return type != nullptr && isConcrete(*type) ? static_cast<const meta::Class::Impl*>(type) : nullptr;
}

void TypeTable::prefer(const std::vector<std::string_view>& packageUris) {
  for (Types* const types : shared_)
    for (auto uri = packageUris.rbegin(); uri != packageUris.rend(); ++uri)
      std::stable_partition(types->begin(), types->end(),
                            [&](const TypeRecord* type) { return type->packageUri() == *uri; });
}

bool isConcrete(const TypeRecord& type) {
  return type.isKindOf(meta::Class::metaClass()) && !static_cast<const meta::Class::Impl&>(type).isAbstract();
}

bool fits(const PropertyRecord& property, const TypeRecord& type) {
  const meta::Class target = property.getTarget();
  return property.getKind() == meta::PropertyKind::composition && isConcrete(type) &&
         static_cast<const meta::Class::Impl&>(type).conformsTo(target);
}

bool isTextOf(const PropertyRecord& property, std::string_view text) {
  switch (property.getKind()) {
    case meta::PropertyKind::uuid:
      return isUuid(text);
    case meta::PropertyKind::dateTime:
      return fl::i18n::isWellFormedUtf8(text) && DateTime::isValid(text);
    default:
      return fl::i18n::isWellFormedUtf8(text);
  }
}

}  // namespace kr::zero::inspect
