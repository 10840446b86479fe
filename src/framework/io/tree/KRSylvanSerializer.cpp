#include "kr/zero/io/KRSylvanSerializer.h"

#include "io/tree/BulkTreeEventWriter.h"
#include "io/tree/TypedValueTraverser.h"

namespace kr::zero::io {

using internal::BulkTreeEventWriter;
using internal::TreeEventWriter;
using internal::TypedValueTraverser;

KRSylvanSerializer::KRSylvanSerializer(std::unique_ptr<ModelTraverser> traverser,
                                       std::unique_ptr<SerializeCustomizer> customizer)
    : Serializer(std::make_unique<TypedValueTraverser>(std::move(traverser)), std::move(customizer),
                 std::make_unique<BulkTreeEventWriter>()) {}

KRSylvanSerializer::~KRSylvanSerializer() = default;

void KRSylvanSerializer::serialize(const Model& model, const SerializationOutput& output) {
  struct Ending {
    TreeEventWriter& writer;
    ~Ending() { writer.giveBackMemory(); }
  };
  targetOfUnits_ = nullptr;
  modeling::sylvan::SylvanEventProcessor<void>& target = *getTarget(output);
  const Ending ending{static_cast<TreeEventWriter&>(getEventProcessor())};
  ending.writer.setTarget(target, targetOfUnits_ == &target ? units_ : nullptr);
  Serializer::serialize(model, output);
}

void KRSylvanSerializer::offerUnits(modeling::sylvan::SylvanEventProcessor<void>& target,
                                    modeling::sylvan::SylvanUnitProcessor& units) noexcept {
  targetOfUnits_ = &target;
  units_ = &units;
}

}  // namespace kr::zero::io
