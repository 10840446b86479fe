/// @file
/// Internal: which standard type a type is, and checks that a value is of one.
#pragma once

#include "kr/zero/Value.h"
#include "kr/zero/ValueMeta.h"
#include "kr/zero/meta/StandardTypes.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::io {

/// A standard type: its handle, its name, and whether enumerations may stand in for it.
struct StandardTypeRow {
  meta::LazyPrimitiveType& handle;
  const char16_t* name;
  bool acceptsEnumerations;
};

namespace rows {

inline StandardTypeRow integer8{meta::StandardTypes::integer8Meta, u"Integer8", true};
inline StandardTypeRow uinteger8{meta::StandardTypes::uinteger8Meta, u"UInteger8", true};
inline StandardTypeRow integer16{meta::StandardTypes::integer16Meta, u"Integer16", true};
inline StandardTypeRow uinteger16{meta::StandardTypes::uinteger16Meta, u"UInteger16", true};
inline StandardTypeRow integer{meta::StandardTypes::integerMeta, u"Integer", true};
inline StandardTypeRow unlimitedNatural{meta::StandardTypes::unlimitedNaturalMeta, u"UnlimitedNatural", true};
inline StandardTypeRow integer64{meta::StandardTypes::integer64Meta, u"Integer64", true};
inline StandardTypeRow uinteger64{meta::StandardTypes::uinteger64Meta, u"UInteger64", true};
inline StandardTypeRow real{meta::StandardTypes::realMeta, u"Real", false};
inline StandardTypeRow boolean{meta::StandardTypes::booleanMeta, u"Boolean", false};
inline StandardTypeRow string{meta::StandardTypes::stringMeta, u"String", false};
inline StandardTypeRow stdString{meta::StandardTypes::stdstringMeta, u"StdString", false};
inline StandardTypeRow dateTime{meta::StandardTypes::dateTimeMeta, u"DateTime", false};
inline StandardTypeRow uuid{meta::StandardTypes::uuidMeta, u"UUID", false};
// Carried as text only; the writer tells them from user-defined types.
inline StandardTypeRow jsonValue{meta::StandardTypes::jsonValueMeta, u"JsonValue", false};
inline StandardTypeRow stringToStringMap{meta::StandardTypes::stringToStringMapMeta, u"StringToStringMap",
                                         false};
inline StandardTypeRow zoArray{meta::StandardTypes::zoArrayMeta, u"ZoArray", false};

}  // namespace rows

/// Whether a type is the row's standard type, by identity. Fills the row's handle on first use.
bool isStandardType(meta::Type type, const StandardTypeRow& row);

/// Returns for a single value of the row's type (or of an enumeration, where the row accepts them).
/// @throws Error<kr0::messages::CannotCastIncompatibleTypes> otherwise.
void requireStandardType(const ValueMeta& meta, const StandardTypeRow& row);

/// The same for a value of an optional property: empty or single, of exactly the row's type.
void requireEntryStandardType(const ValueMeta& meta, const StandardTypeRow& row);

}  // namespace kr::zero::io
