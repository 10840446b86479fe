/// @file
/// A processor that does the same for all kinds of events.
#pragma once

#include "modeling/sylvan/grammar/TracingProcessor.h"

namespace modeling::sylvan::grammar {

/// All hooks call `ReturnType Self::step(SylvanEventCode)`, without a further virtual call.
template <class Self>
class UniformProcessor : public TracingProcessor {
 public:
  /// The event operation of that kind, for callers who know the class: without a virtual call at all.
  ReturnType process(SylvanEventCode code) {
    return guard([&] { return step(code); });
  }

  /// @cond
 protected:
  ReturnType onStartDocument(const SylvanPrimitive&) final { return step(SylvanEventCode::startDocument); }
  ReturnType onEndDocument() final { return step(SylvanEventCode::endDocument); }
  ReturnType onStartStruct() final { return step(SylvanEventCode::startStruct); }
  ReturnType onEndStruct() final { return step(SylvanEventCode::endStruct); }
  ReturnType onStartNamedEntry(const SylvanPrimitive&) final {
    return step(SylvanEventCode::startNamedEntry);
  }
  ReturnType onEndNamedEntry() final { return step(SylvanEventCode::endNamedEntry); }
  ReturnType onStartSequence() final { return step(SylvanEventCode::startSequence); }
  ReturnType onEndSequence() final { return step(SylvanEventCode::endSequence); }
  ReturnType onStartMetadata() final { return step(SylvanEventCode::startMetadata); }
  ReturnType onEndMetadata() final { return step(SylvanEventCode::endMetadata); }
  ReturnType onWritePrimitive(const SylvanPrimitive&) final { return step(SylvanEventCode::writePrimitive); }
  /// @endcond

 private:
  ReturnType step(SylvanEventCode code) { return static_cast<Self*>(this)->step(code); }
};

}  // namespace modeling::sylvan::grammar
