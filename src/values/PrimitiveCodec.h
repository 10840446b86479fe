/// @file
/// Internal: fixed-width values to bytes and back.
///
/// A number is its bytes, lowest first. A Boolean is one byte: 1 for true, 2 for false. In element mode
/// (a property of bounds 0..1) a mark stands before the value: 0xDD present, 0xEE absent, and then no
/// value follows.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "kr/zero/Value.h"
#include "kr/zero/io/ParseProcessor.h"
#include "kr/zero/meta/Type.h"
#include "values/ByteBuffer.h"
#include "values/ByteOrder.h"
#include "values/StandardTypeChecks.h"

namespace kr::zero::io {

inline constexpr std::uint8_t kPresentMark = 0xDD;
inline constexpr std::uint8_t kAbsentMark = 0xEE;

/// @throws std::runtime_error "Invalid input of decodePrimitiveFromBinaryInLittleEndian".
[[noreturn]] void failFixedWidthRead();

/// Reads a number and moves the cursor behind it.
/// The bound is strict on purpose: a number whose last byte is the last one before the bound is refused.
/// @throws std::runtime_error where the width is not T's or the bytes are not there; the cursor has not
///   moved.
template <class T>
T decodePrimitiveFromBinaryInLittleEndian(const std::uint8_t*& cursor, const std::uint8_t* bound,
                                          std::size_t width) {
  if (width != sizeof(T) || cursor >= bound || static_cast<std::size_t>(bound - cursor) <= width)
    failFixedWidthRead();
  std::uint8_t bytes[sizeof(T)];
  std::memcpy(bytes, cursor, sizeof(T));
  if constexpr (!hostIsLittleEndian) std::reverse(bytes, bytes + sizeof(T));
  T number;
  std::memcpy(&number, bytes, sizeof(T));
  cursor += sizeof(T);
  return number;
}

/// What reading a value needs.
struct PrimitiveReadState {
  ParseProcessor& processor;
  const std::uint8_t*& cursor;
  const std::uint8_t* bound;
};

/// Reads a number and hands it to the processor as a value of the property's type. An enumeration's
/// value holds a 64-bit cell, whatever its width in the bytes.
/// @throws what decodePrimitiveFromBinaryInLittleEndian and requireStandardType throw.
template <class T>
void decodeAndSetPrimitive(const PrimitiveReadState& state, const ustring& property, meta::Type type,
                           const StandardTypeRow& row) {
  const T number = decodePrimitiveFromBinaryInLittleEndian<T>(state.cursor, state.bound, sizeof(T));
  const ValueMeta meta(type, ValueFlags::single);
  if (kr::zero::internal::isEnumType(type)) {
    requireStandardType(meta, row);  // a real number is refused here
    if constexpr (std::is_integral_v<T>)
      state.processor.setVerbatimValue(property, Value(meta, static_cast<std::int64_t>(number)));
  } else {
    requireStandardType(meta, row);
    state.processor.setVerbatimValue(property, Value(meta, number));
  }
}

/// How a property's values are written; chosen by its type.
enum class PrimitiveCode : std::uint16_t {
  notPrimitive = 1,
  standardText = 2,
  otherText = 3,
  boolean = 16,
  uinteger8 = 17,
  uinteger16 = 18,
  unlimitedNatural = 19,
  uinteger64 = 20,
  integer8 = 21,
  integer16 = 22,
  integer = 23,
  integer64 = 24,
  real = 25,
  enumeration = 26,
};

/// Appends a value in the encoding of a code; codes without fixed width append nothing. A value without
/// a cell is written as zero, in element mode as the absent mark.
/// @throws Error<kr0::messages::CannotCastIncompatibleTypes>; nothing has been appended then.
void encodePrimitive(PrimitiveCode code, ByteBuffer& out, const Value& value, bool elementMode);

}  // namespace kr::zero::io
