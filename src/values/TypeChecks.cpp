#include "values/TypeChecks.h"

#include "errors/MessageIds.h"
#include "errors/Raise.h"

namespace kr::zero::io::values {

void raiseIncompatibleTypes(const ValueMeta& meta) {
  const meta::Type type = meta.getType();
  errors::raise<kr0::messages::CannotCastIncompatibleTypes>(
      errors::cannotCastIncompatibleTypes(type ? type->getQualifiedName() : ustring()));
}

}  // namespace kr::zero::io::values
