#include "kr/zero/io/BinaryKRSylvanSerializer.h"

#include "sylvan/FormatterInternals.h"
#include "sylvan/FormatterUnits.h"

namespace kr::zero::io {

BinaryKRSylvanSerializer::BinaryKRSylvanSerializer(std::unique_ptr<ModelTraverser> traverser,
                                                   std::unique_ptr<SerializeCustomizer> customizer)
    : KRSylvanSerializer(std::move(traverser), std::move(customizer)) {}

BinaryKRSylvanSerializer::BinaryKRSylvanSerializer(std::unique_ptr<ModelTraverser> traverser)
    : BinaryKRSylvanSerializer(std::move(traverser), std::make_unique<SerializeCustomizer>()) {}

BinaryKRSylvanSerializer::BinaryKRSylvanSerializer()
    : BinaryKRSylvanSerializer(std::make_unique<ModelTraverser>()) {}

BinaryKRSylvanSerializer::~BinaryKRSylvanSerializer() = default;

const char* BinaryKRSylvanSerializer::getFullyQualifiedVornTypeName() const {
  return "kr.zero.io.BinaryKRSylvanSerializer";
}

// The formatter holds the file. One whose document went to a target around it has not begun: what it is for
// is that target's business.
void BinaryKRSylvanSerializer::serialize(const Model& model, const SerializationOutput& output) {
  try {
    KRSylvanSerializer::serialize(model, output);
  } catch (...) {
    if (formatter_) tagged::FormatterInternals::abandon(*formatter_);
    throw;
  }
  if (formatter_ && tagged::FormatterInternals::hasBegun(*formatter_))
    tagged::FormatterInternals::closeFile(*formatter_);
}

modeling::sylvan::SylvanEventProcessor<void>* BinaryKRSylvanSerializer::getTarget(
    const SerializationOutput& output) {
  // The old one goes first: it may still hold bytes of a document that failed, for the file that is opened
  // now.
  formatter_.reset();
  formatter_ = std::make_unique<BinaryFormatter>(output);
  units_ = std::make_unique<tagged::FormatterUnits>(*formatter_);
  offerUnits(*formatter_, *units_);
  return formatter_.get();
}

}  // namespace kr::zero::io
