#include "kr/zero/io/BinaryKRGrammarTransformer.h"

#include <cstdint>
#include <string>
#include <utility>

#include "modeling/sylvan/grammar/GrammarException.h"

namespace kr::zero::io {

using modeling::sylvan::SylvanEventCode;
using modeling::sylvan::SylvanPrimitive;

namespace {

// Of the blackboard's metadata states.
constexpr std::uint32_t kStartsDropped = 0;
constexpr std::uint32_t kEndsDropped = 1;

}  // namespace

inline void BinaryKRGrammarTransformer::requireDocument(SylvanEventCode code) const {
  if (!manager_) failOutside(code);
}

BinaryKRGrammarTransformer::BinaryKRGrammarTransformer(modeling::sylvan::SylvanEventProcessor<void>* target)
    : target_(target) {}

BinaryKRGrammarTransformer::BinaryKRGrammarTransformer(BinaryKRGrammarTransformer&& other) noexcept
    : blackboard_(std::move(other.blackboard_)), manager_(std::move(other.manager_)), target_(other.target_) {
  bindBlackboard();
}

BinaryKRGrammarTransformer& BinaryKRGrammarTransformer::operator=(
    BinaryKRGrammarTransformer&& other) noexcept {
  if (this == &other) return *this;
  blackboard_ = std::move(other.blackboard_);
  manager_ = std::move(other.manager_);
  target_ = other.target_;
  bindBlackboard();
  return *this;
}

BinaryKRGrammarTransformer::~BinaryKRGrammarTransformer() = default;

void BinaryKRGrammarTransformer::startDocument(const SylvanPrimitive& value) {
  reset();
  manager_->process(SylvanEventCode::startDocument, value);
  target_->startDocument(SylvanPrimitive(std::string("KR0")));
}

void BinaryKRGrammarTransformer::endDocument() {
  requireDocument(SylvanEventCode::endDocument);
  target_->endDocument();
  manager_->process(SylvanEventCode::endDocument);
}

void BinaryKRGrammarTransformer::startStruct() {
  requireDocument(SylvanEventCode::startStruct);
  manager_->process(SylvanEventCode::startStruct);
  target_->startStruct();
}

void BinaryKRGrammarTransformer::endStruct() {
  requireDocument(SylvanEventCode::endStruct);
  target_->endStruct();
  manager_->process(SylvanEventCode::endStruct);
}

void BinaryKRGrammarTransformer::startNamedEntry(const SylvanPrimitive& name) {
  requireDocument(SylvanEventCode::startNamedEntry);
  manager_->process(SylvanEventCode::startNamedEntry, name);
  target_->startNamedEntry(name);
}

void BinaryKRGrammarTransformer::endNamedEntry() {
  requireDocument(SylvanEventCode::endNamedEntry);
  target_->endNamedEntry();
  manager_->process(SylvanEventCode::endNamedEntry);
}

void BinaryKRGrammarTransformer::startSequence() {
  requireDocument(SylvanEventCode::startSequence);
  manager_->process(SylvanEventCode::startSequence);
  target_->startSequence();
}

void BinaryKRGrammarTransformer::endSequence() {
  requireDocument(SylvanEventCode::endSequence);
  target_->endSequence();
  manager_->process(SylvanEventCode::endSequence);
}

void BinaryKRGrammarTransformer::startMetadata() {
  requireDocument(SylvanEventCode::startMetadata);
  if (blackboard_.metadataStates.top() == kStartsDropped) return;
  target_->startMetadata();
  manager_->process(SylvanEventCode::startMetadata);
}

void BinaryKRGrammarTransformer::endMetadata() {
  requireDocument(SylvanEventCode::endMetadata);
  if (blackboard_.metadataStates.top() == kEndsDropped) return;
  target_->endMetadata();
  manager_->process(SylvanEventCode::endMetadata);
}

void BinaryKRGrammarTransformer::writePrimitive(const SylvanPrimitive& value) {
  requireDocument(SylvanEventCode::writePrimitive);
  target_->writePrimitive(value);
  manager_->process(SylvanEventCode::writePrimitive, value);
}

void BinaryKRGrammarTransformer::reset() {
  blackboard_.reset();
  manager_ = KRGrammar::getInstance().getProcessor("document", blackboard_);
}

// Takes no memory: a blackboard has room for what a new one holds.
void BinaryKRGrammarTransformer::giveBackMemory() noexcept {
  manager_.reset();
  blackboard_.reset();
}

void BinaryKRGrammarTransformer::catchUp(const std::vector<SylvanEventCode>& way) {
  reset();
  for (const SylvanEventCode code : way) manager_->process(code);
}

// The manager acts on the blackboard of the object that it is in.
void BinaryKRGrammarTransformer::bindBlackboard() noexcept {
  if (manager_) manager_->setBlackboard(blackboard_);
}

void BinaryKRGrammarTransformer::failOutside(SylvanEventCode code) {
  throw modeling::sylvan::grammar::GrammarException(std::string(getName(code)) + " before StartDocument");
}

}  // namespace kr::zero::io
