#include "values/StandardTypeChecks.h"

#include "errors/MessageIds.h"
#include "errors/Raise.h"

namespace kr::zero::io {

namespace {

[[noreturn]] void refuse(const ValueMeta& meta) {
  const meta::Type type = meta.getType();
  errors::raise<kr0::messages::CannotCastIncompatibleTypes>(
      errors::cannotCastIncompatibleTypes(type ? type->getQualifiedName() : ustring()));
}

}  // namespace

bool isStandardType(meta::Type type, const StandardTypeRow& row) {
  if (!row.handle) row.handle.fill(meta::internal::getPrimitiveTypeFromMetaRegistry(row.name));
  return type == row.handle;
}

void requireStandardType(const ValueMeta& meta, const StandardTypeRow& row) {
  const bool fits = meta.getFlags() == ValueFlags::single &&
                    (isStandardType(meta.getType(), row) ||
                     (row.acceptsEnumerations && kr::zero::internal::isEnumType(meta.getType())));
  if (!fits) refuse(meta);
}

void requireEntryStandardType(const ValueMeta& meta, const StandardTypeRow& row) {
  const ValueMeta entry = meta.getEntryType();
  const bool fits = meta.getFlags() < ValueFlags::collection && entry.getFlags() == ValueFlags::single &&
                    isStandardType(entry.getType(), row);
  if (!fits) refuse(meta);
}

}  // namespace kr::zero::io
