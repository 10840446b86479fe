#include "TaggedTree.h"

#include <array>
#include <variant>

namespace kr::zero::tool {

namespace {

using Primitive = TaggedTree::Primitive;
using Event = TaggedTree::Event;

const std::string* textOf(const Primitive* value) {
  return value != nullptr ? std::get_if<std::string>(value) : nullptr;
}

// What a reference's struct holds, in the order that writers keep.
struct Step {
  Event event;
  const char* entry;  // the name, of an entry's start
};
constexpr std::array<Step, 13> referenceSteps{{
    {Event::startNamedEntry, "type"},
    {Event::writePrimitive, nullptr},
    {Event::endNamedEntry, nullptr},
    {Event::startNamedEntry, "id"},
    {Event::startSequence, nullptr},
    {Event::writePrimitive, nullptr},
    {Event::writePrimitive, nullptr},
    {Event::endSequence, nullptr},
    {Event::endNamedEntry, nullptr},
    {Event::startNamedEntry, "qualifier"},
    {Event::writePrimitive, nullptr},
    {Event::endNamedEntry, nullptr},
    {Event::endStruct, nullptr},
}};
constexpr std::size_t typeStep = 1, qualifierStep = 9;

}  // namespace

void TaggedTree::startDocument(const Primitive&) {}
void TaggedTree::endDocument() {}

void TaggedTree::startStruct() {
  if (takeForReference(Event::startStruct, nullptr)) return;
  if (objectFollows_) {
    objectFollows_ = false;
    bodies_.push_back(true);
    return visitor_.beginObject(object_);
  }
  maybeReference_ = true;
  step_ = 0;
  reference_ = {};
}

void TaggedTree::endStruct() {
  if (takeForReference(Event::endStruct, nullptr)) return;
  const bool wasObject = bodies_.back();
  bodies_.pop_back();
  wasObject ? visitor_.endObject() : visitor_.endStruct();
}

void TaggedTree::startNamedEntry(const Primitive& name) {
  if (takeForReference(Event::startNamedEntry, &name)) return;
  const std::string& text = std::get<std::string>(name);
  if (inMetadata_)
    entry_ = text;
  else
    visitor_.beginProperty(text);
}

void TaggedTree::endNamedEntry() {
  if (takeForReference(Event::endNamedEntry, nullptr)) return;
  if (!inMetadata_) visitor_.endProperty();
}

// The roots' sequence is no list of a property, and neither are those of metadata.
void TaggedTree::startSequence() {
  if (takeForReference(Event::startSequence, nullptr)) return;
  if (!inMetadata_ && !bodies_.empty()) visitor_.beginList();
}

void TaggedTree::endSequence() {
  if (takeForReference(Event::endSequence, nullptr)) return;
  if (!inMetadata_ && !bodies_.empty()) visitor_.endList();
}

void TaggedTree::startMetadata() {
  if (takeForReference(Event::startMetadata, nullptr)) return;
  inMetadata_ = true;
  object_ = {};
}

void TaggedTree::endMetadata() {
  if (takeForReference(Event::endMetadata, nullptr)) return;
  inMetadata_ = false;
  objectFollows_ = headerSeen_;
  if (!headerSeen_) visitor_.header(version_, packages_);
  headerSeen_ = true;
}

void TaggedTree::writePrimitive(const Primitive& value) {
  if (takeForReference(Event::writePrimitive, &value)) return;
  inMetadata_ ? readMetadata(value) : visitor_.value(value);
}

void TaggedTree::readMetadata(const Primitive& value) {
  const std::string* const text = textOf(&value);
  if (headerSeen_ && text != nullptr) {
    entry_ == "type" ? void(object_.type = *text) : object_.identity.push_back(*text);
  } else if (text != nullptr) {
    packages_.push_back(*text);
  } else if (const auto* number = std::get_if<std::uint64_t>(&value)) {
    version_ = std::to_string(*number);
  }
}

/// @return whether the event is held back because it may belong to a reference.
bool TaggedTree::takeForReference(Event event, const Primitive* value) {
  if (!maybeReference_) return false;
  if (!fitsReference(event, value)) {
    giveUpReference();
    return false;
  }
  if (step_ == referenceSteps.size()) {
    maybeReference_ = false;
    held_.reset();
    visitor_.reference(reference_);
  } else {
    record(event, value);
  }
  return true;
}

bool TaggedTree::fitsReference(Event event, const Primitive* value) {
  if (step_ == qualifierStep && event == Event::endStruct) step_ = referenceSteps.size() - 1;
  const Step& step = referenceSteps[step_];
  if (event != step.event) return false;
  const std::string* const text = textOf(value);
  if (value != nullptr && text == nullptr) return false;
  if (step.entry != nullptr && *text != step.entry) return false;
  if (event == Event::writePrimitive) {
    if (step_ == typeStep)
      reference_.type = *text;
    else if (step_ > qualifierStep)
      reference_.document = *text;
    else
      reference_.identity.push_back(*text);
  }
  ++step_;
  return true;
}

/// It is a datatype value: what was held back is let go.
void TaggedTree::giveUpReference() {
  maybeReference_ = false;
  bodies_.push_back(false);
  visitor_.beginStruct();
  const modeling::sylvan::EventRecorder held = std::move(held_);
  held_ = modeling::sylvan::EventRecorder();
  held.replay(*this);
}

void TaggedTree::record(Event event, const Primitive* value) {
  switch (event) {
    case Event::startNamedEntry:
      return held_.startNamedEntry(*value);
    case Event::writePrimitive:
      return held_.writePrimitive(*value);
    case Event::endNamedEntry:
      return held_.endNamedEntry();
    case Event::startSequence:
      return held_.startSequence();
    case Event::endSequence:
      return held_.endSequence();
    default:
      return;  // no other event stands inside a reference
  }
}

}  // namespace kr::zero::tool
