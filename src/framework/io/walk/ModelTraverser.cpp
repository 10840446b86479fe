#include "kr/zero/io/ModelTraverser.h"

namespace kr::zero::io {

ModelTraverser::ModelTraverser() = default;
ModelTraverser::~ModelTraverser() = default;

PropertyCategory ModelTraverser::getPropertyCategory(meta::Property property) const {
  return categoryOf(*property.get());
}

std::vector<meta::Property> ModelTraverser::getProperties(meta::StructuredType type,
                                                          PropertyCategory mask) const {
  std::vector<meta::Property> visited;
  for (const meta::Property property : type->getAllProperties())
    if (property->getIdentifier() != 0 && !isPropertyTransient(property) &&
        getPropertyCategory(property).isA(mask))
      visited.push_back(property);
  return visited;
}

bool ModelTraverser::isPropertyTransient(meta::Property property) const { return property->isTransient(); }

}  // namespace kr::zero::io
