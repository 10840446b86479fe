#include "values/TypeCode.h"

#include <bit>

namespace kr::zero::io::values {

namespace {

constexpr TypeCode codeOf(const meta::StandardTypeInfo& info) {
  const auto after = [&info](TypeCode first) {
    return static_cast<TypeCode>(static_cast<int>(first) + std::countr_zero(unsigned{info.width}));
  };
  switch (info.kind) {
    case meta::StandardKind::boolean:
      return TypeCode::boolean;
    case meta::StandardKind::unsignedInteger:
      return after(TypeCode::uinteger8);
    case meta::StandardKind::signedInteger:
      return after(TypeCode::integer8);
    case meta::StandardKind::real:
      return TypeCode::real;
    default:  // texts, and what travels as one
      return TypeCode::standardText;
  }
}

}  // namespace

meta::StandardType standardTypeOf(TypeCode code) noexcept {
  if (code == TypeCode::enumeration) return meta::StandardType::integer;
  for (const meta::StandardTypeInfo& info : meta::kStandardTypes)
    if (info.isNumber() && codeOf(info) == code) return info.type;
  return meta::StandardType::none;
}

TypeCode typeCodeOf(meta::Type type) {
  if (zero::internal::isEnumType(type)) return TypeCode::enumeration;
  const meta::PrimitiveType primitive(type);
  if (!primitive) return TypeCode::structured;
  const meta::StandardType standard = primitive->getStandardType();
  return standard == meta::StandardType::none ? TypeCode::userDefined : codeOf(meta::infoOf(standard));
}

}  // namespace kr::zero::io::values
