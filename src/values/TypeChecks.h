/// @file
/// Internal. Which standard type a type is, and the checks that guard reading and writing.
#pragma once

#include "kr/zero/ValueMeta.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "values/StandardTypeRows.h"

namespace kr::zero::io::values {

/// Asks the registry for the row's type.
template <class Row>
[[gnu::noinline]] void fillHandle() {
  Row::handle.fill(meta::internal::getPrimitiveTypeFromMetaRegistry(Row::name));
}

/// Whether a type is the standard type of a row. Asks the registry for the row's type on first use.
template <class Row>
bool isStandardType(meta::Type type) {
  if (!Row::handle) fillHandle<Row>();
  return type == Row::handle;
}

/// @throws Error<kr0::messages::CannotCastIncompatibleTypes> with the name of the value's type.
[[noreturn]] void raiseIncompatibleTypes(const ValueMeta& meta);

/// Passes a single value of the row's type and, in an integer row, of any enumeration type.
/// @throws Error<kr0::messages::CannotCastIncompatibleTypes> otherwise.
template <class Row>
void requireStandardType(const ValueMeta& meta) {
  if (meta.getFlags() == ValueFlags::single) {
    if (isStandardType<Row>(meta.getType())) return;
    if (Row::acceptsEnumerations && zero::internal::isEnumType(meta.getType())) return;
  }
  raiseIncompatibleTypes(meta);
}

/// Passes a value with at most one entry, of exactly the row's type: no enumerations.
/// @throws Error<kr0::messages::CannotCastIncompatibleTypes> otherwise.
template <class Row>
void requireEntryStandardType(const ValueMeta& meta) {
  const ValueMeta entry = meta.getEntryType();
  if (meta.getFlags() < ValueFlags::collection && entry.getFlags() == ValueFlags::single &&
      isStandardType<Row>(entry.getType()))
    return;
  raiseIncompatibleTypes(meta);
}

}  // namespace kr::zero::io::values
