/// @file
/// Internal: what the events of a tagged document mean, as far as they tell without a meta model.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TaggedEvents.h"
#include "modeling/sylvan/EventRecorder.h"
#include "modeling/sylvan/SylvanEventCode.h"

namespace kr::zero::tool {

/// The type and identity of an object, or those of a reference's target.
struct TaggedHeader {
  std::string type;
  std::vector<std::string> identity;  ///< two texts or none
  std::optional<std::string> document;
};

/// Hears of everything in a tagged document, in its order. Does nothing unless overridden.
class TaggedTreeVisitor {
 public:
  virtual ~TaggedTreeVisitor() = default;
  virtual void header(const std::string& /*version*/, const std::vector<std::string>& /*packages*/) {}
  virtual void beginObject(const TaggedHeader& /*header*/) {}
  virtual void endObject() {}
  /// A datatype value.
  virtual void beginStruct() {}
  virtual void endStruct() {}
  virtual void beginProperty(const std::string& /*name*/) {}
  virtual void endProperty() {}
  virtual void beginList() {}
  virtual void endList() {}
  virtual void value(const modeling::sylvan::SylvanPrimitive& /*value*/) {}
  virtual void reference(const TaggedHeader& /*target*/) {}
};

/// Turns events into visits. A struct that has the entries of a reference, and no others, is taken for one.
///
/// The events must be those of a document that checkTagged has found to be whole.
class TaggedTree final : public TreeEvents {
 public:
  using Primitive = modeling::sylvan::SylvanPrimitive;
  using Event = modeling::sylvan::SylvanEventCode;

  explicit TaggedTree(TaggedTreeVisitor& visitor) : visitor_(visitor) {}

  void startDocument(const Primitive& value) override;
  void endDocument() override;
  void startStruct() override;
  void endStruct() override;
  void startNamedEntry(const Primitive& name) override;
  void endNamedEntry() override;
  void startSequence() override;
  void endSequence() override;
  void startMetadata() override;
  void endMetadata() override;
  void writePrimitive(const Primitive& value) override;

 private:
  bool takeForReference(Event event, const Primitive* value);
  bool fitsReference(Event event, const Primitive* value);
  void giveUpReference();
  void record(Event event, const Primitive* value);
  void readMetadata(const Primitive& value);

  TaggedTreeVisitor& visitor_;
  std::vector<bool> bodies_;  // open structs: whether they are objects

  bool inMetadata_ = false;
  bool headerSeen_ = false;
  bool objectFollows_ = false;
  std::string entry_;  // of metadata
  TaggedHeader object_;
  std::string version_;
  std::vector<std::string> packages_;

  // A struct that looks like a reference so far: its events, and how far it looks like one.
  bool maybeReference_ = false;
  std::size_t step_ = 0;
  TaggedHeader reference_;
  modeling::sylvan::EventRecorder held_;
};

}  // namespace kr::zero::tool
