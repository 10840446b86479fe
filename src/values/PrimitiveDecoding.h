/// @file
/// Internal. Fixed-width values from bytes; docs/formats/direct.md.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <type_traits>

#include "kr/zero/Value.h"
#include "kr/zero/io/ParseProcessor.h"
#include "values/Endianness.h"
#include "values/TypeChecks.h"

namespace kr::zero::io::values {

/// Where a reader stands.
struct ParseState {
  ParseProcessor* processor = nullptr;  ///< not owned
  const std::uint8_t* position = nullptr;
  const std::uint8_t* end = nullptr;  ///< one past the last byte
};

/// @throws std::runtime_error "Invalid input of decodePrimitiveFromBinaryInLittleEndian"
[[noreturn]] void raiseInvalidInput();
/// Whether that is what an exception says, which has no type of its own.
bool isInvalidInput(const std::exception& error) noexcept;

/// Reads a number at the cursor and moves the cursor behind it.
///
/// The number must end before `bound`, not at it: in a whole document something follows every value, so
/// a number that takes the last byte shows that the input was cut.
/// @param width must be that of T.
/// @throws std::runtime_error otherwise; the cursor has not moved then.
template <class T>
T decodePrimitiveFromBinaryInLittleEndian(const std::uint8_t*& cursor, const std::uint8_t* bound,
                                          std::size_t width) {
  std::array<std::uint8_t, sizeof(T)> bytes;
  if (width != sizeof(T) || bound - cursor <= static_cast<std::ptrdiff_t>(sizeof(T))) raiseInvalidInput();
  std::memcpy(bytes.data(), cursor, sizeof(T));
  cursor += sizeof(T);
  return std::bit_cast<T>(swapUnlessLittleEndian(bytes));
}

/// A value of a type that is not known to be the row's; see makeValue.
template <class Row>
[[gnu::noinline]] Value makeCheckedValue(ValueMeta meta, typename Row::Number number) {
  if (isStandardType<Row>(meta.getType())) return Value(meta, number);
  if constexpr (Row::acceptsEnumerations) {
    if (zero::internal::isEnumType(meta.getType())) {
      using Wide = std::conditional_t<std::is_signed_v<typename Row::Number>, std::int64_t, std::uint64_t>;
      return Value(meta, static_cast<Wide>(number));
    }
  }
  raiseIncompatibleTypes(meta);
}

/// A value of the property's type: as wide as the number, or for an enumeration widened to 64 bits.
/// @throws Error<kr0::messages::CannotCastIncompatibleTypes> for a type that does not fit.
template <class Row>
Value makeValue(meta::Type type, typename Row::Number number) {
  const ValueMeta meta(type, ValueFlags::single);
  // Nearly all values end here, without a call.
  if (type && type == Row::handle) return Value(meta, number);
  return makeCheckedValue<Row>(meta, number);
}

/// Reads a value of the row's type and hands it to the processor.
/// @param type the property's type: the row's, or an enumeration in an integer row.
/// @throws std::runtime_error for a value that is cut, Error<kr0::messages::CannotCastIncompatibleTypes> for
/// a type
///   that does not fit; the processor was not called then.
template <class Row>
void decodeAndSetPrimitive(ParseState& state, const ustring& property, meta::Type type) {
  using Number = typename Row::Number;
  const auto number =
      decodePrimitiveFromBinaryInLittleEndian<Number>(state.position, state.end, sizeof(Number));
  state.processor->setVerbatimValue(property, makeValue<Row>(type, number));
}

}  // namespace kr::zero::io::values
