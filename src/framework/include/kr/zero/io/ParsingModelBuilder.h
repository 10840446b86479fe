/// @file
/// Builds the model of a parse.
#pragma once

#include <memory>

#include "kr/zero/Model.h"
#include "kr/zero/export.h"

namespace kr::zero::io {

/// Holds the model of a parse until somebody takes it.
class KR0_FRAMEWORK_API ParsingModelBuilder {
 public:
  /// @param keepLocalIdentities false (what parsers use unless told otherwise): identities that a
  ///   document made for itself (first part "#") are forgotten once references are resolved, so that
  ///   writing the model again gives the same bytes. true: they stay, for programs that show them.
  explicit ParsingModelBuilder(bool keepLocalIdentities);
  virtual ~ParsingModelBuilder();

  /// What the constructor was given.
  bool keepsLocalIdentities() const noexcept { return keepLocalIdentities_; }
  /// Starts over with an empty model.
  virtual void reset(const meta::MetaRegistry& registry);
  /// The model so far. Also after a parse that failed, whatever had arrived.
  Model& getModel();
  /// Hands the model over; the builder then has an empty one.
  Model takeModel();

 private:
  bool keepLocalIdentities_;
  std::unique_ptr<Model> model_;
};

}  // namespace kr::zero::io
