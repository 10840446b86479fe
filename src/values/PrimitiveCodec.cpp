#include "values/PrimitiveCodec.h"

#include <stdexcept>

namespace kr::zero::io {

void failFixedWidthRead() {
  throw std::runtime_error("Invalid input of decodePrimitiveFromBinaryInLittleEndian");
}

namespace {

/// Checks the value and writes the marks of element mode.
/// @return whether the number follows.
bool openValue(ByteBuffer& out, const Value& value, bool elementMode, const StandardTypeRow& row) {
  if (!elementMode) {
    requireStandardType(value.getMeta(), row);
    return true;
  }
  requireEntryStandardType(value.getMeta(), row);
  const bool present = value.hasCell() && value.getMeta().getFlags() == ValueFlags::single;
  out.push(present ? kPresentMark : kAbsentMark);
  return present;
}

template <class T>
void encodeNumber(ByteBuffer& out, const Value& value, bool elementMode, const StandardTypeRow& row) {
  if (!openValue(out, value, elementMode, row)) return;
  const T number = value.get<T>();
  std::uint8_t bytes[sizeof(T)];
  std::memcpy(bytes, &number, sizeof(T));
  if constexpr (!hostIsLittleEndian) std::reverse(bytes, bytes + sizeof(T));
  out.append(bytes, sizeof(T));
}

void encodeBoolean(ByteBuffer& out, const Value& value, bool elementMode) {
  if (openValue(out, value, elementMode, rows::boolean)) out.push(value.get<std::uint8_t>() != 0 ? 1 : 2);
}

}  // namespace

void encodePrimitive(PrimitiveCode code, ByteBuffer& out, const Value& value, bool elementMode) {
  switch (code) {
    case PrimitiveCode::boolean:
      return encodeBoolean(out, value, elementMode);
    case PrimitiveCode::uinteger8:
      return encodeNumber<std::uint8_t>(out, value, elementMode, rows::uinteger8);
    case PrimitiveCode::uinteger16:
      return encodeNumber<std::uint16_t>(out, value, elementMode, rows::uinteger16);
    case PrimitiveCode::unlimitedNatural:
      return encodeNumber<std::uint32_t>(out, value, elementMode, rows::unlimitedNatural);
    case PrimitiveCode::uinteger64:
      return encodeNumber<std::uint64_t>(out, value, elementMode, rows::uinteger64);
    case PrimitiveCode::integer8:
      return encodeNumber<std::int8_t>(out, value, elementMode, rows::integer8);
    case PrimitiveCode::integer16:
      return encodeNumber<std::int16_t>(out, value, elementMode, rows::integer16);
    case PrimitiveCode::integer:
    case PrimitiveCode::enumeration:
      return encodeNumber<std::int32_t>(out, value, elementMode, rows::integer);
    case PrimitiveCode::integer64:
      return encodeNumber<std::int64_t>(out, value, elementMode, rows::integer64);
    case PrimitiveCode::real:
      return encodeNumber<double>(out, value, elementMode, rows::real);
    default:
      return;
  }
}

}  // namespace kr::zero::io
