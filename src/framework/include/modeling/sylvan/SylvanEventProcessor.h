/// @file
/// The interface between those that produce a tree as events and those that consume it.
#pragma once

#include "modeling/sylvan/SylvanPrimitive.h"

namespace modeling::sylvan {

/// Receives a tree. A well-formed one is startDocument, items, endDocument. An item is a primitive
/// (writePrimitive), a struct (startStruct, named entries, endStruct), a sequence (startSequence, items,
/// endSequence) or metadata (startMetadata, named entries, endMetadata). A named entry is
/// startNamedEntry, items, endNamedEntry.
///
/// The interface does not check that order. Primitives are only valid during the call. An exception
/// leaves it to the producer's documentation how it goes on.
///
/// @tparam ReturnType what a consumer answers; void for plain consumers.
template <typename ReturnType>
class SylvanEventProcessor {
 public:
  SylvanEventProcessor() = default;
  SylvanEventProcessor(const SylvanEventProcessor&) = default;
  SylvanEventProcessor& operator=(const SylvanEventProcessor&) = default;
  virtual ~SylvanEventProcessor() = default;

  /// @param value a value attached to the start, null for none.
  virtual ReturnType startDocument(const SylvanPrimitive& value) = 0;
  /// The document ends; nothing of it follows.
  virtual ReturnType endDocument() = 0;
  /// Begins a struct, which holds named entries.
  virtual ReturnType startStruct() = 0;
  /// Ends the innermost struct.
  virtual ReturnType endStruct() = 0;
  /// Begins an entry of a struct or of metadata.
  virtual ReturnType startNamedEntry(const SylvanPrimitive& name) = 0;
  /// Ends the innermost entry.
  virtual ReturnType endNamedEntry() = 0;
  /// Begins a sequence of items.
  virtual ReturnType startSequence() = 0;
  /// Ends the innermost sequence.
  virtual ReturnType endSequence() = 0;
  /// Begins metadata, which hold named entries.
  virtual ReturnType startMetadata() = 0;
  /// Ends the innermost metadata.
  virtual ReturnType endMetadata() = 0;
  /// A leaf.
  virtual ReturnType writePrimitive(const SylvanPrimitive& value) = 0;
};

}  // namespace modeling::sylvan
