/// @file
/// The standard types: the one list that everything else about them comes from.
///
/// A new standard type is a row here. What is asked of a type is asked of its row: code that treats types
/// differently switches on StandardKind and width, never on a list of types of its own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// Calls row(enumerator, handle, Name, kind, Number) for each standard type: how C++ names it, the handle in
/// StandardTypes, its name in meta models, its StandardKind, and what one value is in memory and in
/// documents, in little-endian order there; void for what travels as text.
#define KR0_STANDARD_TYPES(row)                                                                             \
  row(boolean, booleanMeta, Boolean, boolean, std::uint8_t)                                                 \
      row(integer8, integer8Meta, Integer8, signedInteger, std::int8_t) row(                                \
          uinteger8, uinteger8Meta, UInteger8, unsignedInteger, std::uint8_t)                               \
          row(integer16, integer16Meta, Integer16, signedInteger, std::int16_t) row(                        \
              uinteger16, uinteger16Meta, UInteger16, unsignedInteger, std::uint16_t)                       \
              row(integer, integerMeta, Integer, signedInteger, std::int32_t) row(                          \
                  unlimitedNatural, unlimitedNaturalMeta, UnlimitedNatural, unsignedInteger, std::uint32_t) \
                  row(integer64, integer64Meta, Integer64, signedInteger, std::int64_t)                     \
                      row(uinteger64, uinteger64Meta, UInteger64, unsignedInteger, std::uint64_t) row(      \
                          real, realMeta, Real, real, double) row(string, stringMeta, String, text, void)   \
                          row(stdString, stdstringMeta, StdString, text, void)                              \
                              row(uuid, uuidMeta, UUID, uuid, void)                                         \
                                  row(dateTime, dateTimeMeta, DateTime, dateTime, void)                     \
                                      row(jsonValue, jsonValueMeta, JsonValue, text, void)                  \
                                          row(stringToStringMap, stringToStringMapMeta, StringToStringMap,  \
                                              text, void) row(zoArray, zoArrayMeta, ZoArray, text, void)

namespace kr::zero::meta {

/// The types that every registry knows. `none` is any other type.
enum class StandardType : std::uint8_t {
  none,
/// What a row of the list becomes here.
#define KR0_ROW(enumerator, handle, Name, kind, Number) enumerator,
  KR0_STANDARD_TYPES(KR0_ROW)
#undef KR0_ROW
};

/// What the values of a standard type are. `text` is anything that is kept as it was written; a UUID and a
/// DateTime travel as text too, and not every text is one.
enum class StandardKind : std::uint8_t {
  boolean,
  signedInteger,
  unsignedInteger,
  real,
  text,
  uuid,
  dateTime
};

/// A row of the list.
struct StandardTypeInfo {
  StandardType type = StandardType::none;  ///< which
  const char* name = "";                   ///< in meta models
  StandardKind kind = StandardKind::text;  ///< what its values are
  std::uint8_t width = 0;                  ///< bytes of a value; 0 for what travels as text

  /// Whether values are whole numbers.
  constexpr bool isInteger() const noexcept {
    return kind == StandardKind::signedInteger || kind == StandardKind::unsignedInteger;
  }
  /// Whether values travel as numbers of a fixed width; Booleans do.
  constexpr bool isNumber() const noexcept { return width != 0; }
};

/// @cond
namespace internal {

template <class Number>
inline constexpr std::uint8_t kWidthOf = sizeof(Number);
template <>
inline constexpr std::uint8_t kWidthOf<void> = 0;

}  // namespace internal
/// @endcond

/// By StandardType; the first row, of none, is that of a text.
inline constexpr std::array kStandardTypes{StandardTypeInfo{},
/// What a row of the list becomes here.
#define KR0_ROW(enumerator, handle, Name, kind, Number) \
  StandardTypeInfo{StandardType::enumerator, #Name, StandardKind::kind, internal::kWidthOf<Number>},
                                           KR0_STANDARD_TYPES(KR0_ROW)
#undef KR0_ROW
};

/// The row of a standard type.
constexpr const StandardTypeInfo& infoOf(StandardType type) noexcept {
  return kStandardTypes[static_cast<std::size_t>(type)];
}

}  // namespace kr::zero::meta
