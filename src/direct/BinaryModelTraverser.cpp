#include "direct/BinaryModelTraverser.h"

namespace kr::zero::io {

PropertyCategory BinaryModelTraverser::getPropertyCategory(meta::Property property) const {
  const meta::PropertyKind kind = property->getKind();
  if (kind != meta::PropertyKind::number && kind != meta::PropertyKind::enumeration)
    return ModelTraverser::getPropertyCategory(property);
  return property->isMany() ? PropertyCategory::VerbatimCollection() : PropertyCategory::Verbatim();
}

}  // namespace kr::zero::io
