/// @file
/// Internal: numbers of the standard types, their ranges and their texts.
#pragma once

#include <bit>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kr/zero/Model.h"
#include "kr/zero/Value.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::internal {

/// Inclusive range of an integer type. UInteger64's upper end does not fit; see isUnsigned64.
struct IntegerRange {
  std::int64_t low;
  std::int64_t high;
};

IntegerRange rangeOf(meta::StandardType integerType) noexcept;

/// The payload of a number given as text, or nothing where the text is not one of that type.
/// Booleans are "true", "false", "1" and "0"; reals include "INF", "-INF" and "NaN".
std::optional<std::uint64_t> parseNumber(meta::StandardType type, std::string_view text);
/// The inverse, in the shortest form that reads back the same.
std::string formatNumber(meta::StandardType type, std::uint64_t payload);

std::optional<Uuid> parseUuid(std::string_view text);
/// Lower case, 8-4-4-4-12.
std::string formatUuid(const Uuid& uuid);

/// A payload as a value of its type, and back. An enumeration's is as wide as an Integer64's.
inline Value toValue(meta::Type type, meta::StandardType standard, ValueFlags flags, std::uint64_t payload) {
  const ValueMeta meta(type, flags);
  const meta::StandardTypeInfo& info = meta::infoOf(standard);
  const bool isSigned = info.kind == meta::StandardKind::signedInteger;
  if (info.kind == meta::StandardKind::boolean) return Value(meta, payload != 0);
  if (info.kind == meta::StandardKind::real) return Value(meta, std::bit_cast<double>(payload));
  switch (info.width) {
    case 1:
      return isSigned ? Value(meta, static_cast<std::int8_t>(payload))
                      : Value(meta, static_cast<std::uint8_t>(payload));
    case 2:
      return isSigned ? Value(meta, static_cast<std::int16_t>(payload))
                      : Value(meta, static_cast<std::uint16_t>(payload));
    case 4:
      return isSigned ? Value(meta, static_cast<std::int32_t>(payload))
                      : Value(meta, static_cast<std::uint32_t>(payload));
    default:
      return Value(meta, payload);
  }
}
inline std::uint64_t fromValue(meta::StandardType standard, const Value& value) noexcept {
  const auto widen = [](std::int64_t number) { return static_cast<std::uint64_t>(number); };
  const meta::StandardTypeInfo& info = meta::infoOf(standard);
  const bool isSigned = info.kind == meta::StandardKind::signedInteger;
  if (info.kind == meta::StandardKind::boolean) return value.get<std::uint8_t>() != 0 ? 1 : 0;
  switch (info.width) {
    case 1:
      return isSigned ? widen(value.get<std::int8_t>()) : value.get<std::uint8_t>();
    case 2:
      return isSigned ? widen(value.get<std::int16_t>()) : value.get<std::uint16_t>();
    case 4:
      return isSigned ? widen(value.get<std::int32_t>()) : value.get<std::uint32_t>();
    default:
      return value.get<std::uint64_t>();
  }
}

}  // namespace kr::zero::internal
