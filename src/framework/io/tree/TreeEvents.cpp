#include "kr/zero/io/TreeEvents.h"

#include <memory>

#include "kr/zero/io/KRSylvanSerializer.h"

namespace kr::zero::io {

namespace {

using EventTarget = modeling::sylvan::SylvanEventProcessor<void>;

class EventSerializer final : public KRSylvanSerializer {
 public:
  explicit EventSerializer(EventTarget& target)
      : KRSylvanSerializer(std::make_unique<ModelTraverser>(), std::make_unique<SerializeCustomizer>()),
        target_(target) {}
  const char* getFullyQualifiedVornTypeName() const override { return "kr.zero.io.EventSerializer"; }
  EventTarget* getTarget(const SerializationOutput&) override { return &target_; }

 private:
  EventTarget& target_;
};

}  // namespace

void sendEvents(const Model& model, EventTarget& target) {
  EventSerializer(target).serialize(model, SerializationOutput::toIntermediateFormat(nullptr));
}

}  // namespace kr::zero::io
