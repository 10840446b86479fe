#include "direct/BinaryEventProcessor.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "direct/DirectFormat.h"
#include "direct/Numbers.h"
#include "direct/OutputDelivery.h"
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

const values::ByteBuffer& BinaryEventProcessor::getBytes() const {
  static const values::ByteBuffer nothing;
  return frames_.empty() ? nothing : frames_.front().bytes;
}

void BinaryEventProcessor::postprocess(const SerializationOutput& output) { deliver(getBytes(), output); }

void BinaryEventProcessor::startDocument() {
  for (Frame& frame : frames_) emptyFrame(frame);  // a walk that failed leaves some filled
  types_.clear();
  typesByName_.fill(nullptr);
  open_.clear();
  depth_ = -1;
  packageNames_.clear();
  knownPackageNames_.clear();
  pushFrame({});
  emptyFrame(*current_);
  writeNumber(direct::kVersion);
  const std::string_view marker = values::endiannessMarker(true);
  writeNumber(marker.size());
  for (const char letter : marker) bytes().append(static_cast<std::uint8_t>(letter));
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
    bytes().append(direct::kWithIdentity);
    writeText(id1);
    writeText(id2);
  } else {
    bytes().append(direct::kWithoutIdentity);
  }
  openType(property, typeName);
  return categoryMasks_;
}

void BinaryEventProcessor::endObject() {
  closeType();
  writeEndMark();
}

void BinaryEventProcessor::textValue(const ustring& property, const ustring& text) {
  const PropertyDescriptor& descriptor = describe(property);
  writeKey(descriptor);
  if (descriptor.optional) bytes().append(values::presentMark);
  if (isCarriedAsText(descriptor.kind)) writeText(text);
}

void BinaryEventProcessor::absentValue(const ustring& property) {
  writeKey(describe(property));
  bytes().append(values::absentMark);
}

void BinaryEventProcessor::startStructuredProperty(const ustring& property) { pushFrame(property); }

void BinaryEventProcessor::textElement(const ustring& property, const ustring& text) {
  if (isCarriedAsText(describe(property).kind)) writeText(text);
  ++current_->count;
}

void BinaryEventProcessor::endStructuredProperty() { popFrame(); }

void BinaryEventProcessor::primitiveValue(const ustring& property, const Value& value) {
  const PropertyDescriptor& descriptor = describe(property);
  writeKey(descriptor);
  values::encodePrimitive(bytes(), descriptor.kind, value, descriptor.optional);
}

void BinaryEventProcessor::startStructuredElement(const ustring& property) { pushFrame(property); }

void BinaryEventProcessor::primitiveElement(const ustring& property, const Value& value) {
  values::encodePrimitive(bytes(), describe(property).kind, value, false);  // the text before it was counted
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
    bytes().append(direct::kWithoutIdentity);
  } else {
    writeKey(describe(property));
  }
  openType(property, typeName);
}

void BinaryEventProcessor::endContainer() {
  closeType();
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
    categoryMasks_[0] |= kAssociations;
  else
    categoryMasks_[0] &= ~kAssociations;
}

// A walk passes each property's own name string, in the order of the type's properties: the one wanted
// is the last one again or stands a little behind it, and its name need not be read.
const BinaryEventProcessor::PropertyDescriptor& BinaryEventProcessor::describe(const ustring& name) {
  if (!open_.empty()) {
    OpenType& open = open_.back();
    const std::vector<PropertyDescriptor>& properties = open.type->properties;
    for (std::size_t at = open.last; at < properties.size(); ++at) {
      if (properties[at].name != &name) continue;
      open.last = at;
      return properties[at];
    }
  }
  return describeByText(name);
}

const BinaryEventProcessor::PropertyDescriptor& BinaryEventProcessor::describeByText(const ustring& name) {
  const meta::Property property = findProperty(name);
  if (open_.empty()) throw std::invalid_argument("no type is being written");
  const auto& properties = getContainerType()->getAllProperties();
  open_.back().last = static_cast<std::size_t>(std::find(properties.begin(), properties.end(), property) -
                                               properties.begin());
  return open_.back().type->properties[open_.back().last];
}

const BinaryEventProcessor::TypeDescriptor& BinaryEventProcessor::describeType(meta::StructuredType type) {
  const std::size_t index = type->getIndex();
  if (index >= types_.size()) types_.resize(index + 1);
  if (types_[index] == nullptr) {
    auto made = std::make_unique<TypeDescriptor>();
    made->name = &type->getQualifiedName();
    values::ByteBuffer named;
    writeNamed(named, *made->name);
    made->written.assign(named.data(), named.data() + named.size());
    for (const meta::Property property : type->getAllProperties())
      made->properties.push_back(makeDescriptor(property));
    types_[index] = std::move(made);
  }
  typesByName_[placeOf(type->getQualifiedName())] = types_[index].get();
  return *types_[index];
}

BinaryEventProcessor::PropertyDescriptor BinaryEventProcessor::makeDescriptor(meta::Property property) {
  std::array<std::uint8_t, direct::kMostNumberBytes> key{};
  const std::uint8_t* const end = direct::encodeNumber(property->getIdentifier(), key.data());
  PropertyDescriptor descriptor;
  descriptor.name = &property->getName();
  descriptor.kind = values::typeCodeOf(property->getType());
  descriptor.optional = property->isOptional();
  descriptor.keySize = static_cast<std::uint8_t>(end - key.data());
  std::copy(key.begin(), key.begin() + descriptor.key.size(), descriptor.key.begin());
  return descriptor;
}

void BinaryEventProcessor::openType(const ustring& property, const ustring& typeName) {
  pushContainerElementInfo(property, typeName);
  open_.push_back({&describeType(getContainerType())});
}

void BinaryEventProcessor::closeType() {
  popContainerElementInfo();
  open_.pop_back();
}

void BinaryEventProcessor::pushFrame(const ustring& property) {
  if (!property.empty()) writeKey(describe(property));
  const auto wanted = static_cast<std::size_t>(depth_ + 1);
  if (frames_.size() <= wanted) emptyFrame(frames_.emplace_back());
  current_ = &frames_[wanted];
  ++depth_;
}

void BinaryEventProcessor::popFrame() {
  if (depth_ < 1) throw std::logic_error("no collection is open");
  Frame& child = *current_;
  current_ = &frames_[static_cast<std::size_t>(depth_ - 1)];
  --depth_;
  writeNumber(child.count);
  bytes().append(child.bytes.data(), child.bytes.size());
  emptyFrame(child);
}

void BinaryEventProcessor::emptyFrame(Frame& frame) {
  frame.count = 0;
  frame.bytes.clear();
  // The first frame of the process only; most documents are small, and the rest grow anyway.
  static const bool reserved = (frame.bytes.reserve(kFirstReservation), true);
  static_cast<void>(reserved);
}

void BinaryEventProcessor::writeNumber(std::uint64_t number) {
  bytes().setEnd(direct::encodeNumber(number, bytes().makeRoom(direct::kMostNumberBytes)));
}

void BinaryEventProcessor::writeKey(const PropertyDescriptor& descriptor) {
  std::uint8_t* const out = bytes().makeRoom(descriptor.key.size());
  std::memcpy(out, descriptor.key.data(), descriptor.key.size());
  bytes().setEnd(out + descriptor.keySize);
}

std::size_t BinaryEventProcessor::placeOf(const ustring& typeName) noexcept {
  return reinterpret_cast<std::uintptr_t>(&typeName) / sizeof(ustring) %
         std::tuple_size_v<decltype(typesByName_)>;
}

// The name of a type that was written before is known by its address.
void BinaryEventProcessor::writeNamed(const ustring& typeName) {
  const TypeDescriptor* const known = typesByName_[placeOf(typeName)];
  if (known != nullptr && known->name == &typeName)
    bytes().append(known->written.data(), known->written.size());
  else
    writeNamed(bytes(), typeName);
}

void BinaryEventProcessor::writeNamed(values::ByteBuffer& out, const ustring& typeName) {
  out.append(direct::kReserved);
  texts_.append(out, typeName);
}

void BinaryEventProcessor::writeEndMark() { writeNumber(direct::kEndToken); }

void BinaryEventProcessor::writeReference(const ustring& targetType, const ustring& id1, const ustring& id2) {
  writeNamed(targetType);
  bytes().append(direct::kWithoutQualifier);
  writeText(id1);
  writeText(id2);
}

void BinaryEventProcessor::writeQualifiedReference(const ustring& targetType, const ustring& qualifier,
                                                   const ustring& id1, const ustring& id2) {
  writeNamed(targetType);
  bytes().append(direct::kWithQualifier);
  writeText(qualifier);
  writeText(id1);
  writeText(id2);
}

}  // namespace kr::zero::io
