/// @file
/// Base of all serializers: walks a model and sends its events to a processor.
#pragma once

#include <memory>
#include <utility>

#include "kr/zero/Error.h"
#include "kr/zero/Model.h"
#include "kr/zero/export.h"
#include "kr/zero/io/EventProcessor.h"
#include "kr/zero/io/ModelTraverser.h"
#include "kr/zero/io/ParseOptions.h"
#include "kr/zero/io/SerializationOutput.h"
#include "kr/zero/io/SerializeCustomizer.h"

namespace kr::zero::io {

/// A model that cannot be written: two elements with one identity, or a reference to an element that
/// is not in the document. The text names the element by path.
class KR0_FRAMEWORK_API SerializeError : public zero::Error {
 public:
  ///@{
  /// From what is wrong, with its place or without.
  explicit SerializeError(const std::string& problem) : zero::Error(ErrorCode::inexpressible, problem) {}
  explicit SerializeError(ErrorDetails details) : zero::Error(ErrorCode::inexpressible, std::move(details)) {}
  ///@}
  ~SerializeError() override;
};

/// Owns its three collaborators. One walk at a time; may be used again after any outcome.
class KR0_FRAMEWORK_API Serializer {
 public:
  /// @throws std::invalid_argument for a collaborator that is null.
  Serializer(std::unique_ptr<ModelTraverser> traverser, std::unique_ptr<SerializeCustomizer> customizer,
             std::unique_ptr<EventProcessor> processor);
  virtual ~Serializer();
  Serializer(const Serializer&) = delete;
  Serializer& operator=(const Serializer&) = delete;
  /// The name of the class with its package, "kr.zero.io.BinarySerializer" for one. Lives as long as the
  /// program.
  virtual const char* getFullyQualifiedVornTypeName() const = 0;

  /// Walks the model and delivers the result to `output`. The walk keeps its own stack.
  /// @throws SerializeError for a model that cannot be written; what the format and the output raise
  ///   passes through. The output is touched only at the end of the walk by serializers that deliver
  ///   in postprocess.
  virtual void serialize(const Model& model, const SerializationOutput& output);

  /// Listens to the walks to come; what it throws ends the walk.
  void setProgress(Progress progress) { progress_ = std::move(progress); }

  /// Who hears of the walk; the serializer's own, and so are the others.
  EventProcessor& getEventProcessor() const noexcept { return *processor_; }
  /// Who says which properties are visited.
  ModelTraverser& getTraverser() const noexcept { return *traverser_; }
  /// Who says identities and packages.
  SerializeCustomizer& getCustomizer() const noexcept { return *customizer_; }

 private:
  std::unique_ptr<ModelTraverser> traverser_;
  std::unique_ptr<SerializeCustomizer> customizer_;
  std::unique_ptr<EventProcessor> processor_;
  Progress progress_;
};

}  // namespace kr::zero::io
