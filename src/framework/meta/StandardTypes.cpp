#include "kr/zero/meta/StandardTypes.h"

#include <algorithm>

#include "meta/StandardTypeTable.h"

namespace kr::zero::meta {

#define KR0_ROW(enumerator, handle, Name, kind, Number) constinit LazyPrimitiveType StandardTypes::handle;
KR0_STANDARD_TYPES(KR0_ROW)
#undef KR0_ROW

PrimitiveType internal::getPrimitiveTypeFromMetaRegistry(const ustring& name) {
  const auto& types = getStandardTypes();
  const auto it = std::find_if(types.begin(), types.end(),
                               [&name](const auto& type) { return type->getQualifiedName() == name; });
  return it == types.end() ? PrimitiveType() : PrimitiveType(it->get());
}

}  // namespace kr::zero::meta
