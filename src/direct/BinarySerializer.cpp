#include "kr/zero/io/BinarySerializer.h"

#include "direct/BinaryEventProcessor.h"
#include "direct/BinaryModelTraverser.h"

namespace kr::zero::io {

BinarySerializer::BinarySerializer()
    : Serializer(std::make_unique<BinaryModelTraverser>(), std::make_unique<SerializeCustomizer>(ustring()),
                 std::make_unique<BinaryEventProcessor>()) {}

BinarySerializer::~BinarySerializer() = default;

const char* BinarySerializer::getFullyQualifiedVornTypeName() const { return "kr.zero.io.BinarySerializer"; }

void BinarySerializer::setShouldSerializeAssociations(bool should) {
  static_cast<BinaryEventProcessor&>(getEventProcessor()).setShouldSerializeAssociations(should);
}

}  // namespace kr::zero::io
