#include "kr/zero/io/ParsingModelBuilder.h"

namespace kr::zero::io {

ParsingModelBuilder::ParsingModelBuilder(bool keepLocalIdentities)
    : keepLocalIdentities_(keepLocalIdentities) {}
ParsingModelBuilder::~ParsingModelBuilder() = default;

void ParsingModelBuilder::reset(const meta::MetaRegistry& registry) {
  model_ = std::make_unique<Model>(registry);
}

Model& ParsingModelBuilder::getModel() {
  if (model_ == nullptr) model_ = std::make_unique<Model>();
  return *model_;
}

Model ParsingModelBuilder::takeModel() {
  Model taken = std::move(getModel());
  model_ = std::make_unique<Model>(taken.getRegistry());
  return taken;
}

}  // namespace kr::zero::io
