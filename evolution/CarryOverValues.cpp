#include "CarryOverValues.h"

#include <bit>
#include <cmath>
#include <optional>

#include "kr/zero/DateTime.h"

namespace kr::zero::evolution {

namespace {

using meta::PropertyKind;
using meta::StandardKind;
using meta::StandardTypeInfo;

const StandardTypeInfo& infoOf(meta::Property property) { return meta::infoOf(property->getStandardType()); }

void putBoolean(Element element, meta::Property property, bool value) {
  property->isMany() ? element.addBoolean(property, value) : element.setBoolean(property, value);
}
void putInteger(Element element, meta::Property property, std::int64_t value) {
  property->isMany() ? element.addInteger(property, value) : element.setInteger(property, value);
}
void putUnsigned(Element element, meta::Property property, std::uint64_t value) {
  property->isMany() ? element.addUnsigned(property, value) : element.setUnsigned(property, value);
}
void putReal(Element element, meta::Property property, double value) {
  property->isMany() ? element.addReal(property, value) : element.setReal(property, value);
}

constexpr bool isUnsigned64(const StandardTypeInfo& info) {
  return info.kind == StandardKind::unsignedInteger && info.width == 8;
}

/// Whether a number that fits 64 bits with sign is one of an integer type.
constexpr bool isWithin(std::int64_t value, const StandardTypeInfo& info) {
  if (info.kind == StandardKind::unsignedInteger)
    return value >= 0 && (info.width == 8 || value < std::int64_t{1} << (8 * info.width));
  if (info.width == 8) return true;
  const std::int64_t end = std::int64_t{1} << (8 * info.width - 1);
  return value >= -end && value < end;
}

/// The real number with exactly that value.
template <class Integer>
std::optional<double> exactReal(Integer value) {
  constexpr double kEnd = std::is_signed_v<Integer> ? 0x1p63 : 0x1p64;
  const auto real = static_cast<double>(value);
  if (real >= kEnd || static_cast<Integer>(real) != value) return std::nullopt;
  return real;
}

template <class Integer>
bool putAsReal(Integer value, Element element, meta::Property property) {
  const std::optional<double> real = exactReal(value);
  if (real) putReal(element, property, *real);
  return real.has_value();
}

bool putSigned(std::int64_t value, Element element, meta::Property property) {
  const StandardTypeInfo& info = infoOf(property);
  if (info.kind == StandardKind::real) return putAsReal(value, element, property);
  if (!isWithin(value, info)) return false;
  putInteger(element, property, value);
  return true;
}

bool putBeyondSigned(std::uint64_t value, Element element, meta::Property property) {
  const StandardTypeInfo& info = infoOf(property);
  if (info.kind == StandardKind::real) return putAsReal(value, element, property);
  if (!isUnsigned64(info)) return false;
  putUnsigned(element, property, value);
  return true;
}

bool putUnsignedNumber(std::uint64_t value, Element element, meta::Property property) {
  return value <= static_cast<std::uint64_t>(INT64_MAX)
             ? putSigned(static_cast<std::int64_t>(value), element, property)
             : putBeyondSigned(value, element, property);
}

bool putRealNumber(double value, Element element, meta::Property property) {
  if (infoOf(property).kind == StandardKind::real) {
    putReal(element, property, value);
    return true;
  }
  // The negative zero is no integer: its sign would go.
  if (!(std::trunc(value) == value) || (value == 0 && std::signbit(value))) return false;
  constexpr double kBeyondSigned = 9223372036854775808.0, kBeyondUnsigned = 2 * kBeyondSigned;
  if (value >= -kBeyondSigned && value < kBeyondSigned)
    return putSigned(static_cast<std::int64_t>(value), element, property);
  if (value < kBeyondSigned || value >= kBeyondUnsigned) return false;
  return putBeyondSigned(static_cast<std::uint64_t>(value), element, property);
}

/// Whether a text is a UUID in the one form that UUIDs are shown in.
bool isUuidText(std::string_view text) {
  if (text.size() != 36) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isDash = i == 8 || i == 13 || i == 18 || i == 23;
    const bool isDigit = (text[i] >= '0' && text[i] <= '9') || (text[i] >= 'a' && text[i] <= 'f');
    if (isDash ? text[i] != '-' : !isDigit) return false;
  }
  return true;
}

bool isText(std::string_view text, PropertyKind kind) {
  if (kind == PropertyKind::uuid) return isUuidText(text);
  return kind != PropertyKind::dateTime || DateTime::isValid(text);
}

void putText(Element element, meta::Property property, std::string_view text) {
  property->isMany() ? element.addTextForm(property, text) : element.setTextForm(property, text);
}

}  // namespace

bool areNumbersAlike(meta::Property from, meta::Property to) {
  return from->getKind() == PropertyKind::number && to->getKind() == PropertyKind::number &&
         (infoOf(from).kind == StandardKind::boolean) == (infoOf(to).kind == StandardKind::boolean);
}

bool copyNumber(const ValuePlace& from, Element element, meta::Property property) {
  const StandardTypeInfo& info = infoOf(from.property);
  if (info.kind == StandardKind::boolean) {
    putBoolean(element, property, from.element.getBoolean(from.property, from.position));
    return true;
  }
  if (info.kind == StandardKind::real)
    return putRealNumber(from.element.getReal(from.property, from.position), element, property);
  if (isUnsigned64(info))
    return putUnsignedNumber(from.element.getUnsigned(from.property, from.position), element, property);
  return putSigned(from.element.getInteger(from.property, from.position), element, property);
}

bool copyText(const ValuePlace& from, Element element, meta::Property property) {
  if (from.property->getKind() == PropertyKind::uuid) {
    // Its text is a DateTime never, and any other text always.
    if (property->getKind() == PropertyKind::dateTime) return false;
    putText(element, property, from.element.getTextForm(from.property, from.position));
    return true;
  }
  const std::string_view text = from.element.getText(from.property, from.position);
  if (from.property->getKind() != property->getKind() && !isText(text, property->getKind())) return false;
  putText(element, property, text);
  return true;
}

LiteralTable::LiteralTable(meta::Enum from, meta::Enum to, const Rules& rules) {
  for (const meta::EnumLiteral& literal : from->getLiterals()) {
    const Move move = moveOf(literal, from, to, rules);
    const auto [place, isNew] = moves_.try_emplace(literal.number, move);
    // Of several literals with one number any that has its place will do, unless a rule drops it: they mean
    // the same.
    if (!isNew && !place->second.asked && place->second.to == nullptr && move.to != nullptr)
      place->second = move;
  }
}

LiteralTable::Move LiteralTable::moveOf(const meta::EnumLiteral& literal, meta::Enum from, meta::Enum to,
                                        const Rules& rules) {
  Move move{.from = &literal};
  const MemberRule* const rule = rules.ruleFor(from, literal.name);
  if (rule != nullptr) {
    move.rule = rule->rule;
    move.asked = rule->isDropped;
    if (rule->isDropped) return move;
  }
  const std::string& name = rule != nullptr ? rule->to : literal.name;
  const meta::EnumLiteral* const found = to->findByName(name);
  // A model holds numbers: of two literals that share one it shows the first.
  if (found != nullptr && found->name == name && to->findByNumber(found->number) == found) move.to = found;
  return move;
}

const LiteralTable::Move& LiteralTable::moveOf(std::int64_t number) const {
  const auto found = moves_.find(number);
  return found == moves_.end() ? none_ : found->second;
}

}  // namespace kr::zero::evolution
