/// @file
/// An event processor that does nothing.
#pragma once

#include "modeling/sylvan/SylvanEventProcessor.h"

namespace modeling::sylvan {

/// Takes every event and forgets it: for checking that a document can be read, and for measuring readers.
/// Derive from it where only a few events matter.
class NullEventProcessor : public SylvanEventProcessor<void> {
 public:
  void startDocument(const SylvanPrimitive&) override {}
  void endDocument() override {}
  void startStruct() override {}
  void endStruct() override {}
  void startNamedEntry(const SylvanPrimitive&) override {}
  void endNamedEntry() override {}
  void startSequence() override {}
  void endSequence() override {}
  void startMetadata() override {}
  void endMetadata() override {}
  void writePrimitive(const SylvanPrimitive&) override {}
};

}  // namespace modeling::sylvan
