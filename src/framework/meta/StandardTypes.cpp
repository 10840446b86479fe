#include "kr/zero/meta/StandardTypes.h"

#include <algorithm>

#include "meta/StandardTypeTable.h"

namespace kr::zero::meta {

constinit LazyPrimitiveType StandardTypes::booleanMeta;
constinit LazyPrimitiveType StandardTypes::integer8Meta;
constinit LazyPrimitiveType StandardTypes::uinteger8Meta;
constinit LazyPrimitiveType StandardTypes::integer16Meta;
constinit LazyPrimitiveType StandardTypes::uinteger16Meta;
constinit LazyPrimitiveType StandardTypes::integerMeta;
constinit LazyPrimitiveType StandardTypes::unlimitedNaturalMeta;
constinit LazyPrimitiveType StandardTypes::integer64Meta;
constinit LazyPrimitiveType StandardTypes::uinteger64Meta;
constinit LazyPrimitiveType StandardTypes::realMeta;
constinit LazyPrimitiveType StandardTypes::stringMeta;
constinit LazyPrimitiveType StandardTypes::stdstringMeta;
constinit LazyPrimitiveType StandardTypes::uuidMeta;
constinit LazyPrimitiveType StandardTypes::dateTimeMeta;
constinit LazyPrimitiveType StandardTypes::jsonValueMeta;
constinit LazyPrimitiveType StandardTypes::stringToStringMapMeta;
constinit LazyPrimitiveType StandardTypes::zoArrayMeta;

PrimitiveType internal::getPrimitiveTypeFromMetaRegistry(const ustring& name) {
  const auto& types = getStandardTypes();
  const auto it = std::find_if(types.begin(), types.end(),
                               [&name](const auto& type) { return type->getQualifiedName() == name; });
  return it == types.end() ? PrimitiveType() : PrimitiveType(it->get());
}

}  // namespace kr::zero::meta
