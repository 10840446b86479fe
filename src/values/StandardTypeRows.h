/// @file
/// Internal. The standard primitive types as template arguments: name, handle, number.
#pragma once

#include <cstdint>

#include "kr/zero/meta/StandardTypes.h"

namespace kr::zero::io::values {

/// @tparam handleOfType where the framework keeps the type, filled on first use.
/// @tparam N what a value of the type is in memory; void for those that travel as text.
/// @tparam enumerations whether a value of an enumeration type passes for one of this type.
template <meta::LazyPrimitiveType& handleOfType, class N, bool enumerations>
struct StandardTypeRow {
  using Number = N;
  static constexpr bool acceptsEnumerations = enumerations;
  static constexpr meta::LazyPrimitiveType& handle = handleOfType;
};

template <meta::LazyPrimitiveType& handleOfType, class N>
using IntegerRow = StandardTypeRow<handleOfType, N, true>;
template <meta::LazyPrimitiveType& handleOfType, class N = void>
using OtherRow = StandardTypeRow<handleOfType, N, false>;

using meta::StandardTypes;

struct Integer8 : IntegerRow<StandardTypes::integer8Meta, std::int8_t> {
  static constexpr auto name = u"Integer8";
};
struct UInteger8 : IntegerRow<StandardTypes::uinteger8Meta, std::uint8_t> {
  static constexpr auto name = u"UInteger8";
};
struct Integer16 : IntegerRow<StandardTypes::integer16Meta, std::int16_t> {
  static constexpr auto name = u"Integer16";
};
struct UInteger16 : IntegerRow<StandardTypes::uinteger16Meta, std::uint16_t> {
  static constexpr auto name = u"UInteger16";
};
struct Integer : IntegerRow<StandardTypes::integerMeta, std::int32_t> {
  static constexpr auto name = u"Integer";
};
struct UnlimitedNatural : IntegerRow<StandardTypes::unlimitedNaturalMeta, std::uint32_t> {
  static constexpr auto name = u"UnlimitedNatural";
};
struct Integer64 : IntegerRow<StandardTypes::integer64Meta, std::int64_t> {
  static constexpr auto name = u"Integer64";
};
struct UInteger64 : IntegerRow<StandardTypes::uinteger64Meta, std::uint64_t> {
  static constexpr auto name = u"UInteger64";
};
struct Real : OtherRow<StandardTypes::realMeta, double> {
  static constexpr auto name = u"Real";
};
struct Boolean : OtherRow<StandardTypes::booleanMeta, std::uint8_t> {
  static constexpr auto name = u"Boolean";
};
struct String : OtherRow<StandardTypes::stringMeta> {
  static constexpr auto name = u"String";
};
struct StdString : OtherRow<StandardTypes::stdstringMeta> {
  static constexpr auto name = u"StdString";
};
struct DateTime : OtherRow<StandardTypes::dateTimeMeta> {
  static constexpr auto name = u"DateTime";
};
struct Uuid : OtherRow<StandardTypes::uuidMeta> {
  static constexpr auto name = u"UUID";
};
struct JsonValue : OtherRow<StandardTypes::jsonValueMeta> {
  static constexpr auto name = u"JsonValue";
};
struct StringToStringMap : OtherRow<StandardTypes::stringToStringMapMeta> {
  static constexpr auto name = u"StringToStringMap";
};
struct ZoArray : OtherRow<StandardTypes::zoArrayMeta> {
  static constexpr auto name = u"ZoArray";
};

}  // namespace kr::zero::io::values
