#include "io/walk/Passes.h"

#include <algorithm>

namespace kr::zero::io::internal {

using meta::PropertyKind;
using zero::internal::TypeUse;

namespace {

ValueForm formOf(PropertyCategory category, bool many) {
  if (category.isA(PropertyCategory::CompositionAny()) || category.isA(PropertyCategory::DatatypeAny()))
    return ValueForm::contained;
  if (category.isA(PropertyCategory::AssociationAny()))
    return many ? ValueForm::references : ValueForm::reference;
  if (category.isA(PropertyCategory::VerbatimAny())) return many ? ValueForm::verbatims : ValueForm::verbatim;
  if (category.isA(PropertyCategory::PrimitiveAny())) return many ? ValueForm::texts : ValueForm::text;
  return ValueForm::none;
}

bool isFitting(ValueForm form, PropertyKind kind) {
  switch (form) {
    case ValueForm::none:
      return true;
    case ValueForm::text:
    case ValueForm::texts:
      return meta::isPrimitive(kind);
    case ValueForm::verbatim:
    case ValueForm::verbatims:
      return kind == PropertyKind::number || kind == PropertyKind::enumeration;
    case ValueForm::reference:
    case ValueForm::references:
      return kind == PropertyKind::association;
    case ValueForm::contained:
      return kind == PropertyKind::composition || kind == PropertyKind::datatype;
  }
  return false;
}

}  // namespace

bool Passes::areFitting(const TypeUse& use) const {
  const auto& properties = use.type->getAllProperties();
  return std::all_of(properties.begin(), properties.end(), [&](meta::Property property) {
    return property->getKind() == PropertyKind::none ||
           isFitting(formOf(traverser_.getPropertyCategory(property), property->isMany()),
                     property->getKind());
  });
}

const Pass& Passes::find(const TypeUse* use, std::uint32_t mask) {
  auto& ofType = passes_[use->type->getIndex()];
  auto known =
      std::find_if(ofType.begin(), ofType.end(), [mask](const auto& pass) { return pass.first == mask; });
  if (known == ofType.end())
    known = ofType.emplace(ofType.end(), mask, std::make_unique<Pass>(make(use, mask)));
  last_ = known->second.get();
  lastUse_ = use;
  lastMask_ = mask;
  return *last_;
}

Pass Passes::make(const TypeUse* use, std::uint32_t mask) const {
  Pass pass;
  pass.forms.resize(use->type->getAllProperties().size());
  for (const meta::Property property : traverser_.getProperties(use->type, PropertyCategory(mask))) {
    const std::size_t slot = use->type->slotOf(property);
    const PropertyCategory category = traverser_.getPropertyCategory(property);
    if (slot == meta::StructuredType::Impl::npos || property->getKind() == PropertyKind::none) continue;
    if (!pass.order.empty() && pass.order.back() > slot) pass.ascending = false;
    pass.order.push_back(static_cast<std::uint16_t>(slot));
    pass.forms[slot] = formOf(category, property->isMany());
  }
  return pass;
}

}  // namespace kr::zero::io::internal
