#include "kr/zero/io/BinarySerializer.h"

#if __has_include("kr/zero/io/BulkEventProcessor.h")
#include "direct/BulkBinaryEventProcessor.h"
#else
#include "direct/BinaryEventProcessor.h"
#endif
#include "direct/BinaryModelTraverser.h"

namespace kr::zero::io {

namespace {

// A framework may know the named operations only.
#if __has_include("kr/zero/io/BulkEventProcessor.h")
using Processor = BulkBinaryEventProcessor;
#else
using Processor = BinaryEventProcessor;
#endif

}  // namespace

/// What the base owns, made in this order.
struct BinarySerializer::Collaborators {
  std::unique_ptr<EventProcessor> processor = std::make_unique<Processor>();
  std::unique_ptr<SerializeCustomizer> customizer = std::make_unique<SerializeCustomizer>(ustring());
  std::unique_ptr<ModelTraverser> traverser = std::make_unique<BinaryModelTraverser>();
};

BinarySerializer::BinarySerializer() : BinarySerializer(Collaborators()) {}
BinarySerializer::BinarySerializer(Collaborators collaborators)
    : Serializer(std::move(collaborators.traverser), std::move(collaborators.customizer),
                 std::move(collaborators.processor)) {}
BinarySerializer::~BinarySerializer() = default;

const char* BinarySerializer::getFullyQualifiedVornTypeName() const { return "kr.zero.io.BinarySerializer"; }

void BinarySerializer::serialize(const Model& model, const SerializationOutput& output) {
  struct Ending {
    BinaryEventProcessor& processor;
    ~Ending() { processor.giveBackMemory(); }
  };
  const Ending ending{static_cast<BinaryEventProcessor&>(getEventProcessor())};
  Serializer::serialize(model, output);
}

std::span<const std::uint8_t> BinarySerializer::serializeInPlace(const Model& model) {
  struct Delivery {
    BinaryEventProcessor& processor;
    explicit Delivery(BinaryEventProcessor& of) : processor(of) { processor.setDelivers(false); }
    ~Delivery() { processor.setDelivers(true); }
  };
  const Delivery delivery(static_cast<BinaryEventProcessor&>(getEventProcessor()));
  std::vector<std::uint8_t> nothing;
  serialize(model, SerializationOutput::toByteSequence(nothing));
  const values::ByteBuffer& bytes = delivery.processor.getBytes();
  return {bytes.data(), bytes.size()};
}

void BinarySerializer::setShouldSerializeAssociations(bool should) {
  static_cast<BinaryEventProcessor&>(getEventProcessor()).setShouldSerializeAssociations(should);
}

}  // namespace kr::zero::io
