#include "values/PrimitiveEncoding.h"

namespace kr::zero::io::values {

// In one piece: every typed value of a model goes through here.
[[gnu::flatten]] void encodePrimitive(ByteBuffer& out, TypeCode code, const Value& value, bool elementMode) {
  switch (code) {
    case TypeCode::boolean:
      return encodePrimitive<Boolean>(out, value, elementMode);
    case TypeCode::uinteger8:
      return encodePrimitive<UInteger8>(out, value, elementMode);
    case TypeCode::uinteger16:
      return encodePrimitive<UInteger16>(out, value, elementMode);
    case TypeCode::unlimitedNatural:
      return encodePrimitive<UnlimitedNatural>(out, value, elementMode);
    case TypeCode::uinteger64:
      return encodePrimitive<UInteger64>(out, value, elementMode);
    case TypeCode::integer8:
      return encodePrimitive<Integer8>(out, value, elementMode);
    case TypeCode::integer16:
      return encodePrimitive<Integer16>(out, value, elementMode);
    case TypeCode::integer:
    case TypeCode::enumeration:
      return encodePrimitive<Integer>(out, value, elementMode);
    case TypeCode::integer64:
      return encodePrimitive<Integer64>(out, value, elementMode);
    case TypeCode::real:
      return encodePrimitive<Real>(out, value, elementMode);
    case TypeCode::structured:
    case TypeCode::standardText:
    case TypeCode::userDefined:
      return;
  }
}

}  // namespace kr::zero::io::values
