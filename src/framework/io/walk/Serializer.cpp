#include "kr/zero/io/Serializer.h"

#include <algorithm>

#include "io/NotNull.h"
#include "io/walk/BulkRoad.h"
#include "io/walk/NamedRoad.h"
#include "io/walk/PackageNames.h"
#include "io/walk/Walk.h"

namespace kr::zero::io {

using zero::internal::ModelStore;

SerializeError::~SerializeError() = default;
BulkEventProcessor::~BulkEventProcessor() = default;

BulkEventProcessor* bulkOf(EventProcessor& processor) noexcept {
  return dynamic_cast<BulkEventProcessor*>(&processor);
}

namespace {

/// The larger units of the processor, where they can tell all that is to be told: identities as they stand in
/// the model, and values in forms that fit them.
BulkEventProcessor* bulkFor(const ModelStore& store, EventProcessor& processor,
                            const internal::Identities& identities, const internal::Passes& passes) {
  BulkEventProcessor* const bulk = bulkOf(processor);
  if (bulk == nullptr || !identities.arePlain()) return nullptr;
  const auto& types = store.typesInUse();
  const bool fitting =
      std::all_of(types.begin(), types.end(), [&](const auto* use) { return passes.areFitting(*use); });
  return fitting ? bulk : nullptr;
}

template <class Road>
void walk(const ModelStore& store, internal::Passes& passes, Road road, const Progress& progress) {
  internal::Walk<Road>(store, passes, road, progress).run();
}

}  // namespace

Serializer::Serializer(std::unique_ptr<ModelTraverser> traverser,
                       std::unique_ptr<SerializeCustomizer> customizer,
                       std::unique_ptr<EventProcessor> processor)
    : traverser_(internal::notNull(std::move(traverser), "a serializer needs a traverser")),
      customizer_(internal::notNull(std::move(customizer), "a serializer needs a customizer")),
      processor_(internal::notNull(std::move(processor), "a serializer needs an event processor")) {}

Serializer::~Serializer() = default;

void Serializer::serialize(const Model& model, const SerializationOutput& output) {
  struct Ending {
    EventProcessor& processor;
    ~Ending() { processor.endWalk(); }
  };
  const Ending ending{*processor_};
  ModelStore& store = ModelStore::of(model);
  internal::Identities identities(store, *customizer_);
  internal::WalkedValues values(store, identities);
  internal::Passes passes(*traverser_);
  const std::vector<ustring> packageUris = customizer_->getPackageUris(model);
  requireDistinctPackageNames(model.getRegistry(), packageUris);
  processor_->setMetaRegistry(model.getRegistry(), packageUris);
  processor_->startDocument();
  processor_->startRegisteredPackages();
  for (const ustring& uri : packageUris) processor_->addRegisteredPackage(uri);
  processor_->endRegisteredPackages();
  if (BulkEventProcessor* const bulk = bulkFor(store, *processor_, identities, passes); bulk != nullptr)
    walk(store, passes, internal::BulkRoad(*bulk, values, identities), progress_);
  else
    walk(store, passes, internal::NamedRoad(*processor_, values, identities), progress_);
  processor_->endDocument();
  processor_->postprocess(output);
}

}  // namespace kr::zero::io
