/// @file
/// A tree event serializer and parser for tests: events in, events out, no bytes.
#pragma once

#include <functional>
#include <sstream>
#include <string>

#include "framework/io/LibraryModel.h"
#include "kr/zero/io/KRSylvanParser.h"
#include "kr/zero/io/KRSylvanSerializer.h"
#include "kr/zero/io/TreeEvents.h"
#include "modeling/sylvan/EventPrinter.h"

namespace kr::zero::test {

using TreeTarget = modeling::sylvan::SylvanEventProcessor<void>;
using Primitive = modeling::sylvan::SylvanPrimitive;

/// For tests of the serializer's base: sends to a target of the test's.
class EventSerializer final : public io::KRSylvanSerializer {
 public:
  explicit EventSerializer(TreeTarget& target, std::unique_ptr<io::ModelTraverser> traverser =
                                                   std::make_unique<io::ModelTraverser>())
      : KRSylvanSerializer(std::move(traverser), std::make_unique<io::SerializeCustomizer>()),
        target_(target) {}
  const char* getFullyQualifiedVornTypeName() const override { return "test.EventSerializer"; }
  TreeTarget* getTarget(const io::SerializationOutput&) override { return &target_; }

 private:
  TreeTarget& target_;
};

/// The events of a model's document, as EventPrinter prints them.
inline std::string eventText(const Model& model) {
  std::ostringstream text;
  modeling::sylvan::EventPrinter printer(text);
  io::sendEvents(model, printer);
  return text.str();
}

/// A parser whose documents are functions that send events.
class EventParser final : public io::KRSylvanParser {
 public:
  using Send = std::function<void(TreeTarget&)>;
  explicit EventParser(const meta::MetaRegistry& registry)
      : EventParser(std::make_unique<io::ParseCustomizer>(registry)) {}
  explicit EventParser(std::unique_ptr<io::ParseCustomizer> customizer)
      : KRSylvanParser(std::move(customizer), std::make_unique<io::ParsingModelBuilder>(false)) {}
  const char* getFullyQualifiedVornTypeName() const override { return "test.EventParser"; }
  bool parseEvents(Send send) {
    send_ = std::move(send);
    return parse(io::ParsingInput::fromString(nothing_));
  }

 private:
  bool doParseFile(const ustring&) override { return run(); }
  bool doParseString(const ustring&) override { return run(); }
  bool doParseString(const std::string&) override { return run(); }
  bool run() {
    send_(*getModelBuildingTarget());
    return true;
  }
  Send send_;
  std::string nothing_;
};

/// Writes documents of events in a short form.
class EventScript {
 public:
  explicit EventScript(TreeTarget& target) : to(target) {}
  TreeTarget& to;

  EventScript& entry(const std::string& name) {
    to.startNamedEntry(Primitive(name));
    return *this;
  }
  EventScript& value(Primitive value) {
    to.writePrimitive(value);
    return *this;
  }
  EventScript& text(const std::string& value) { return this->value(Primitive(value)); }
  EventScript& end() {
    to.endNamedEntry();
    return *this;
  }
  EventScript& set(const std::string& name, Primitive content) { return entry(name).value(content).end(); }
  EventScript& header() {
    to.startDocument(Primitive(nullptr));
    to.startMetadata();
    set("version", Primitive(std::uint64_t{1})).entry("packages");
    to.startSequence();
    text("urn:test:library");
    to.endSequence();
    end();
    to.endMetadata();
    to.startSequence();
    return *this;
  }
  EventScript& footer() {
    to.endSequence();
    to.endDocument();
    return *this;
  }
  EventScript& meta(const std::string& type) {
    to.startMetadata();
    set("type", Primitive(type));
    to.endMetadata();
    return *this;
  }
  EventScript& object(const std::string& type) {
    meta(type);
    to.startStruct();
    return *this;
  }
  EventScript& endObject() {
    to.endStruct();
    return *this;
  }
};

}  // namespace kr::zero::test
