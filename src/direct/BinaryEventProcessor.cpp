#include "direct/BinaryEventProcessor.h"

#include <array>
#include <cstring>
#include <stdexcept>

#include "direct/OutputDelivery.h"
#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "kr/zero/KeptMemory.h"
#include "kr/zero/io/PropertyCategory.h"
#include "values/Endianness.h"
#include "values/PrimitiveEncoding.h"
#include "values/ValueBytes.h"

namespace kr::zero::io {

namespace {

constexpr std::size_t kFirstReservation = 2048;
constexpr std::uint32_t kAssociations = PropertyCategory::AssociationAny().getMask();

}  // namespace

BinaryEventProcessor::BinaryEventProcessor() = default;
BinaryEventProcessor::~BinaryEventProcessor() = default;

void BinaryEventProcessor::postprocess(const SerializationOutput& output) {
  if (delivers_) deliver(getBytes(), output);
}

// The bytes keep their memory: new pages of the system cost as much time as writing a document into them.
void BinaryEventProcessor::giveBackMemory() noexcept {
  clearAndGiveBack(frames_);
  clearAndGiveBack(packageNames_);
  clearAndGiveBack(knownPackageNames_);
  clearAndGiveBack(utf8_);
}

void BinaryEventProcessor::startDocument() {
  bytes_.clear();
  // The first document of the process only; most are small, and the rest grow anyway.
  static const bool reserved = (bytes_.reserve(kFirstReservation), true);
  static_cast<void>(reserved);
  frames_.clear();  // a walk that failed leaves some open
  packageNames_.clear();
  knownPackageNames_.clear();
  writeNumber(direct::kVersion);
  direct::appendText(bytes_, values::endiannessMarker(true));
}

void BinaryEventProcessor::addRegisteredPackage(const ustring& uri) {
  if (knownPackageNames_.insert(uri).second) packageNames_.push_back(uri);
}

void BinaryEventProcessor::endRegisteredPackages() {
  writeNumber(packageNames_.size());
  for (const ustring& name : packageNames_) writeText(name);
  packageNames_.clear();
  knownPackageNames_.clear();
}

BinaryEventProcessor::Descriptor BinaryEventProcessor::describe(const ustring& name) {
  const meta::Property property = findProperty(name);
  return {property->getIdentifier(), values::typeCodeOf(property->getType()), property->isOptional()};
}

CategoryMasks BinaryEventProcessor::startObject(const ustring& property, const ustring& typeName,
                                                const ustring& id1, const ustring& id2) {
  writeNumber(property.empty() ? direct::kStartToken : describe(property).identifier);
  const bool hasIdentity = !id1.empty() && !id2.empty();
  writeNamed(typeName, hasIdentity ? direct::kWithIdentity : direct::kWithoutIdentity);
  if (hasIdentity) writeIdentity(id1, id2);
  pushContainerElementInfo(property, typeName);
  return categoryMasks_;
}

void BinaryEventProcessor::endObject() {
  popContainerElementInfo();
  writeNumber(direct::kEndToken);
}

void BinaryEventProcessor::textValue(const ustring& property, const ustring& text) {
  const Descriptor descriptor = describe(property);
  writeNumber(descriptor.identifier);
  if (descriptor.optional) bytes_.append(values::kPresentMark);
  if (isCarriedAsText(descriptor.kind)) writeText(text);
}

void BinaryEventProcessor::absentValue(const ustring& property) {
  writeNumber(describe(property).identifier);
  bytes_.append(values::kAbsentMark);
}

void BinaryEventProcessor::startStructuredProperty(const ustring& property) { pushFrame(property); }

void BinaryEventProcessor::textElement(const ustring& property, const ustring& text) {
  if (isCarriedAsText(describe(property).kind)) writeText(text);
  ++count_;
}

void BinaryEventProcessor::endStructuredProperty() { popFrame(); }

void BinaryEventProcessor::primitiveValue(const ustring& property, const Value& value) {
  const Descriptor descriptor = describe(property);
  writeNumber(descriptor.identifier);
  values::encodePrimitive(bytes_, descriptor.kind, value, descriptor.optional);
}

void BinaryEventProcessor::startStructuredElement(const ustring& property) { pushFrame(property); }

// The text before it was counted.
void BinaryEventProcessor::primitiveElement(const ustring& property, const Value& value) {
  values::encodePrimitive(bytes_, describe(property).kind, value, false);
}

void BinaryEventProcessor::endStructuredElement() { popFrame(); }

void BinaryEventProcessor::emptyContainer(const ustring& property, const ustring& typeName) {
  startContainer(property, typeName);
  endContainer();
}

void BinaryEventProcessor::startContainer(const ustring& property, const ustring& typeName) {
  if (property.empty()) {
    writeNumber(direct::kStartToken);
    writeNamed(typeName, direct::kWithoutIdentity);
  } else {
    writeNumber(describe(property).identifier);
  }
  pushContainerElementInfo(property, typeName);
}

void BinaryEventProcessor::endContainer() { endObject(); }

void BinaryEventProcessor::referenceValue(const ustring& property, const ustring& targetType,
                                          const ustring& id1, const ustring& id2) {
  writeNumber(describe(property).identifier);
  writeReference(targetType, id1, id2);
}

void BinaryEventProcessor::referenceValueLong(const ustring& property, const ustring& targetType,
                                              const ustring& qualifier, const ustring& id1,
                                              const ustring& id2) {
  writeNumber(describe(property).identifier);
  writeQualifiedReference(targetType, qualifier, id1, id2);
}

void BinaryEventProcessor::startStructuredEntry(const ustring& property) { pushFrame(property); }

void BinaryEventProcessor::referenceElement(const ustring&, const ustring& targetType, const ustring& id1,
                                            const ustring& id2) {
  writeReference(targetType, id1, id2);
  ++count_;
}

void BinaryEventProcessor::referenceElementLong(const ustring&, const ustring& targetType,
                                                const ustring& qualifier, const ustring& id1,
                                                const ustring& id2) {
  writeQualifiedReference(targetType, qualifier, id1, id2);
  ++count_;
}

void BinaryEventProcessor::endStructuredEntry() { popFrame(); }

void BinaryEventProcessor::setShouldSerializeAssociations(bool should) {
  if (should)
    categoryMasks_[0] |= kAssociations;
  else
    categoryMasks_[0] &= ~kAssociations;
}

void BinaryEventProcessor::pushFrame(const ustring& property) {
  if (!property.empty()) writeNumber(describe(property).identifier);
  frames_.push_back({bytes_.size(), count_});
  bytes_.append(std::uint8_t{0});
  count_ = 0;
}

void BinaryEventProcessor::popFrame() {
  if (frames_.empty()) throw std::logic_error("no collection is open");
  putCount(frames_.back().countAt, count_);
  count_ = frames_.back().outerCount;
  frames_.pop_back();
}

/// Puts a number in the place of one byte.
void BinaryEventProcessor::putCount(std::size_t at, std::uint64_t count) {
  std::array<std::uint8_t, direct::kMostNumberBytes> number;
  const auto more = static_cast<std::size_t>(direct::encodeNumber(count, number.data()) - number.data()) - 1;
  std::uint8_t* const end = bytes_.makeRoom(more);
  std::uint8_t* const behind = bytes_.data() + at + 1;
  std::memmove(behind + more, behind, static_cast<std::size_t>(end - behind));
  bytes_.setEnd(end + more);
  std::memcpy(bytes_.data() + at, number.data(), more + 1);
}

void BinaryEventProcessor::writeText(const ustring& text) {
  if (!converter_.convert(text, utf8_)) errors::raise<kr0::io::CannotSerialize>(errors::cannotSerialize());
  direct::appendText(bytes_, utf8_);
}

/// A type's name and the flag behind it.
void BinaryEventProcessor::writeNamed(const ustring& typeName, std::uint8_t flag) {
  bytes_.append(direct::kReserved);
  writeText(typeName);
  bytes_.append(flag);
}

void BinaryEventProcessor::writeIdentity(const ustring& id1, const ustring& id2) {
  writeText(id1);
  writeText(id2);
}

void BinaryEventProcessor::writeReference(const ustring& targetType, const ustring& id1, const ustring& id2) {
  writeNamed(targetType, direct::kWithoutQualifier);
  writeIdentity(id1, id2);
}

void BinaryEventProcessor::writeQualifiedReference(const ustring& targetType, const ustring& qualifier,
                                                   const ustring& id1, const ustring& id2) {
  writeNamed(targetType, direct::kWithQualifier);
  writeText(qualifier);
  writeIdentity(id1, id2);
}

}  // namespace kr::zero::io
