#include "values/PrimitiveEncoding.h"

namespace kr::zero::io::values {

void encodePrimitive(ByteBuffer& out, TypeCode code, const Value& value, bool elementMode) {
  withFixedWidthRow(standardTypeOf(code),
                    [&]<class Row>(Row) { encodePrimitive<Row>(out, value, elementMode); });
}

}  // namespace kr::zero::io::values
