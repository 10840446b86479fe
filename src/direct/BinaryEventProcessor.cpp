#include "direct/BinaryEventProcessor.h"

#include <atomic>

#include "direct/DirectFormat.h"
#include "direct/OutputDelivery.h"
#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "fl/i18n/converter.h"
#include "values/ByteOrder.h"

namespace kr::zero::io {

namespace {

constexpr std::size_t kFirstReservation = 2048;
constexpr std::size_t kMostNumberBytes = 10;  // 64 bits in groups of 7

/// Writes a number in its shortest form; returns where it ends.
std::uint8_t* putNumber(std::uint64_t number, std::uint8_t* out) {
  for (; number >= direct::kMoreGroups; number >>= direct::kGroupBits)
    *out++ = static_cast<std::uint8_t>(number | direct::kMoreGroups);
  *out++ = static_cast<std::uint8_t>(number);
  return out;
}

std::uint32_t associationMask() {
  static const std::uint32_t mask = PropertyCategory::AssociationAny().getMask();
  return mask;
}

PrimitiveCode codeOf(meta::Type type) {
  if (kr::zero::internal::isEnumType(type)) return PrimitiveCode::enumeration;
  if (!type->isKindOf(meta::PrimitiveType::metaClass())) return PrimitiveCode::notPrimitive;
  const std::pair<const StandardTypeRow*, PrimitiveCode> fixed[] = {
      {&rows::boolean, PrimitiveCode::boolean},
      {&rows::integer8, PrimitiveCode::integer8},
      {&rows::integer16, PrimitiveCode::integer16},
      {&rows::integer, PrimitiveCode::integer},
      {&rows::integer64, PrimitiveCode::integer64},
      {&rows::uinteger8, PrimitiveCode::uinteger8},
      {&rows::uinteger16, PrimitiveCode::uinteger16},
      {&rows::unlimitedNatural, PrimitiveCode::unlimitedNatural},
      {&rows::uinteger64, PrimitiveCode::uinteger64},
      {&rows::real, PrimitiveCode::real}};
  for (const auto& [row, code] : fixed)
    if (isStandardType(type, *row)) return code;
  for (const StandardTypeRow* row : {&rows::string, &rows::stdString, &rows::uuid, &rows::jsonValue,
                                     &rows::dateTime, &rows::stringToStringMap, &rows::zoArray})
    if (isStandardType(type, *row)) return PrimitiveCode::standardText;
  return PrimitiveCode::otherText;
}

bool isText(PrimitiveCode code) {
  return code == PrimitiveCode::standardText || code == PrimitiveCode::otherText;
}

}  // namespace

BinaryEventProcessor::BinaryEventProcessor() = default;
BinaryEventProcessor::~BinaryEventProcessor() = default;

const ByteBuffer& BinaryEventProcessor::getBytes() const {
  static const ByteBuffer nothing;
  return frames_.empty() ? nothing : frames_.front().bytes;
}

void BinaryEventProcessor::postprocess(const SerializationOutput& output) { deliver(getBytes(), output); }

void BinaryEventProcessor::startDocument() {
  // A walk that failed may have left frames filled.
  for (Frame& frame : frames_) emptyFrame(frame);
  depth_ = -1;
  packageNames_.clear();
  knownPackageNames_.clear();
  pushFrame({});
  emptyFrame(*current_);
  writeNumber(direct::kVersion);
  const std::string_view marker = endiannessMarker(true);
  writeNumber(marker.size());
  bytes().append(marker.data(), marker.size());
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

CategoryMasks BinaryEventProcessor::startObject(const ustring& property, const ustring& typeName,
                                                const ustring& id1, const ustring& id2) {
  if (property.empty())
    writeNumber(direct::kStartToken);
  else
    writeKey(describe(property));
  writeNamed(typeName);
  if (!id1.empty() && !id2.empty()) {
    bytes().push(direct::kWithIdentity);
    writeText(id1);
    writeText(id2);
  } else {
    bytes().push(direct::kWithoutIdentity);
  }
  pushContainerElementInfo(property, typeName);
  return categoryMasks_;
}

void BinaryEventProcessor::endObject() {
  popContainerElementInfo();
  writeEndMark();
}

void BinaryEventProcessor::textValue(const ustring& property, const ustring& text) {
  const PropertyDescriptor& descriptor = describe(property);
  writeKey(descriptor);
  if (descriptor.optional) bytes().push(kPresentMark);
  if (isText(descriptor.kind)) writeText(text);
}

void BinaryEventProcessor::absentValue(const ustring& property) {
  writeKey(describe(property));
  bytes().push(kAbsentMark);
}

void BinaryEventProcessor::startStructuredProperty(const ustring& property) { pushFrame(property); }

void BinaryEventProcessor::textElement(const ustring& property, const ustring& text) {
  if (isText(describe(property).kind)) writeText(text);
  ++current_->count;
}

void BinaryEventProcessor::endStructuredProperty() { popFrame(); }

void BinaryEventProcessor::primitiveValue(const ustring& property, const Value& value) {
  const PropertyDescriptor& descriptor = describe(property);
  writeKey(descriptor);
  encodePrimitive(descriptor.kind, bytes(), value, descriptor.optional);
}

void BinaryEventProcessor::startStructuredElement(const ustring& property) { pushFrame(property); }

void BinaryEventProcessor::primitiveElement(const ustring& property, const Value& value) {
  encodePrimitive(describe(property).kind, bytes(), value, false);  // the text before it was counted
}

void BinaryEventProcessor::endStructuredElement() { popFrame(); }

void BinaryEventProcessor::emptyContainer(const ustring& property, const ustring& typeName) {
  startContainer(property, typeName);
  endContainer();
}

void BinaryEventProcessor::startContainer(const ustring& property, const ustring& typeName) {
  if (property.empty()) {
    writeNumber(direct::kStartToken);
    writeNamed(typeName);
    bytes().push(direct::kWithoutIdentity);
  } else {
    writeKey(describe(property));
  }
  pushContainerElementInfo(property, typeName);
}

void BinaryEventProcessor::endContainer() {
  popContainerElementInfo();
  writeEndMark();
}

void BinaryEventProcessor::referenceValue(const ustring& property, const ustring& targetType,
                                          const ustring& id1, const ustring& id2) {
  writeKey(describe(property));
  writeReference(targetType, id1, id2);
}

void BinaryEventProcessor::referenceValueLong(const ustring& property, const ustring& targetType,
                                              const ustring& qualifier, const ustring& id1,
                                              const ustring& id2) {
  writeKey(describe(property));
  writeQualifiedReference(targetType, qualifier, id1, id2);
}

void BinaryEventProcessor::startStructuredEntry(const ustring& property) { pushFrame(property); }

void BinaryEventProcessor::referenceElement(const ustring&, const ustring& targetType, const ustring& id1,
                                            const ustring& id2) {
  writeReference(targetType, id1, id2);
  ++current_->count;
}

void BinaryEventProcessor::referenceElementLong(const ustring&, const ustring& targetType,
                                                const ustring& qualifier, const ustring& id1,
                                                const ustring& id2) {
  writeQualifiedReference(targetType, qualifier, id1, id2);
  ++current_->count;
}

void BinaryEventProcessor::endStructuredEntry() { popFrame(); }

void BinaryEventProcessor::setShouldSerializeAssociations(bool should) {
  if (should)
    categoryMasks_[0] |= associationMask();
  else
    categoryMasks_[0] &= ~associationMask();
}

const BinaryEventProcessor::PropertyDescriptor& BinaryEventProcessor::describe(const ustring& name) {
  const meta::Property property = findProperty(name);
  const std::size_t index = property->getIndex();
  if (index >= descriptors_.size()) descriptors_.resize(index + 1);
  PropertyDescriptor& descriptor = descriptors_[index];
  if (descriptor.property == property.get()) return descriptor;
  descriptor.kind = codeOf(property->getType());
  descriptor.optional = property->isOptional();
  const std::uint8_t* end = putNumber(property->getIdentifier(), descriptor.key.data());
  descriptor.keySize = static_cast<std::uint8_t>(end - descriptor.key.data());
  descriptor.property = property.get();
  return descriptor;
}

void BinaryEventProcessor::pushFrame(const ustring& property) {
  if (!property.empty()) writeKey(describe(property));
  const auto wanted = static_cast<std::size_t>(depth_ + 1);
  if (frames_.size() <= wanted) {
    frames_.emplace_back();
    emptyFrame(frames_.back());
  }
  ++depth_;
  current_ = &frames_[wanted];
}

void BinaryEventProcessor::popFrame() {
  Frame& child = frames_[static_cast<std::size_t>(depth_)];
  current_ = &frames_[static_cast<std::size_t>(depth_ - 1)];
  writeNumber(child.count);
  bytes().append(child.bytes.begin(), child.bytes.size());
  emptyFrame(child);
  --depth_;
}

void BinaryEventProcessor::emptyFrame(Frame& frame) {
  static std::atomic_flag reserved;
  frame.count = 0;
  frame.bytes.clear();
  if (!reserved.test_and_set()) frame.bytes.reserve(kFirstReservation);
}

void BinaryEventProcessor::writeNumber(std::uint64_t number) {
  std::uint8_t* out = bytes().prepare(kMostNumberBytes);
  bytes().commit(static_cast<std::size_t>(putNumber(number, out) - out));
}

void BinaryEventProcessor::writeKey(const PropertyDescriptor& descriptor) {
  std::uint8_t* out = bytes().prepare(descriptor.key.size());
  std::memcpy(out, descriptor.key.data(), descriptor.key.size());
  bytes().commit(descriptor.keySize);
}

void BinaryEventProcessor::writeText(const ustring& text) {
  static const fl::i18n::codecvt_ustring_to_string converter("UTF8", true);
  if (!converter.convert(text, utf8_)) errors::raise<kr0::io::CannotSerialize>(errors::cannotSerialize());
  writeNumber(utf8_.size());
  bytes().append(utf8_.data(), utf8_.size());
}

void BinaryEventProcessor::writeNamed(const ustring& typeName) {
  writeNumber(direct::kReserved);
  writeText(typeName);
}

void BinaryEventProcessor::writeEndMark() { writeNumber(direct::kEndToken); }

void BinaryEventProcessor::writeReference(const ustring& targetType, const ustring& id1, const ustring& id2) {
  writeNamed(targetType);
  bytes().push(direct::kWithoutQualifier);
  writeText(id1);
  writeText(id2);
}

void BinaryEventProcessor::writeQualifiedReference(const ustring& targetType, const ustring& qualifier,
                                                   const ustring& id1, const ustring& id2) {
  writeNamed(targetType);
  bytes().push(direct::kWithQualifier);
  writeText(qualifier);
  writeText(id1);
  writeText(id2);
}

}  // namespace kr::zero::io
