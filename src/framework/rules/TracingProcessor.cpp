#include "modeling/sylvan/grammar/TracingProcessor.h"

#include "modeling/sylvan/grammar/GrammarException.h"

namespace modeling::sylvan::grammar {

TracingProcessor::TracingProcessor() = default;
TracingProcessor::TracingProcessor(const TracingProcessor&) = default;
TracingProcessor& TracingProcessor::operator=(const TracingProcessor&) = default;
TracingProcessor::~TracingProcessor() = default;

void TracingProcessor::throwTraced(const std::exception& failure) const {
  throw TracingException(name(), failure);
}

ReturnType TracingProcessor::startDocument(const SylvanPrimitive& value) {
  return guard([&] { return onStartDocument(value); });
}
ReturnType TracingProcessor::endDocument() {
  return guard([this] { return onEndDocument(); });
}
ReturnType TracingProcessor::startStruct() {
  return guard([this] { return onStartStruct(); });
}
ReturnType TracingProcessor::endStruct() {
  return guard([this] { return onEndStruct(); });
}
ReturnType TracingProcessor::startNamedEntry(const SylvanPrimitive& name) {
  return guard([&] { return onStartNamedEntry(name); });
}
ReturnType TracingProcessor::endNamedEntry() {
  return guard([this] { return onEndNamedEntry(); });
}
ReturnType TracingProcessor::startSequence() {
  return guard([this] { return onStartSequence(); });
}
ReturnType TracingProcessor::endSequence() {
  return guard([this] { return onEndSequence(); });
}
ReturnType TracingProcessor::startMetadata() {
  return guard([this] { return onStartMetadata(); });
}
ReturnType TracingProcessor::endMetadata() {
  return guard([this] { return onEndMetadata(); });
}
ReturnType TracingProcessor::writePrimitive(const SylvanPrimitive& value) {
  return guard([&] { return onWritePrimitive(value); });
}

}  // namespace modeling::sylvan::grammar
