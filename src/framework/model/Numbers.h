/// @file
/// Internal: numbers of the standard types, their ranges and their texts.
#pragma once

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

inline bool isInteger(meta::StandardType type) noexcept {
  return type >= meta::StandardType::integer8 && type <= meta::StandardType::uinteger64;
}
IntegerRange rangeOf(meta::StandardType integerType) noexcept;

/// The payload of a number given as text, or nothing where the text is not one of that type.
/// Booleans are "true", "false", "1" and "0"; reals include "INF", "-INF" and "NaN".
std::optional<std::uint64_t> parseNumber(meta::StandardType type, std::string_view text);
/// The inverse, in the shortest form that reads back the same.
std::string formatNumber(meta::StandardType type, std::uint64_t payload);

std::optional<Uuid> parseUuid(std::string_view text);
/// Lower case, 8-4-4-4-12.
std::string formatUuid(const Uuid& uuid);

/// A payload as a value of its type, and back.
Value toValue(meta::Type type, meta::StandardType standard, ValueFlags flags, std::uint64_t payload);
std::uint64_t fromValue(meta::StandardType standard, const Value& value) noexcept;

}  // namespace kr::zero::internal
