#include "values/TypeCode.h"

#include "values/TypeChecks.h"

namespace kr::zero::io::values {

TypeCode typeCodeOf(meta::Type type) {
  if (zero::internal::isEnumType(type)) return TypeCode::enumeration;
  if (!type->isKindOf(meta::PrimitiveType::metaClass())) return TypeCode::structured;
  if (isStandardType<Boolean>(type)) return TypeCode::boolean;
  if (isStandardType<Integer8>(type)) return TypeCode::integer8;
  if (isStandardType<Integer16>(type)) return TypeCode::integer16;
  if (isStandardType<Integer>(type)) return TypeCode::integer;
  if (isStandardType<Integer64>(type)) return TypeCode::integer64;
  if (isStandardType<UInteger8>(type)) return TypeCode::uinteger8;
  if (isStandardType<UInteger16>(type)) return TypeCode::uinteger16;
  if (isStandardType<UnlimitedNatural>(type)) return TypeCode::unlimitedNatural;
  if (isStandardType<UInteger64>(type)) return TypeCode::uinteger64;
  if (isStandardType<Real>(type)) return TypeCode::real;
  const bool standard = isStandardType<String>(type) || isStandardType<StdString>(type) ||
                        isStandardType<Uuid>(type) || isStandardType<JsonValue>(type) ||
                        isStandardType<DateTime>(type) || isStandardType<StringToStringMap>(type) ||
                        isStandardType<ZoArray>(type);
  return standard ? TypeCode::standardText : TypeCode::userDefined;
}

}  // namespace kr::zero::io::values
