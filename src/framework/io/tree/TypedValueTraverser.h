/// @file
/// Internal: lets the numbers that a walk visits travel as values instead of texts.
#pragma once

#include <memory>

#include "kr/zero/io/ModelTraverser.h"

namespace kr::zero::io::internal {

/// Around another traverser: what that one reports as a primitive carried as text, and is a Boolean, an
/// integer or a Real, this one reports as verbatim. Everything else is the other's answer.
class TypedValueTraverser final : public ModelTraverser {
 public:
  explicit TypedValueTraverser(std::unique_ptr<ModelTraverser> inner) : inner_(std::move(inner)) {}

  PropertyCategory getPropertyCategory(meta::Property property) const override;
  std::vector<meta::Property> getProperties(meta::StructuredType type, PropertyCategory mask) const override;
  bool isPropertyTransient(meta::Property property) const override;

 private:
  std::unique_ptr<ModelTraverser> inner_;
};

}  // namespace kr::zero::io::internal
