#include "direct/BinaryModelTraverser.h"

#include <unordered_set>

#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::io {

namespace {

// By identity: a user-defined type that shares a name with one of them does not count.
bool isFixedWidthStandardType(meta::Type type) {
  static const std::unordered_set<const meta::Type::Impl*> fixedWidth = [] {
    std::unordered_set<const meta::Type::Impl*> types;
    for (const char16_t* name : {u"Integer", u"Integer8", u"Integer16", u"Integer64", u"Real", u"Boolean",
                                 u"UnlimitedNatural", u"UInteger8", u"UInteger16", u"UInteger64"})
      types.insert(meta::internal::getPrimitiveTypeFromMetaRegistry(name).get());
    return types;
  }();
  return fixedWidth.contains(type.get());
}

}  // namespace

PropertyCategory BinaryModelTraverser::getPropertyCategory(meta::Property property) const {
  const PropertyCategory base = ModelTraverser::getPropertyCategory(property);
  if (property->isDerived() || property->isStatic()) return base;
  const meta::Type type = property->getType();
  const meta::MetaClass& metaClass = type->getMetaClass();
  const bool fixedWidth =
      (metaClass.isKindOf(meta::PrimitiveType::metaClass()) && isFixedWidthStandardType(type)) ||
      metaClass.isKindOf(meta::Enum::metaClass());
  if (!fixedWidth) return base;
  return property->getUpper() != 1 ? PropertyCategory::VerbatimCollection() : PropertyCategory::Verbatim();
}

}  // namespace kr::zero::io
