#include "direct/BinaryEventProcessor.h"

#include <algorithm>
#include <bit>
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

constexpr std::size_t kCellSize = sizeof(std::uint64_t);

/// Bytes of a value of a type where they can be had from a cell without knowing the type; otherwise 0.
std::uint8_t plainSizeOf(values::TypeCode kind) {
  using values::TypeCode;
  if (std::endian::native != std::endian::little) return 0;
  switch (kind) {
    case TypeCode::boolean:
    case TypeCode::uinteger8:
    case TypeCode::integer8:
      return 1;
    case TypeCode::uinteger16:
    case TypeCode::integer16:
      return 2;
    case TypeCode::integer:
    case TypeCode::enumeration:
    case TypeCode::unlimitedNatural:
      return 4;
    case TypeCode::integer64:
    case TypeCode::uinteger64:
    case TypeCode::real:
      return 8;
    default:
      return 0;
  }
}

}  // namespace

BinaryEventProcessor::BinaryEventProcessor() = default;
BinaryEventProcessor::~BinaryEventProcessor() = default;

void BinaryEventProcessor::postprocess(const SerializationOutput& output) { deliver(getBytes(), output); }

void BinaryEventProcessor::startDocument() {
  bytes_.clear();
  // The first document of the process only; most are small, and the rest grow anyway.
  static const bool reserved = (bytes_.reserve(kFirstReservation), true);
  static_cast<void>(reserved);
  types_.clear();
  typesByName_.fill(nullptr);
  innermost_ = {};  // a walk that failed leaves some open
  around_.clear();
  depth_ = 0;
  count_ = 0;
  packageNames_.clear();
  knownPackageNames_.clear();
  writeNumber(direct::kVersion);
  const std::string_view marker = values::endiannessMarker(true);
  writeNumber(marker.size());
  for (const char letter : marker) bytes_.append(static_cast<std::uint8_t>(letter));
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

// A walk passes each property's own name string, in the order of the type's properties: the one wanted
// is the last one again or stands a little behind it, and its name need not be read.
inline const BinaryEventProcessor::PropertyDescriptor& BinaryEventProcessor::describe(const ustring& name) {
  for (const PropertyDescriptor* at = innermost_.last; at != innermost_.end; ++at)
    if (at->name == &name) return *(innermost_.last = at);
  return describeByText(name);
}

CategoryMasks BinaryEventProcessor::startObject(const ustring& property, const ustring& typeName,
                                                const ustring& id1, const ustring& id2) {
  if (property.empty())
    writeNumber(direct::kStartToken);
  else
    writeKey(describe(property));
  const bool hasIdentity = !id1.empty() && !id2.empty();
  writeNamed(typeName, hasIdentity ? direct::kWithIdentity : direct::kWithoutIdentity);
  if (hasIdentity) writeIdentity(id1, id2);
  openType(property, typeName);
  return categoryMasks_;
}

void BinaryEventProcessor::endObject() {
  closeType();
  writeEndMark();
}

void BinaryEventProcessor::textValue(const ustring& property, const ustring& text) {
  const PropertyDescriptor& descriptor = describe(property);
  std::uint8_t* const out = bytes_.makeRoom(descriptor.head.size() + TextWriter::roomFor(text));
  std::memcpy(out, descriptor.head.data(), descriptor.head.size());
  if (isCarriedAsText(descriptor.kind))
    texts_.put(bytes_, out + descriptor.presentSize, text);
  else
    bytes_.setEnd(out + descriptor.presentSize);
}

void BinaryEventProcessor::absentValue(const ustring& property) {
  writeKey(describe(property));
  bytes_.append(values::absentMark);
}

void BinaryEventProcessor::startStructuredProperty(const ustring& property) { pushFrame(property); }

void BinaryEventProcessor::textElement(const ustring& property, const ustring& text) {
  if (isCarriedAsText(describe(property).kind)) writeText(text);
  ++count_;
}

void BinaryEventProcessor::endStructuredProperty() { popFrame(); }

void BinaryEventProcessor::primitiveValue(const ustring& property, const Value& value) {
  const PropertyDescriptor& descriptor = describe(property);
  if (!descriptor.isPlain(value)) {
    writeKey(descriptor);
    return values::encodePrimitive(bytes_, descriptor.kind, value, descriptor.optional());
  }
  std::uint8_t* const out = bytes_.makeRoom(descriptor.head.size() + kCellSize);
  std::memcpy(out, descriptor.head.data(), descriptor.head.size());
  putPlain(descriptor, value, out + descriptor.presentSize);
}

void BinaryEventProcessor::startStructuredElement(const ustring& property) { pushFrame(property); }

void BinaryEventProcessor::primitiveElement(const ustring& property, const Value& value) {
  // The text before it was counted.
  const PropertyDescriptor& descriptor = describe(property);
  if (!descriptor.isPlain(value)) return values::encodePrimitive(bytes_, descriptor.kind, value, false);
  std::uint8_t* const out = bytes_.makeRoom(kCellSize);
  putPlain(descriptor, value, out);
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

const BinaryEventProcessor::PropertyDescriptor& BinaryEventProcessor::describeByText(const ustring& name) {
  const meta::Property property = findProperty(name);
  if (innermost_.type == nullptr) throw std::invalid_argument("no type is being written");
  const auto& properties = getContainerType()->getAllProperties();
  innermost_.last = innermost_.type->properties.data() +
                    (std::find(properties.begin(), properties.end(), property) - properties.begin());
  return *innermost_.last;
}

const BinaryEventProcessor::TypeDescriptor& BinaryEventProcessor::describeType(meta::StructuredType type) {
  const std::size_t index = type->getIndex();
  if (index >= types_.size()) types_.resize(index + 1);
  if (types_[index] == nullptr) {
    auto made = std::make_unique<TypeDescriptor>();
    made->name = &type->getQualifiedName();
    values::ByteBuffer written;
    written.append(direct::kReserved);
    texts_.append(written, *made->name);
    made->written.size = written.size();
    made->written.blocks.resize(written.size() / Blocks::kSize + 1);
    std::memcpy(made->written.blocks.data(), written.data(), written.size());
    for (const meta::Property property : type->getAllProperties())
      made->properties.push_back(makeDescriptor(property));
    types_[index] = std::move(made);
  }
  typesByName_[placeOf(type->getQualifiedName())] = types_[index].get();
  return *types_[index];
}

BinaryEventProcessor::PropertyDescriptor BinaryEventProcessor::makeDescriptor(meta::Property property) {
  PropertyDescriptor descriptor;
  descriptor.name = &property->getName();
  descriptor.kind = values::typeCodeOf(property->getType());
  std::uint8_t* const end = direct::encodeNumber(property->getIdentifier(), descriptor.head.data());
  *end = values::presentMark;
  descriptor.keySize = static_cast<std::uint8_t>(end - descriptor.head.data());
  descriptor.presentSize = static_cast<std::uint8_t>(descriptor.keySize + (property->isOptional() ? 1 : 0));
  descriptor.plainSize = plainSizeOf(descriptor.kind);
  // With a mark in front, the number of a literal comes as a plain Integer.
  const bool asInteger = descriptor.kind == values::TypeCode::enumeration && descriptor.optional();
  descriptor.plainType = asInteger ? meta::internal::getPrimitiveTypeFromMetaRegistry(values::Integer::name)
                                   : property->getType();
  return descriptor;
}

void BinaryEventProcessor::openType(const ustring& property, const ustring& typeName) {
  pushContainerElementInfo(property, typeName);
  const TypeDescriptor* const known = knownType(typeName);
  const TypeDescriptor& type = known != nullptr ? *known : describeType(getContainerType());
  around_.push_back(innermost_);
  innermost_ = {&type, type.properties.data(), type.properties.data() + type.properties.size()};
}

void BinaryEventProcessor::closeType() {
  popContainerElementInfo();
  innermost_ = around_.back();
  around_.pop_back();
}

void BinaryEventProcessor::pushFrame(const ustring& property) {
  if (!property.empty()) writeKey(describe(property));
  if (depth_ == frames_.size()) growFrames();
  frames_[depth_++] = {bytes_.size(), count_};
  bytes_.append(std::uint8_t{0});
  count_ = 0;
}

void BinaryEventProcessor::growFrames() { frames_.resize(2 * frames_.size() + 8); }

void BinaryEventProcessor::popFrame() {
  if (depth_ == 0) throw std::logic_error("no collection is open");
  const Frame& frame = frames_[--depth_];
  putCount(frame.countAt, count_);
  count_ = frame.outerCount;
}

/// Puts a number in the place of one byte.
void BinaryEventProcessor::putCount(std::size_t at, std::uint64_t count) {
  if (count < direct::kMoreGroups) {
    bytes_.data()[at] = static_cast<std::uint8_t>(count);
    return;
  }
  std::array<std::uint8_t, direct::kMostNumberBytes> number;
  const auto more = static_cast<std::size_t>(direct::encodeNumber(count, number.data()) - number.data()) - 1;
  std::uint8_t* const end = bytes_.makeRoom(more);
  std::uint8_t* const behind = bytes_.data() + at + 1;
  std::memmove(behind + more, behind, static_cast<std::size_t>(end - behind));
  bytes_.setEnd(end + more);
  std::memcpy(bytes_.data() + at, number.data(), more + 1);
}

void BinaryEventProcessor::writeNumber(std::uint64_t number) {
  bytes_.setEnd(direct::encodeNumber(number, bytes_.makeRoom(direct::kMostNumberBytes)));
}

/// Puts a value that is plain for the property.
/// @param out has room for a cell, which is copied whole.
void BinaryEventProcessor::putPlain(const PropertyDescriptor& descriptor, const Value& value,
                                    std::uint8_t* out) {
  const auto cell = value.get<std::uint64_t>();
  std::memcpy(out, &cell, sizeof cell);
  if (descriptor.kind == values::TypeCode::boolean)
    *out = (cell & 0xFF) != 0 ? values::trueByte : values::falseByte;
  bytes_.setEnd(out + descriptor.plainSize);
}

void BinaryEventProcessor::writeKey(const PropertyDescriptor& descriptor) {
  std::uint8_t* const out = bytes_.makeRoom(descriptor.head.size());
  std::memcpy(out, descriptor.head.data(), descriptor.head.size());
  bytes_.setEnd(out + descriptor.keySize);
}

std::size_t BinaryEventProcessor::placeOf(const ustring& typeName) noexcept {
  return reinterpret_cast<std::uintptr_t>(&typeName) / sizeof(ustring) %
         std::tuple_size_v<decltype(typesByName_)>;
}

// A type that was described before is known by the address of its name.
const BinaryEventProcessor::TypeDescriptor* BinaryEventProcessor::knownType(
    const ustring& typeName) const noexcept {
  const TypeDescriptor* const type = typesByName_[placeOf(typeName)];
  return type != nullptr && type->name == &typeName ? type : nullptr;
}

/// A type's name and the flag behind it.
void BinaryEventProcessor::writeNamed(const ustring& typeName, std::uint8_t flag) {
  const TypeDescriptor* const known = knownType(typeName);
  if (known == nullptr) {
    bytes_.append(direct::kReserved);
    writeText(typeName);
    bytes_.append(flag);
    return;
  }
  const Blocks& written = known->written;
  std::uint8_t* const out = bytes_.makeRoom(written.blocks.size() * Blocks::kSize);
  std::uint8_t* to = out;
  for (const auto& block : written.blocks) {
    std::memcpy(to, block.data(), Blocks::kSize);
    to += Blocks::kSize;
  }
  out[written.size] = flag;  // there is room: the last block is not full
  bytes_.setEnd(out + written.size + 1);
}

void BinaryEventProcessor::writeIdentity(const ustring& id1, const ustring& id2) {
  writeText(id1);
  writeText(id2);
}

void BinaryEventProcessor::writeEndMark() { writeNumber(direct::kEndToken); }

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
