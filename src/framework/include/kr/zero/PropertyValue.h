/// @file
/// Which C++ types stand for the values of properties.
///
///     bool                          Boolean
///     integers of any width         the integer types, and enumerations (the literal's number)
///     scoped enumerations           the same, by number
///     float, double                 Real
///     std::string, string_view      String, StdString, DateTime, JsonValue, StringToStringMap, ZoArray and
///                                   user-defined primitives
///     Uuid, DateTime                UUID, DateTime
///
/// Character types are none of these: whether `char` means a number or a text cannot be told.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "kr/zero/DateTime.h"

namespace kr::zero {

/// The bytes of a UUID, in the order in which its text shows them.
using Uuid = std::array<std::uint8_t, 16>;

namespace internal {

template <class T, class... Others>
inline constexpr bool isOneOf = (std::same_as<T, Others> || ...);

template <class T>
concept Integer = std::integral<T> && !isOneOf<T, bool, char, wchar_t, char8_t, char16_t, char32_t> &&
                  !std::is_const_v<T> && !std::is_volatile_v<T>;

template <class T>
concept ScopedEnum = std::is_enum_v<T> && !std::is_convertible_v<T, std::underlying_type_t<T>>;

template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;

/// What a property must hold so that an operation fits it.
enum class ValueSort : std::uint8_t { boolean, integer, real, text, uuid, dateTime, child, reference };

}  // namespace internal

/// What a primitive or enumeration value can be read as.
template <class T>
concept PropertyValue = internal::Integer<T> || internal::ScopedEnum<T> ||
    internal::isOneOf<T, bool, float, double, std::string, std::string_view, Uuid, DateTime>;

/// What a primitive or enumeration value can be set from: what it can be read as, and other texts.
template <class T>
concept PropertySource = PropertyValue<T> ||
    (std::convertible_to<const T&, std::string_view> && !std::same_as<T, std::nullptr_t>);

namespace internal {

template <PropertyValue T>
constexpr ValueSort sortOf() noexcept {
  if constexpr (std::same_as<T, bool>)
    return ValueSort::boolean;
  else if constexpr (Integer<T> || ScopedEnum<T>)
    return ValueSort::integer;
  else if constexpr (std::floating_point<T>)
    return ValueSort::real;
  else if constexpr (std::same_as<T, Uuid>)
    return ValueSort::uuid;
  else if constexpr (std::same_as<T, DateTime>)
    return ValueSort::dateTime;
  else
    return ValueSort::text;
}

/// The number of a scoped enumeration's value, or any integer, in one of two types.
template <class T>
constexpr auto widened(T value) noexcept {
  if constexpr (std::is_enum_v<T>)
    return widened(static_cast<std::underlying_type_t<T>>(value));
  else if constexpr (std::is_signed_v<T>)
    return static_cast<std::int64_t>(value);
  else
    return static_cast<std::uint64_t>(value);
}

}  // namespace internal

}  // namespace kr::zero
