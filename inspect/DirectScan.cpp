#include "DirectScan.h"

#include <algorithm>
#include <bit>
#include <charconv>

#include "Stop.h"
#include "direct/DirectFormat.h"
#include "direct/KnownTypes.h"
#include "direct/Numbers.h"
#include "fl/i18n/utf8.h"
#include "values/ValueBytes.h"

namespace kr::zero::inspect {

namespace direct = io::direct;
using io::Content;

/// Classes that are tried for an element of which only the head is damaged.
constexpr std::size_t kMostHeads = 64;

struct DirectScan::Cursor {
  std::size_t at;

  const std::uint8_t* position(std::string_view bytes) const noexcept {
    return reinterpret_cast<const std::uint8_t*>(bytes.data()) + at;
  }
  std::size_t left(std::string_view bytes) const noexcept { return bytes.size() - at; }
};

// --- Units

constexpr std::size_t kMostGroups = 10;  // of 7 bits, in 64

bool DirectScan::number(Reading& reading, Cursor& in, std::uint64_t& number, const char* expected) const {
  const std::uint8_t* const start = in.position(bytes_);
  const std::size_t left = in.left(bytes_);
  // The rest of a document may look like one number from each of its bytes on; writers write 10 groups at
  // most.
  const std::size_t most = reading.isStrict ? std::min(left, kMostGroups) : left;
  const std::uint8_t* const behind = direct::decodeNumber(start, start + most, number);
  if (behind == nullptr && most < left) return stop(reading, in.at, expected);
  if (behind == nullptr) return stop(reading, in.at, expected, [] { return "the end of the bytes"; });
  const bool isShortest = behind == start + 1 || behind[-1] != 0;
  if (reading.isStrict && !isShortest) return stop(reading, in.at, expected);
  in.at += static_cast<std::size_t>(behind - start);
  return true;
}

bool DirectScan::byte(Reading& reading, Cursor& in, std::uint8_t& byte, const char* expected) const {
  if (in.left(bytes_) == 0) return stop(reading, in.at, expected, [] { return "the end of the bytes"; });
  byte = *in.position(bytes_);
  ++in.at;
  return true;
}

bool DirectScan::text(Reading& reading, Cursor& in, std::string_view& text, const char* expected) const {
  Cursor next = in;
  std::uint64_t size = 0;
  if (!number(reading, next, size, expected)) return false;
  if (size > next.left(bytes_))
    return stop(reading, in.at, expected, [&] {
      return "a text of " + std::to_string(size) + " bytes, with " + std::to_string(next.left(bytes_)) +
             " left";
    });
  text = bytes_.substr(next.at, static_cast<std::size_t>(size));
  next.at += text.size();
  in = next;
  return true;
}

bool DirectScan::identity(Reading& reading, Cursor& in, ScannedIdentity& identity) const {
  const std::size_t start = in.at;
  identity.isThere = true;
  if (!text(reading, in, identity.first, "the first part of an identity") ||
      !text(reading, in, identity.second, "the second part of an identity"))
    return false;
  if (!fl::i18n::isWellFormedUtf8(identity.first) || !fl::i18n::isWellFormedUtf8(identity.second))
    return stop(reading, start, "an identity", [] { return "a text that is not well-formed UTF-8"; });
  return true;
}

void DirectScan::emit(Reading& reading, const Cursor& in, Item item) const {
  item.offset = reading.at;
  item.bytes = in.at - reading.at;
  if (item.property != nullptr) item.name = item.property->name();
  reading.at = in.at;
  if (reading.listener != nullptr) reading.listener->onItem(item);
}

// --- The head

bool DirectScan::readHead(Reading& reading) const {
  Cursor in{reading.at};
  std::uint64_t version = 0;
  if (!number(reading, in, version, "the version")) return false;
  if (version != direct::kVersion)
    return stop(reading, reading.at, "the version 1",
                [&] { return "the version " + std::to_string(version); });
  emit(reading, in, {.kind = ItemKind::version, .value = {ScannedValue::Form::natural, version}});
  std::string_view order;
  if (!text(reading, in, order, "the byte order \"kr\"")) return false;
  if (order != "kr") return stop(reading, reading.at, "the byte order \"kr\"", [] { return "another text"; });
  emit(reading, in,
       {.kind = ItemKind::byteOrder, .value = {.form = ScannedValue::Form::text, .text = order}});
  std::uint64_t count = 0;
  if (!number(reading, in, count, "the number of packages")) return false;
  if (count > in.left(bytes_))
    return stop(reading, reading.at, "the number of packages",
                [&] { return std::to_string(count) + ", which is more than there are bytes"; });
  emit(reading, in, {.kind = ItemKind::packageCount, .count = count});
  std::vector<std::string_view> uris;
  for (; count != 0; --count) {
    std::string_view uri;
    if (!text(reading, in, uri, "the URI of a package")) return false;
    if (!fl::i18n::isWellFormedUtf8(uri))
      return stop(reading, reading.at, "the URI of a package",
                  [] { return "a text that is not well-formed UTF-8"; });
    if (knowsTypes() && !types_->hasPackage(uri)) {
      passUnknownPackage(reading, in.at, uri);
    } else {
      if (knowsTypes()) uris.push_back(uri);
      emit(reading, in,
           {.kind = ItemKind::package, .value = {.form = ScannedValue::Form::text, .text = uri}});
    }
  }
  if (knowsTypes()) types_->prefer(uris);
  return true;
}

// --- Elements

bool DirectScan::step(Reading& reading) const {
  Cursor in{reading.at};
  std::uint64_t token = 0;
  if (!number(reading, in, token, "the number of a property or the end token")) return false;
  if (token == direct::kEndToken) return end(reading, in);
  if (token != direct::kStartToken) return property(reading, in, token);
  if (!reading.open.empty())
    return stop(reading, reading.at, "the number of a property or the end token",
                [] { return "the token 0, which begins an element at the top"; });
  return begin(reading, in, nullptr) || noteHead(reading, nullptr);
}

/// @return false.
bool DirectScan::noteHead(Reading& reading, const PropertyRecord* property) const {
  reading.fault.isHead = true;
  reading.fault.headOf = property;
  return false;
}

bool DirectScan::stepAlone(Reading& reading) const {
  Cursor in{reading.at};
  return begin(reading, in, nullptr);
}

bool DirectScan::begin(Reading& reading, Cursor& in, const PropertyRecord* property) const {
  std::uint64_t reserved = 0;
  if (!number(reading, in, reserved, "the number 0 at the head of an element")) return false;
  if (reading.isStrict && reserved != direct::kReserved)
    return stop(reading, in.at, "the head of an element");
  Item item{.kind = ItemKind::begin, .property = property};
  const std::size_t nameAt = in.at;
  if (!text(reading, in, item.typeName, "the name of a class")) return false;
  item.type = knowsTypes() ? types_->findConcrete(item.typeName) : nullptr;
  if (knowsTypes() && item.type == nullptr)
    return stop(reading, nameAt, "the name of a class that is not abstract",
                [&] { return inQuotes(item.typeName); });
  if (property != nullptr && !fits(*property, *item.type))
    return stop(reading, nameAt, "a class that fits the property", [&] { return inQuotes(item.typeName); });
  std::uint8_t flag = 0;
  if (!byte(reading, in, flag, "the mark of an identity")) return false;
  if (flag == direct::kWithIdentity) {
    if (!identity(reading, in, item.identity)) return false;
    if (item.identity.first.empty() || item.identity.second.empty())
      return stop(reading, nameAt, "an identity of two texts", [] { return "one that is empty"; });
    if (reading.isStrict && !isInPlace(reading, item.identity))
      return stop(reading, nameAt, "another number");
  } else if (reading.isStrict && flag != direct::kWithoutIdentity) {
    return stop(reading, nameAt, "the mark of an identity");
  }
  ++reading.elements;
  emit(reading, in, item);
  reading.open.push({.type = item.type, .property = property});
  return true;
}

bool DirectScan::beginDatatype(Reading& reading, Cursor& in, const PropertyRecord& property) const {
  const auto* const type = static_cast<const TypeRecord*>(property.getType().get());
  emit(reading, in,
       {.kind = ItemKind::begin,
        .frame = FrameKind::datatype,
        .property = &property,
        .type = type,
        .typeName = type->qualifiedName()});
  reading.open.push({.kind = FrameKind::datatype, .type = type, .property = &property});
  return true;
}

bool DirectScan::end(Reading& reading, const Cursor& in) const {
  if (reading.open.empty())
    return stop(reading, reading.at, "the beginning of an element", [] { return "an end token"; });
  const Frame& top = reading.open.top();
  emit(reading, in, {.kind = ItemKind::end, .frame = top.kind, .property = top.property, .type = top.type});
  reading.open.pop();
  return true;
}

// --- Properties

bool DirectScan::property(Reading& reading, Cursor& in, std::uint64_t number) const {
  const auto found = [&] { return "the number " + std::to_string(number); };
  if (reading.open.empty()) return stop(reading, reading.at, "the beginning of an element", found);
  const TypeRecord* const type = reading.open.top().type;
  const auto expected = [&] { return "a property of " + type->qualifiedName() + " or the end token"; };
  if (type == nullptr)
    return stop(reading, reading.at, "nothing that is known without the meta model", found);
  const std::size_t slot = type->findIdentifier(number);
  if (slot == TypeRecord::npos) return stop(reading, reading.at, expected, found);
  const PropertyRecord& property = *type->getAllProperties()[slot].get();
  if (reading.isStrict && slot < reading.open.top().nextSlot)
    return stop(reading, reading.at, "the order of the meta model");
  if (isSecond(reading.open.top(), property, slot))
    return stop(reading, reading.at, expected, [&] { return "a second value of " + property.name(); });
  noteSlot(reading.open, property, slot);
  return content(reading, in, property);
}

bool DirectScan::content(Reading& reading, Cursor& in, const PropertyRecord& property) const {
  switch (io::contentOf(property)) {
    case Content::nothing:
      if (reading.isStrict) return stop(reading, in.at, "a property that is written");
      emit(reading, in, {.kind = ItemKind::bareKey, .property = &property});
      return true;
    case Content::datatype:
      return beginDatatype(reading, in, property);
    case Content::composition:
      return begin(reading, in, &property) || noteHead(reading, &property);
    case Content::reference:
      return reference(reading, in, property, false);
    case Content::items:
    case Content::references:
      return many(reading, in, property);
    default:
      return single(reading, in, property);
  }
}

bool DirectScan::single(Reading& reading, Cursor& in, const PropertyRecord& property) const {
  Item item{.kind = ItemKind::value, .property = &property};
  if (property.isOptional()) {
    std::uint8_t mark = 0;
    const std::size_t markAt = in.at;
    if (!byte(reading, in, mark, "the mark of a value")) return false;
    if (mark == io::values::kAbsentMark) return emit(reading, in, item), true;
    if (reading.isStrict && mark != io::values::kPresentMark)
      return stop(reading, markAt, "the mark of a value");
  }
  if (!value(reading, in, property, item.value)) return false;
  emit(reading, in, item);
  return true;
}

bool DirectScan::many(Reading& reading, Cursor& in, const PropertyRecord& property) const {
  const std::size_t countAt = in.at;
  std::uint64_t count = 0;
  if (!number(reading, in, count, "the number of values")) return false;
  if (count > in.left(bytes_))
    return stop(reading, countAt, "the number of values",
                [&] { return std::to_string(count) + ", which is more than there are bytes"; });
  emit(reading, in, {.kind = ItemKind::collection, .property = &property, .count = count});
  const bool isReferences = property.getKind() == meta::PropertyKind::association;
  for (; count != 0; --count) {
    if (isReferences) {
      if (!reference(reading, in, property, true)) return false;
      continue;
    }
    Item item{.kind = ItemKind::value, .property = &property, .isOneOfMany = true};
    if (!value(reading, in, property, item.value)) return false;
    emit(reading, in, item);
  }
  return true;
}

bool DirectScan::reference(Reading& reading, Cursor& in, const PropertyRecord& property,
                           bool isOneOfMany) const {
  std::uint64_t reserved = 0;
  if (!number(reading, in, reserved, "the number 0 at the head of a reference")) return false;
  if (reading.isStrict && reserved != direct::kReserved)
    return stop(reading, in.at, "the head of a reference");
  Item item{.kind = ItemKind::reference, .property = &property, .isOneOfMany = isOneOfMany};
  const std::size_t nameAt = in.at;
  if (!text(reading, in, item.typeName, "the name of the class that is referred to")) return false;
  if (!fl::i18n::isWellFormedUtf8(item.typeName))
    return stop(reading, nameAt, "the name of a class",
                [] { return "a text that is not well-formed UTF-8"; });
  if (reading.isStrict && types_->find(item.typeName) == nullptr) return stop(reading, nameAt, "a class");
  std::uint8_t flag = 0;
  if (!byte(reading, in, flag, "the mark of a document")) return false;
  if (reading.isStrict && flag != direct::kWithQualifier && flag != direct::kWithoutQualifier)
    return stop(reading, nameAt, "the mark of a document");
  std::string_view document;
  if (flag == direct::kWithQualifier) {
    if (!text(reading, in, document, "the name of a document")) return false;
    if (!fl::i18n::isWellFormedUtf8(document))
      return stop(reading, nameAt, "the name of a document",
                  [] { return "a text that is not well-formed UTF-8"; });
    item.document = &document;
  }
  if (!identity(reading, in, item.identity)) return false;
  emit(reading, in, item);
  return true;
}

// --- Values

bool DirectScan::value(Reading& reading, Cursor& in, const PropertyRecord& property,
                       ScannedValue& value) const {
  if (property.getNumberInfo().isNumber()) return fixed(reading, in, property, value);
  const std::size_t start = in.at;
  value.form = ScannedValue::Form::text;
  if (!text(reading, in, value.text, "a text")) return false;
  if (isTextOf(property, value.text)) return true;
  return stop(
      reading, start, [&] { return "a value of type " + property.getType()->qualifiedName(); },
      [&] { return foundText(value.text); });
}

bool DirectScan::fixed(Reading& reading, Cursor& in, const PropertyRecord& property,
                       ScannedValue& value) const {
  const meta::StandardTypeInfo& info = property.getNumberInfo();
  const auto expected = [&] { return "a value of type " + property.getType()->qualifiedName(); };
  const bool isBoolean = info.kind == meta::StandardKind::boolean;
  // Something follows every value of several bytes, be it an end token.
  if (in.left(bytes_) < info.width + (isBoolean ? 0u : 1u))
    return stop(reading, in.at, expected, [] { return "the end of the bytes"; });
  const std::size_t start = in.at;
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < info.width; ++i)
    bits |= std::uint64_t{static_cast<std::uint8_t>(bytes_[start + i])} << (8 * i);
  in.at += info.width;
  if (isBoolean) {
    if (reading.isStrict && bits != io::values::kTrueByte && bits != io::values::kFalseByte)
      return stop(reading, start, "a truth value");
    value = {ScannedValue::Form::boolean, bits == io::values::kTrueByte ? 1u : 0u};
    return true;
  }
  if (info.kind == meta::StandardKind::signedInteger) {
    const std::uint64_t sign = std::uint64_t{1} << (8 * info.width - 1);
    value = {ScannedValue::Form::integer, (bits ^ sign) - sign};
  } else {
    value = {info.kind == meta::StandardKind::real ? ScannedValue::Form::real : ScannedValue::Form::natural,
             bits};
  }
  if (property.getKind() != meta::PropertyKind::enumeration) return true;
  const auto number = static_cast<std::int64_t>(value.bits);
  if (static_cast<const meta::Enum::Impl*>(property.getType().get())->hasLiteral(number)) return true;
  return stop(reading, start, expected, [&] { return "the number " + std::to_string(number); });
}

// --- What may have lost its beginning

void DirectScan::proposeHeads(const Damage& damage, std::vector<LostFrames>& proposals) const {
  if (!damage.isHead) return;
  for (const meta::Class::Impl* const type : types_->concrete()) {
    if (proposals.size() == kMostHeads) break;
    if (damage.headOf == nullptr || fits(*damage.headOf, *type))
      proposals.push_back({{.type = type, .property = damage.headOf}});
  }
}

void DirectScan::proposeLost(std::size_t at, const Frame* inside, std::vector<LostFrames>& proposals) const {
  // A child says more than any value: its class must fit, too.
  Reading reading;
  reading.isStrict = true;
  Cursor in{at};
  std::uint64_t key = 0;
  std::uint64_t reserved = 0;
  std::string_view name;
  if (!number(reading, in, key, "") || key == direct::kStartToken || key == direct::kEndToken ||
      !number(reading, in, reserved, "") || reserved != direct::kReserved || !text(reading, in, name, ""))
    return;
  const meta::Class::Impl* const child = types_->findConcrete(name);
  if (child == nullptr) return;
  for (const meta::Class::Impl* const type : types_->concrete()) {
    const std::size_t slot = type->findIdentifier(key);
    if (slot == TypeRecord::npos || !fits(*type->getAllProperties()[slot].get(), *child)) continue;
    proposeIn(*type, inside, proposals);
  }
}

}  // namespace kr::zero::inspect
