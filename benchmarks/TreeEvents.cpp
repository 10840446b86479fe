#include "TreeEvents.h"

#include "kr/zero/io/TreeEvents.h"

namespace kr::zero::bench {

using modeling::sylvan::SylvanEventCode;
using modeling::sylvan::SylvanEventProcessor;
using modeling::sylvan::SylvanPrimitive;

namespace {

/// Writes events down and counts what each start holds.
class Notes final : public SylvanEventProcessor<void> {
 public:
  TreeEvents events;

  void startDocument(const SylvanPrimitive& value) override { open(SylvanEventCode::startDocument, value); }
  void endDocument() override { close(SylvanEventCode::endDocument); }
  void startStruct() override { open(SylvanEventCode::startStruct, nullptr); }
  void endStruct() override { close(SylvanEventCode::endStruct); }
  void startNamedEntry(const SylvanPrimitive& name) override { open(SylvanEventCode::startNamedEntry, name); }
  void endNamedEntry() override { close(SylvanEventCode::endNamedEntry); }
  void startSequence() override { open(SylvanEventCode::startSequence, nullptr); }
  void endSequence() override { close(SylvanEventCode::endSequence); }
  void startMetadata() override { open(SylvanEventCode::startMetadata, nullptr); }
  void endMetadata() override { close(SylvanEventCode::endMetadata); }
  void writePrimitive(const SylvanPrimitive& value) override { add(SylvanEventCode::writePrimitive, value); }

 private:
  void add(SylvanEventCode code, const SylvanPrimitive& value) {
    if (!open_.empty()) ++events[open_.back()].items;
    events.push_back({code, 0, value});
  }
  void open(SylvanEventCode code, const SylvanPrimitive& value) {
    add(code, value);
    open_.push_back(events.size() - 1);
  }
  void close(SylvanEventCode code) {
    open_.pop_back();
    events.push_back({code, 0, nullptr});
  }

  std::vector<std::size_t> open_;
};

/// Builds a JSON document from the top down.
class JsonBuilder {
 public:
  nlohmann::json root;

  void take(const TreeEvent& event) {
    switch (event.code) {
      case SylvanEventCode::startStruct:
      case SylvanEventCode::startMetadata:
        open_.push_back(&add(nlohmann::json::object()));
        return;
      case SylvanEventCode::startDocument:
      case SylvanEventCode::startSequence:
        open_.push_back(&add(nlohmann::json::array()));
        return;
      case SylvanEventCode::startNamedEntry: {
        nlohmann::json& value = (*open_.back())[std::get<std::string>(event.value)];
        if (event.items != 1) value = nlohmann::json::array();
        open_.push_back(&value);
        return;
      }
      case SylvanEventCode::writePrimitive:
        add(std::visit([](const auto& value) { return nlohmann::json(value); }, event.value));
        return;
      default:
        open_.pop_back();
    }
  }

 private:
  // Into an array at its end; into an entry of one item as that.
  nlohmann::json& add(nlohmann::json value) {
    if (open_.empty()) return root = std::move(value);
    nlohmann::json& into = *open_.back();
    if (!into.is_array()) return into = std::move(value);
    into.push_back(std::move(value));
    return into.back();
  }

  std::vector<nlohmann::json*> open_;
};

}  // namespace

TreeEvents eventsOf(const Model& model) {
  Notes notes;
  io::sendEvents(model, notes);
  return std::move(notes.events);
}

void send(const TreeEvents& events, SylvanEventProcessor<void>& target) {
  for (const TreeEvent& event : events) {
    switch (event.code) {
      case SylvanEventCode::startDocument:
        target.startDocument(event.value);
        break;
      case SylvanEventCode::endDocument:
        target.endDocument();
        break;
      case SylvanEventCode::startStruct:
        target.startStruct();
        break;
      case SylvanEventCode::endStruct:
        target.endStruct();
        break;
      case SylvanEventCode::startNamedEntry:
        target.startNamedEntry(event.value);
        break;
      case SylvanEventCode::endNamedEntry:
        target.endNamedEntry();
        break;
      case SylvanEventCode::startSequence:
        target.startSequence();
        break;
      case SylvanEventCode::endSequence:
        target.endSequence();
        break;
      case SylvanEventCode::startMetadata:
        target.startMetadata();
        break;
      case SylvanEventCode::endMetadata:
        target.endMetadata();
        break;
      case SylvanEventCode::writePrimitive:
        target.writePrimitive(event.value);
        break;
    }
  }
}

nlohmann::json toJson(const TreeEvents& events) {
  JsonBuilder builder;
  for (const TreeEvent& event : events) builder.take(event);
  return std::move(builder.root);
}

}  // namespace kr::zero::bench
