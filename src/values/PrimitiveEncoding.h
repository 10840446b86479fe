/// @file
/// Internal. Fixed-width values to bytes; docs/formats/direct.md.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "kr/zero/Value.h"
#include "values/ByteBuffer.h"
#include "values/Endianness.h"
#include "values/TypeChecks.h"
#include "values/TypeCode.h"
#include "values/ValueBytes.h"

namespace kr::zero::io::values {

template <class T>
void appendLittleEndian(ByteBuffer& out, T number) {
  const auto bytes = swapUnlessLittleEndian(std::bit_cast<std::array<std::uint8_t, sizeof(T)>>(number));
  out.append(bytes.data(), bytes.size());
}

/// The bytes of a value's number; of 0 where it has no cell.
template <class Row>
void appendNumber(ByteBuffer& out, const Value& value) {
  appendLittleEndian(out, value.get<typename Row::Number>());
}
template <>
inline void appendNumber<Boolean>(ByteBuffer& out, const Value& value) {
  out.append(value.get<std::uint8_t>() != 0 ? kTrueByte : kFalseByte);
}

/// Appends a value of the row's type.
/// @param elementMode whether a mark goes in front; a value that is not there is then the mark alone.
/// @throws Error<kr0::messages::CannotCastIncompatibleTypes> for a value of another type; nothing is appended
/// then.
template <class Row>
void encodePrimitive(ByteBuffer& out, const Value& value, bool elementMode) {
  if (!elementMode) {
    requireStandardType<Row>(value.getMeta());
    appendNumber<Row>(out, value);
    return;
  }
  requireEntryStandardType<Row>(value.getMeta());
  if (!value.hasCell() || value.getMeta().getFlags() != ValueFlags::single) {
    out.append(kAbsentMark);
    return;
  }
  out.append(kPresentMark);
  appendNumber<Row>(out, value);
}

/// encodePrimitive by type code. A code that is not of a fixed-width type appends nothing.
void encodePrimitive(ByteBuffer& out, TypeCode code, const Value& value, bool elementMode);

}  // namespace kr::zero::io::values
