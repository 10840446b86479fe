#include "TaggedScan.h"

#include <limits>
#include <optional>

#include "Stop.h"
#include "fl/i18n/utf8.h"
#include "kr/zero/io/TreeDocument.h"
#include "sylvan/TaggedFormat.h"

namespace kr::zero::inspect {

namespace tagged = io::tagged;
namespace tags = io::tagged::tags;
namespace tree = io::tree;
using Form = ScannedValue::Form;

struct TaggedScan::Cursor {
  std::size_t at;
};

namespace {

/// Properties that are tried for an element whose list lost its beginning.
constexpr std::size_t kMostLists = 64;

const char* endOfBytes() { return "the end of the bytes"; }

std::string inHex(std::uint8_t byte) {
  constexpr char kDigits[] = "0123456789abcdef";
  return std::string("the byte ") + kDigits[byte >> 4] + kDigits[byte & 15u];
}

bool isStructLike(FrameKind kind) {
  return kind == FrameKind::element || kind == FrameKind::datatype || kind == FrameKind::structure ||
         kind == FrameKind::metadata;
}

std::uint8_t endTagOf(FrameKind kind) {
  switch (kind) {
    case FrameKind::metadata:
      return tags::kEndMetadata;
    case FrameKind::sequence:
      return tags::kEndSequence;
    case FrameKind::entry:
      return tags::kEndNamedEntry;
    case FrameKind::document:
      return tags::kEndDocument;
    default:
      return tags::kEndStruct;
  }
}

const char* nameOf(FrameKind kind) {
  switch (kind) {
    case FrameKind::metadata:
      return "metadata";
    case FrameKind::sequence:
      return "a sequence";
    case FrameKind::entry:
      return "an entry";
    case FrameKind::document:
      return "the document";
    default:
      return "a struct";
  }
}

bool isEndTag(std::uint8_t tag) {
  return tag == tags::kEndStruct || tag == tags::kEndSequence || tag == tags::kEndMetadata ||
         tag == tags::kEndNamedEntry || tag == tags::kEndDocument;
}

bool isVersionOne(const ScannedValue& value) {
  return (value.form == Form::natural || value.form == Form::integer) && value.bits == tree::kVersion;
}

/// Whether writers would have taken fewer bytes for a magnitude.
bool isTooWide(std::uint64_t magnitude, unsigned width) {
  return tagged::getMagnitudeWidth(magnitude) != width;
}

}  // namespace

// --- Units

void TaggedScan::emit(Reading& reading, const Cursor& in, Item item) const {
  item.offset = reading.at;
  item.bytes = in.at - reading.at;
  if (item.property != nullptr) item.name = item.property->name();
  reading.at = in.at;
  if (reading.listener != nullptr) reading.listener->onItem(item);
}

/// What an entry, a sequence or the document holds is counted.
void TaggedScan::countItem(Reading& reading) const { ++reading.open.change().items; }

bool TaggedScan::tag(Reading& reading, Cursor& in, std::uint8_t wanted, const char* expected) const {
  if (in.at == bytes_.size()) return stop(reading, in.at, expected, endOfBytes);
  if (tagAt(in.at) != wanted) return stop(reading, in.at, expected, [&] { return inHex(tagAt(in.at)); });
  ++in.at;
  return true;
}

bool TaggedScan::bits(Reading& reading, Cursor& in, std::size_t width, std::uint64_t& bits) const {
  if (width > bytes_.size() - in.at) return stop(reading, in.at, "a number", endOfBytes);
  bits = 0;
  for (std::size_t i = 0; i < width; ++i) {
    const std::size_t place = isLittleEndian_ ? width - 1 - i : i;
    bits = bits << 8 | static_cast<std::uint8_t>(bytes_[in.at + place]);
  }
  in.at += width;
  return true;
}

bool TaggedScan::primitive(Reading& reading, Cursor& in, ScannedValue& value) const {
  if (in.at == bytes_.size()) return stop(reading, in.at, "a value", endOfBytes);
  const std::size_t start = in.at;
  const std::uint8_t tag = tagAt(in.at++);
  value = {};
  switch (tag) {
    case tags::kFalse:
    case tags::kTrue:
      value = {Form::boolean, tag == tags::kTrue ? 1u : 0u};
      return true;
    case tags::kZero:
      value.form = Form::integer;
      return true;
    case tags::kRealZero:
      value.form = Form::real;
      return true;
    case tags::kNull:
      return true;
    case tags::kReal:
      value.form = Form::real;
      return bits(reading, in, tagged::kWidestNumber, value.bits);
    case tags::kShortString:
    case tags::kLongString: {
      std::uint64_t size = 0;
      if (!bits(reading, in, tag == tags::kShortString ? 1 : tagged::kWidestNumber, size)) return false;
      if (size > bytes_.size() - in.at)
        return stop(reading, start, "a text", [&] {
          return "one of " + std::to_string(size) + " bytes, with " + std::to_string(bytes_.size() - in.at) +
                 " left";
        });
      value = {.form = Form::text, .text = bytes_.substr(in.at, static_cast<std::size_t>(size))};
      in.at += value.text.size();
      return true;
    }
    default:
      break;
  }
  const bool isNegative = tagged::isNegativeTag(tag);
  if (!isNegative && !tagged::isNonNegativeTag(tag))
    return stop(reading, start, "the tag of a value", [&] { return inHex(tag); });
  const unsigned width = tagged::getMagnitudeWidthOfTag(tag);
  std::uint64_t magnitude = 0;
  if (!bits(reading, in, width, magnitude)) return false;
  if (reading.isStrict && isTooWide(magnitude, width)) return stop(reading, start, "a shorter number");
  value = {isNegative ? Form::integer : Form::natural, isNegative ? std::uint64_t{0} - magnitude : magnitude};
  return true;
}

bool TaggedScan::string(Reading& reading, Cursor& in, std::string_view& text, const char* expected) const {
  const std::size_t start = in.at;
  ScannedValue value;
  if (!primitive(reading, in, value)) return false;
  if (value.form != Form::text) return stop(reading, start, expected, [] { return "another value"; });
  if (!fl::i18n::isWellFormedUtf8(value.text))
    return stop(reading, start, expected, [] { return "a text that is not well-formed UTF-8"; });
  text = value.text;
  return true;
}

/// sequence of two strings
bool TaggedScan::identity(Reading& reading, Cursor& in, ScannedIdentity& identity) const {
  identity.isThere = true;
  return tag(reading, in, tags::kStartSequence, "a sequence of two texts") &&
         string(reading, in, identity.first, "the first part of an identity") &&
         string(reading, in, identity.second, "the second part of an identity") &&
         tag(reading, in, tags::kEndSequence, "the end of an identity");
}

// --- The head

bool TaggedScan::readHead(Reading& reading) {
  if (bytes_.empty()) return stop(reading, 0, "the beginning of a document", endOfBytes);
  Cursor in{1};
  emit(reading, in, {.kind = ItemKind::beginGroup, .frame = FrameKind::document});
  reading.open.push({.kind = FrameKind::document});
  ScannedValue version;
  if (!primitive(reading, in, version)) return false;
  emit(reading, in, {.kind = ItemKind::version, .value = version});
  ScannedValue order;
  if (!primitive(reading, in, order)) return false;
  emit(reading, in, {.kind = ItemKind::byteOrder, .value = order});
  isLittleEndian_ = order.form == Form::text && order.text == "kr";
  return true;
}

void TaggedScan::passHead(Reading& reading) const {
  const auto open = [&](FrameKind kind, std::size_t items) {
    if (reading.listener != nullptr)
      reading.listener->onItem(
          {.kind = ItemKind::beginGroup, .offset = reading.at, .frame = kind, .isWithoutHead = true});
    reading.open.push({.kind = kind, .items = items});
  };
  if (reading.open.empty()) open(FrameKind::document, 0);
  if (!knowsTypes()) return;
  reading.open.change().items = 2;
  open(FrameKind::sequence, 0);
}

// --- Things

bool TaggedScan::step(Reading& reading) const {
  if (reading.hasEnded) {
    if (reading.isStrict) return stop(reading, reading.at, "nothing");
    emit(reading, {bytes_.size()}, {.kind = ItemKind::behind});
    return true;
  }
  if (reading.open.empty())
    return stop(reading, reading.at, "a document", [&] { return inHex(tagAt(reading.at)); });
  const std::uint8_t tag = tagAt(reading.at);
  if (isEndTag(tag)) return end(reading, tag);
  if (isStructLike(reading.open.top().kind)) {
    if (tag == tags::kStartNamedEntry) return entry(reading);
    if (knowsTypes() || reading.open.top().kind == FrameKind::metadata || tag < tags::kFalse)
      return stop(
          reading, reading.at,
          [&] { return std::string("an entry or the end of ") + nameOf(reading.open.top().kind); },
          [&] { return inHex(tag); });
    return packageOrValue(reading);  // it goes by the name of nothing
  }
  return mayHoldItem(reading, tag) && item(reading, tag);
}

bool TaggedScan::item(Reading& reading, std::uint8_t tag) const {
  switch (tag) {
    case tags::kStartStruct:
      return beginStruct(reading);
    case tags::kStartSequence:
      return beginSequence(reading);
    case tags::kStartMetadata:
      return beginMetadata(reading);
    case tags::kStartNamedEntry:
    case tags::kStartDocument:
      return stop(reading, reading.at, "a value, a struct or a sequence", [&] { return inHex(tag); });
    default:
      return packageOrValue(reading);
  }
}

/// Whether what a tag begins may stand in the innermost, as far as the meta model says.
bool TaggedScan::mayHoldItem(Reading& reading, std::uint8_t tag) const {
  if (!knowsTypes()) return true;
  const Frame& top = reading.open.top();
  const auto refuse = [&](const char* expected) {
    return stop(reading, reading.at, expected, [&] { return inHex(tag); });
  };
  const bool isPrimitive = tag >= tags::kFalse;
  if (top.kind == FrameKind::document) {
    const std::uint8_t wanted = top.items == 0 ? tags::kStartMetadata : tags::kStartSequence;
    const bool isRight =
        top.items < 2 && (tag == wanted || (!reading.isWhole && tag == tags::kStartSequence));
    return isRight ||
           refuse(top.items == 0 ? "the metadata of the document" : "the sequence of the elements");
  }
  if (top.kind == FrameKind::entry && top.items != 0) return refuse("the end of the entry");
  const PropertyRecord* const property = top.property;
  if (property == nullptr) {
    const bool isRoots = top.kind == FrameKind::sequence && top.name.empty();
    if (isRoots) return tag == tags::kStartMetadata || refuse("the metadata of an element");
    const bool isPackages = top.name == tree::kPackagesEntry;
    if (isPackages && top.kind == FrameKind::entry)
      return tag == tags::kStartSequence || refuse("a sequence");
    return isPrimitive || refuse("a value");
  }
  if (top.kind == FrameKind::entry && property->isMany())
    return tag == tags::kStartSequence || refuse("a sequence of values");
  switch (property->getKind()) {
    case meta::PropertyKind::composition:
      return tag == tags::kStartMetadata || refuse("the metadata of an element");
    case meta::PropertyKind::association:
      return tag == tags::kStartStruct || refuse("the struct of a reference");
    case meta::PropertyKind::datatype:
      return tag == tags::kStartStruct || refuse("the struct of a value");
    default:
      return isPrimitive || refuse("a value");
  }
}

bool TaggedScan::packageOrValue(Reading& reading) const {
  Cursor in{reading.at};
  ScannedValue value;
  if (!primitive(reading, in, value)) return false;
  const Frame& top = reading.open.top();
  const bool isPackage = top.kind == FrameKind::sequence && top.property == nullptr &&
                         top.name == tree::kPackagesEntry && value.form == Form::text &&
                         reading.open.size() == 4;
  const bool isMany = top.kind == FrameKind::sequence;
  if (knowsTypes() && top.property != nullptr &&
      !requireValue(reading, reading.at, *top.property, value, isMany))
    return false;
  if (knowsTypes() && top.property == nullptr && isMany && value.form != Form::text)
    return stop(reading, reading.at, "the URI of a package", [] { return "another value"; });
  const bool isVersion =
      top.kind == FrameKind::entry && top.property == nullptr && top.name == tree::kVersionEntry;
  if (knowsTypes() && isVersion && !isVersionOne(value))
    return stop(reading, reading.at, "the version 1", [] { return "another value"; });
  const PropertyRecord* const property = top.property;
  const std::string_view name = top.name;
  countItem(reading);
  if (isPackage && knowsTypes() && !types_->hasPackage(value.text)) {
    passUnknownPackage(reading, in.at, value.text);
  } else {
    emit(reading, in,
         {.kind = isPackage ? ItemKind::package : ItemKind::value,
          .property = property,
          .name = name,
          .value = value,
          .isOneOfMany = isMany});
  }
  return true;
}

// --- Structs

bool TaggedScan::beginStruct(Reading& reading) const {
  const PropertyRecord* const property = reading.open.top().property;
  const std::string_view name = reading.open.top().name;
  const bool isMany = reading.open.top().kind == FrameKind::sequence;
  const bool isReference = property != nullptr && property->getKind() == meta::PropertyKind::association;
  Cursor in{reading.at + 1};
  if (isReference || !knowsTypes()) {
    Item item{.kind = ItemKind::reference, .property = property, .name = name, .isOneOfMany = isMany};
    std::string_view document;
    Listener* const listener = reading.listener;
    if (!isReference) reading.listener = nullptr;  // it need not be one
    const bool isOne = readReference(reading, in, item, document);
    reading.listener = listener;
    if (isOne) {
      countItem(reading);
      emit(reading, in, item);
      return true;
    }
    if (isReference) return false;
    in.at = reading.at + 1;
  }
  Item item{.kind = ItemKind::beginGroup, .frame = FrameKind::structure, .property = property, .name = name};
  if (knowsTypes()) {
    item.kind = ItemKind::begin;
    item.frame = FrameKind::datatype;
    item.type = static_cast<const TypeRecord*>(property->getType().get());
    item.typeName = item.type->qualifiedName();
  }
  countItem(reading);
  emit(reading, in, item);
  reading.open.push({.kind = item.frame, .type = item.type, .property = property, .name = name});
  return true;
}

/// Entries "type", "id" and perhaps "qualifier", each once and in any order, and the end of the struct.
/// @param[out] document the qualifier, to which the item then points.
bool TaggedScan::readReference(Reading& reading, Cursor& in, Item& item, std::string_view& document) const {
  bool hasType = false;
  bool hasDocument = false;
  while (tagAt(in.at) == tags::kStartNamedEntry) {
    const std::size_t start = in.at++;
    std::string_view name;
    if (!string(reading, in, name, "the name of an entry")) return false;
    bool isRead = false;
    if (name == tree::kTypeEntry && !hasType)
      isRead = hasType = string(reading, in, item.typeName, "the name of a class");
    else if (name == tree::kIdEntry && !item.identity.isThere)
      isRead = identity(reading, in, item.identity);
    else if (name == tree::kQualifierEntry && !hasDocument)
      isRead = hasDocument = string(reading, in, document, "the name of a document");
    else
      return stop(reading, start, "an entry of a reference", [&] { return inQuotes(name); });
    if (!isRead || !tag(reading, in, tags::kEndNamedEntry, "the end of the entry")) return false;
  }
  if (!hasType || !item.identity.isThere)
    return stop(reading, in.at, "type and id of a reference", [&] { return inHex(tagAt(in.at)); });
  if (hasDocument) item.document = &document;
  return tag(reading, in, tags::kEndStruct, "the end of a reference");
}

bool TaggedScan::beginSequence(Reading& reading) const {
  const Frame top = reading.open.top();
  if (knowsTypes() && top.kind == FrameKind::document) reading.open.change().items = 1;
  countItem(reading);
  emit(reading, {reading.at + 1},
       {.kind = ItemKind::beginGroup,
        .frame = FrameKind::sequence,
        .property = top.property,
        .name = top.name});
  reading.open.push({.kind = FrameKind::sequence, .property = top.property, .name = top.name});
  return true;
}

// --- Elements

bool TaggedScan::stepAlone(Reading& reading) const {
  Cursor in{reading.at};
  return beginElement(reading, in, nullptr);
}

bool TaggedScan::beginMetadata(Reading& reading) const {
  const Frame& top = reading.open.top();
  const PropertyRecord* const property = top.property;
  Cursor in{reading.at};
  if (top.kind != FrameKind::document) {
    Reading probe;
    Cursor look{reading.at};
    // Without the meta model it need not be an element's.
    if (knowsTypes() || beginElement(probe, look, nullptr)) {
      countItem(reading);
      return beginElement(reading, in, property);
    }
  }
  countItem(reading);
  emit(reading, {reading.at + 1}, {.kind = ItemKind::beginGroup, .frame = FrameKind::metadata});
  reading.open.push({.kind = FrameKind::metadata});
  return true;
}

/// metadata: "type" -> string [, "id" -> identity], and the beginning of the struct behind it
bool TaggedScan::beginElement(Reading& reading, Cursor& in, const PropertyRecord* property) const {
  Item item{.kind = ItemKind::begin, .property = property};
  if (!reading.open.empty()) item.name = reading.open.top().name;
  const auto entry = [&](std::string_view wanted, const char* expected) {
    const std::size_t start = in.at;
    std::string_view name;
    if (!tag(reading, in, tags::kStartNamedEntry, expected) || !string(reading, in, name, expected))
      return false;
    return name == wanted || stop(reading, start, expected, [&] { return inQuotes(name); });
  };
  const auto entryEnd = [&] { return tag(reading, in, tags::kEndNamedEntry, "the end of the entry"); };
  if (!tag(reading, in, tags::kStartMetadata, "the metadata of an element") ||
      !entry(tree::kTypeEntry, "the entry \"type\""))
    return false;
  const std::size_t nameAt = in.at;
  if (!string(reading, in, item.typeName, "the name of a class") || !entryEnd()) return false;
  if (tagAt(in.at) == tags::kStartNamedEntry) {
    if (!entry(tree::kIdEntry, "the entry \"id\"") || !identity(reading, in, item.identity) || !entryEnd())
      return false;
    const bool isHalf = item.identity.first.empty() || item.identity.second.empty();
    if (knowsTypes() && isHalf)
      return stop(reading, nameAt, "an identity of two texts", [] { return "one that is empty"; });
    if (reading.isStrict && !isInPlace(reading, item.identity))
      return stop(reading, nameAt, "another number");
  }
  if (!tag(reading, in, tags::kEndMetadata, "the end of the metadata") ||
      !tag(reading, in, tags::kStartStruct, "the struct of an element"))
    return false;
  item.type = knowsTypes() ? types_->findConcrete(item.typeName) : nullptr;
  if (knowsTypes() && item.type == nullptr)
    return stop(reading, nameAt, "the name of a class that is not abstract",
                [&] { return inQuotes(item.typeName); });
  if (property != nullptr && !fits(*property, *item.type))
    return stop(reading, nameAt, "a class that fits the property", [&] { return inQuotes(item.typeName); });
  ++reading.elements;
  const std::string_view name = item.name;
  emit(reading, in, item);
  reading.open.push({.type = item.type, .property = property, .name = name});
  return true;
}

// --- Entries

bool TaggedScan::entry(Reading& reading) const {
  Cursor in{reading.at + 1};
  const Frame& top = reading.open.top();
  std::string_view name;
  ScannedValue key;
  if (!primitive(reading, in, key)) return false;
  if (key.form == Form::text && fl::i18n::isWellFormedUtf8(key.text)) name = key.text;
  if (knowsTypes() && key.form != Form::text)
    return stop(reading, reading.at, "the name of an entry", [] { return "another value"; });
  const PropertyRecord* property = nullptr;
  if (knowsTypes() && top.kind == FrameKind::metadata) {
    const std::string_view wanted = top.items == 0 ? tree::kVersionEntry : tree::kPackagesEntry;
    if (top.items > 1 || name != wanted)
      return stop(
          reading, reading.at, [&] { return "the entry " + inQuotes(wanted); },
          [&] { return inQuotes(name); });
  }
  if (top.type != nullptr) {
    const std::size_t slot = top.type->findSlot(name);
    const auto expected = [&] { return "a property of " + top.type->qualifiedName() + " or the end"; };
    if (slot == TypeRecord::npos) return stop(reading, reading.at, expected, [&] { return inQuotes(name); });
    property = top.type->getAllProperties()[slot].get();
    if (property->getKind() == meta::PropertyKind::none)
      return stop(reading, reading.at, "a property that is stored", [&] { return inQuotes(name); });
    if (slot < 64 && (top.seen >> slot & 1u) != 0)
      return stop(reading, reading.at, expected, [&] { return inQuotes(name) + " once more"; });
    if (slot < 64) reading.open.change().seen |= std::uint64_t{1} << slot;
  }
  if (wholeEntry(reading, in, property, name)) return true;
  // As one thing too where it is none, for a text that is too long swallows what follows.
  if (property != nullptr && !property->isMany() && meta::isPrimitive(property->getKind()))
    return stopInValue(reading, in, *property);
  countItem(reading);
  emit(reading, in,
       {.kind = ItemKind::beginGroup,
        .frame = FrameKind::entry,
        .property = property,
        .name = name,
        .value = key});
  reading.open.push({.kind = FrameKind::entry, .property = property, .name = name});
  return true;
}

/// An entry of a single value or reference is told as one thing.
/// @return false where it is none; then nothing was read.
bool TaggedScan::wholeEntry(Reading& reading, Cursor in, const PropertyRecord* property,
                            std::string_view name) const {
  Reading quiet;
  quiet.at = reading.at;
  quiet.isStrict = reading.isStrict;
  Item item{.kind = ItemKind::value, .property = property, .name = name};
  std::string_view document;
  const bool isReference = tagAt(in.at) == tags::kStartStruct;
  if (isReference) {
    if (knowsTypes() && (property == nullptr || property->getKind() != meta::PropertyKind::association))
      return false;
    item.kind = ItemKind::reference;
    ++in.at;
    if (!readReference(quiet, in, item, document)) return false;
  } else if (!primitive(quiet, in, item.value)) {
    return false;
  }
  if (property != nullptr &&
      (property->isMany() || (!isReference && !requireValue(quiet, in.at, *property, item.value, false))))
    return false;
  if (tagAt(in.at) != tags::kEndNamedEntry) return false;
  ++in.at;
  const bool isOfDocument = knowsTypes() && reading.open.top().kind == FrameKind::metadata;
  if (isOfDocument && (name != tree::kVersionEntry || !isVersionOne(item.value))) return false;
  countItem(reading);
  emit(reading, in, item);
  return true;
}

/// @return false.
bool TaggedScan::stopInValue(Reading& reading, Cursor in, const PropertyRecord& property) const {
  const std::size_t start = in.at;
  ScannedValue value;
  return primitive(reading, in, value) && requireValue(reading, start, property, value, false) &&
         tag(reading, in, tags::kEndNamedEntry, "the end of the entry");
}

bool TaggedScan::end(Reading& reading, std::uint8_t tag) const {
  const Frame top = reading.open.top();
  if (tag != endTagOf(top.kind))
    return stop(
        reading, reading.at,
        [&] { return std::string("the end of ") + nameOf(top.kind) + " or something in it"; },
        [&] { return inHex(tag); });
  const bool isEmpty = top.kind == FrameKind::entry && top.items == 0;
  const bool isUnfinished =
      (top.kind == FrameKind::document || top.kind == FrameKind::metadata) && top.items < 2;
  if (knowsTypes() && (isEmpty || isUnfinished))
    return stop(
        reading, reading.at, [&] { return std::string("something in ") + nameOf(top.kind); },
        [&] { return inHex(tag); });
  emit(reading, {reading.at + 1},
       {.kind = ItemKind::end,
        .frame = top.kind,
        .property = top.property,
        .name = top.name,
        .type = top.type});
  reading.open.pop();
  reading.hasEnded = top.kind == FrameKind::document;
  return true;
}

// --- Values

namespace {

/// Whether an integer is in the range of a fixed-width type.
bool isInRange(const ScannedValue& value, const meta::StandardTypeInfo& info) {
  const unsigned width = 8u * info.width;
  if (info.kind == meta::StandardKind::unsignedInteger) {
    const bool isNegative = value.form == Form::integer && static_cast<std::int64_t>(value.bits) < 0;
    return !isNegative && (width == 64 || value.bits >> width == 0);
  }
  constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (value.form == Form::natural && value.bits > kMost) return false;
  const auto number = static_cast<std::int64_t>(value.bits);
  return width == 64 ||
         (number >= -(std::int64_t{1} << (width - 1)) && number < std::int64_t{1} << (width - 1));
}

bool isValueOf(const PropertyRecord& property, const ScannedValue& value) {
  const bool isInteger = value.form == Form::integer || value.form == Form::natural;
  switch (property.getKind()) {
    case meta::PropertyKind::number: {
      const meta::StandardTypeInfo& info = property.getNumberInfo();
      if (info.kind == meta::StandardKind::boolean) return value.form == Form::boolean;
      if (info.kind == meta::StandardKind::real) return value.form == Form::real;
      return isInteger && isInRange(value, info);
    }
    case meta::PropertyKind::enumeration: {
      const auto* const type = static_cast<const meta::Enum::Impl*>(property.getType().get());
      return value.form == Form::text && type->findByName(value.text) != nullptr;
    }
    default:
      return value.form == Form::text && isTextOf(property, value.text);
  }
}

}  // namespace

bool TaggedScan::requireValue(Reading& reading, std::size_t at, const PropertyRecord& property,
                              const ScannedValue& value, bool isOneOfMany) const {
  if (value.form == Form::null && !isOneOfMany && property.isOptional() &&
      meta::isPrimitive(property.getKind()))
    return true;
  if (isValueOf(property, value)) return true;
  return stop(
      reading, at, [&] { return "a value of type " + property.getType()->qualifiedName(); },
      [&] { return value.form == Form::text ? foundText(value.text) : std::string("another value"); });
}

// --- What may have lost its beginning

void TaggedScan::proposeLost(std::size_t at, const Frame* inside, std::vector<LostFrames>& proposals) const {
  if (inside == nullptr || !knowsTypes()) return;
  Cursor in{at};
  Reading probe;
  if (tagAt(at) == tags::kStartMetadata) {
    // The list or entry of an element.
    const std::size_t before = proposals.size();
    if (inside->kind == FrameKind::document) return proposals.push_back({{.kind = FrameKind::sequence}});
    const bool isOpenList =
        inside->kind == FrameKind::entry && inside->property != nullptr && inside->items == 0;
    if (isOpenList && inside->property->isMany())
      return proposals.push_back(
          {{.kind = FrameKind::sequence, .property = inside->property, .name = inside->name}});
    if (inside->type == nullptr) return;
    for (const meta::Property property : inside->type->getAllProperties()) {
      if (property->getKind() != meta::PropertyKind::composition) continue;
      LostFrames lost{
          {.kind = FrameKind::entry, .property = property.get(), .name = property->name(), .items = 1}};
      if (property->isMany())
        lost.inner = Frame{.kind = FrameKind::sequence, .property = property.get(), .name = property->name()};
      else
        lost.outer.items = 0;
      if (proposals.size() - before < kMostLists) proposals.push_back(lost);
    }
    return;
  }
  std::string_view name;
  const bool isRoots =
      inside->kind == FrameKind::sequence && inside->property == nullptr && inside->name.empty();
  const bool holdsElements =
      isRoots ||
      ((inside->kind == FrameKind::sequence || inside->kind == FrameKind::entry) &&
       inside->property != nullptr && inside->property->getKind() == meta::PropertyKind::composition);
  if (!holdsElements || tagAt(at) != tags::kStartNamedEntry) return;
  ++in.at;
  if (!string(probe, in, name, "")) return;
  for (const meta::Class::Impl* const type : types_->concrete())
    if (type->findSlot(name) != TypeRecord::npos) proposeIn(*type, isRoots ? nullptr : inside, proposals);
}

}  // namespace kr::zero::inspect
