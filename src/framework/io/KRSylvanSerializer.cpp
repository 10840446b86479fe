#include "kr/zero/io/KRSylvanSerializer.h"

#include "io/TreeEventWriter.h"
#include "io/TypedValueTraverser.h"

namespace kr::zero::io {

using internal::TreeEventWriter;
using internal::TypedValueTraverser;

KRSylvanSerializer::KRSylvanSerializer(std::unique_ptr<ModelTraverser> traverser,
                                       std::unique_ptr<SerializeCustomizer> customizer)
    : Serializer(std::make_unique<TypedValueTraverser>(std::move(traverser)), std::move(customizer),
                 std::make_unique<TreeEventWriter>()) {}

KRSylvanSerializer::~KRSylvanSerializer() = default;

void KRSylvanSerializer::serialize(const Model& model, const SerializationOutput& output) {
  static_cast<TreeEventWriter&>(getEventProcessor()).setTarget(*getTarget(output));
  Serializer::serialize(model, output);
}

}  // namespace kr::zero::io
