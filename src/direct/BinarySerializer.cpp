#include "kr/zero/io/BinarySerializer.h"

#include "direct/BinaryEventProcessor.h"
#include "direct/BinaryModelTraverser.h"

namespace kr::zero::io {

/// What the base owns, made in this order.
struct BinarySerializer::Collaborators {
  std::unique_ptr<EventProcessor> processor = std::make_unique<BinaryEventProcessor>();
  std::unique_ptr<SerializeCustomizer> customizer = std::make_unique<SerializeCustomizer>(ustring());
  std::unique_ptr<ModelTraverser> traverser = std::make_unique<BinaryModelTraverser>();
};

BinarySerializer::BinarySerializer() : BinarySerializer(Collaborators()) {}
BinarySerializer::BinarySerializer(Collaborators collaborators)
    : Serializer(std::move(collaborators.traverser), std::move(collaborators.customizer),
                 std::move(collaborators.processor)) {}
BinarySerializer::~BinarySerializer() = default;

const char* BinarySerializer::getFullyQualifiedVornTypeName() const { return "kr.zero.io.BinarySerializer"; }

void BinarySerializer::setShouldSerializeAssociations(bool should) {
  static_cast<BinaryEventProcessor&>(getEventProcessor()).setShouldSerializeAssociations(should);
}

}  // namespace kr::zero::io
