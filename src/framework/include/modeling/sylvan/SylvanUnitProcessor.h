/// @file
/// Several tree events in one call.
#pragma once

#include <string>
#include <string_view>

#include "modeling/sylvan/SylvanEventProcessor.h"
#include "modeling/sylvan/SylvanPrimitive.h"

namespace modeling::sylvan {

/// Takes what a producer knows as a whole. Each operation means the events that it names, in that order; who
/// brings a consumer of events and one of units for the same tree may mix the two. Primitives are only valid
/// during the call.
class SylvanUnitProcessor {
 public:
  SylvanUnitProcessor() = default;
  SylvanUnitProcessor(const SylvanUnitProcessor&) = delete;
  SylvanUnitProcessor& operator=(const SylvanUnitProcessor&) = delete;
  virtual ~SylvanUnitProcessor() = default;

  /// startNamedEntry(name), writePrimitive(value), endNamedEntry.
  virtual void writeEntry(const SylvanPrimitive& name, const SylvanPrimitive& value) = 0;
  /// The same for a text that stands somewhere else.
  virtual void writeTextEntry(const SylvanPrimitive& name, std::string_view text) = 0;
  /// startNamedEntry(name), startSequence, writePrimitive of each, endSequence, endNamedEntry.
  virtual void writePairEntry(const SylvanPrimitive& name, const SylvanPrimitive& first,
                              const SylvanPrimitive& second) = 0;
  /// startStruct, writeEntry(name, value), writePairEntry(pairName, first, second), endStruct.
  virtual void writePairStruct(const SylvanPrimitive& name, const SylvanPrimitive& value,
                               const SylvanPrimitive& pairName, const SylvanPrimitive& first,
                               const SylvanPrimitive& second) = 0;
};

/// Sends units as events, to whoever knows nothing else.
class UnitsAsEvents final : public SylvanUnitProcessor {
 public:
  /// @param target not owned; must outlive the use of this object.
  explicit UnitsAsEvents(SylvanEventProcessor<void>& target) : target_(&target) {}

  void writeEntry(const SylvanPrimitive& name, const SylvanPrimitive& value) override {
    target_->startNamedEntry(name);
    target_->writePrimitive(value);
    target_->endNamedEntry();
  }
  void writeTextEntry(const SylvanPrimitive& name, std::string_view text) override {
    writeEntry(name, SylvanPrimitive(std::string(text)));
  }
  void writePairEntry(const SylvanPrimitive& name, const SylvanPrimitive& first,
                      const SylvanPrimitive& second) override {
    target_->startNamedEntry(name);
    target_->startSequence();
    target_->writePrimitive(first);
    target_->writePrimitive(second);
    target_->endSequence();
    target_->endNamedEntry();
  }
  void writePairStruct(const SylvanPrimitive& name, const SylvanPrimitive& value,
                       const SylvanPrimitive& pairName, const SylvanPrimitive& first,
                       const SylvanPrimitive& second) override {
    target_->startStruct();
    writeEntry(name, value);
    writePairEntry(pairName, first, second);
    target_->endStruct();
  }

 private:
  SylvanEventProcessor<void>* target_;
};

}  // namespace modeling::sylvan
