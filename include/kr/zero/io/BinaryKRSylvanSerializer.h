/// @file
/// The writer of the tagged binary format.
#pragma once

#include <memory>

#include "kr/zero/io/BinaryFormatter.h"
#include "kr/zero/io/KRSylvanSerializer.h"
#include "kr/zero/io/export.h"

namespace kr::zero::io {

namespace tagged {
class FormatterUnits;
}

/// Writes a model in the tagged binary format (docs/formats/tagged.md): the framework turns the model into
/// tree events, a BinaryFormatter turns them into bytes.
///
///     kr::zero::io::BinaryKRSylvanSerializer serializer;
///     std::string bytes;
///     serializer.serialize(model, kr::zero::io::SerializationOutput::toString(bytes));
///
/// Outputs: file, stream and narrow string. A UTF-16 string raises "UstringNotSupported", a byte vector or
/// an intermediate form "IntermediateFormatNotSupported", each before anything is written. Bytes are
/// written during the walk: a model that cannot be written leaves a part of a document behind; saveModel
/// does not. Errors of a sink pass through.
///
/// May be used for one model after another; not from two threads at once.
class KR0_IO_API BinaryKRSylvanSerializer : public KRSylvanSerializer {
 public:
  BinaryKRSylvanSerializer();
  ///@{
  /// With collaborators of the host's; what is not given is the framework's own.
  /// @throws std::invalid_argument for one that is null.
  explicit BinaryKRSylvanSerializer(std::unique_ptr<ModelTraverser> traverser);
  BinaryKRSylvanSerializer(std::unique_ptr<ModelTraverser> traverser,
                           std::unique_ptr<SerializeCustomizer> customizer);
  ///@}
  ~BinaryKRSylvanSerializer() override;
  const char* getFullyQualifiedVornTypeName() const override;

  /// As the base says. The formatter's file is closed when it returns or throws, and no more than 64 KiB of
  /// memory is kept of a document for the next.
  void serialize(const Model& model, const SerializationOutput& output) override;

  /// A new formatter over `output`. It belongs to the serializer and lives until the next call.
  modeling::sylvan::SylvanEventProcessor<void>* getTarget(const SerializationOutput& output) override;

 private:
  std::unique_ptr<BinaryFormatter> formatter_;  // none before the first call
  std::unique_ptr<tagged::FormatterUnits> units_;
};

}  // namespace kr::zero::io
