/// @file
/// Internal. How a value is carried, as a number.
#pragma once

#include <cstdint>

#include "kr/zero/meta/Type.h"

namespace kr::zero::io::values {

enum class TypeCode : std::uint16_t {
  structured = 1,    ///< not a primitive: no value of its own
  standardText = 2,  ///< a standard type that travels as text
  userDefined = 3,   ///< any other primitive; travels as text
  boolean = 16,
  uinteger8 = 17,  ///< unsigned integers of 1, 2, 4 and 8 bytes follow each other
  uinteger16 = 18,
  unlimitedNatural = 19,
  uinteger64 = 20,
  integer8 = 21,  ///< signed ones too
  integer16 = 22,
  integer = 23,
  integer64 = 24,
  real = 25,
  enumeration = 26,  ///< written like an integer
};

constexpr bool isCarriedAsText(TypeCode code) noexcept {
  return code == TypeCode::standardText || code == TypeCode::userDefined;
}

TypeCode typeCodeOf(meta::Type type);

/// The standard type whose values are carried by a code; none for codes of no fixed width.
meta::StandardType standardTypeOf(TypeCode code) noexcept;

}  // namespace kr::zero::io::values
