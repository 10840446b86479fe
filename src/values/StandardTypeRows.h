/// @file
/// Internal. The standard primitive types as template arguments: name, handle, number.
#pragma once

#include <cstdint>
#include <type_traits>

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

#define KR0_UTF16(text) u##text
#define KR0_ROW(enumerator, handleName, Name, kind, Number)                                 \
  struct Name : StandardTypeRow<meta::StandardTypes::handleName, Number,                    \
                                meta::infoOf(meta::StandardType::enumerator).isInteger()> { \
    static constexpr auto name = KR0_UTF16(#Name);                                          \
  };
KR0_STANDARD_TYPES(KR0_ROW)
#undef KR0_ROW
#undef KR0_UTF16

/// Calls call(Row{}) with the row of a fixed-width type.
/// @return false for any other type.
template <class Call>
bool withFixedWidthRow(meta::StandardType type, Call&& call) {
  switch (type) {
#define KR0_ROW(enumerator, handle, Name, kind, Number) \
  case meta::StandardType::enumerator:                  \
    if constexpr (!std::is_void_v<Number>) {            \
      call(Name{});                                     \
      return true;                                      \
    }                                                   \
    return false;
    KR0_STANDARD_TYPES(KR0_ROW)
#undef KR0_ROW
    default:  // none
      return false;
  }
}

}  // namespace kr::zero::io::values
