/// @file
/// Internal: what becomes of the literals of an enumeration.
#pragma once

#include <functional>
#include <string>

#include "kr/zero/evolution/SchemaDiff.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::evolution {

/// What becomes of values of a literal that are read as those of an enumeration.
/// @param newName what the literal is called there.
Effects fateOf(meta::Enum before, const meta::EnumLiteral& literal, meta::Enum after,
               const std::string& newName);

/// The worst of all literals.
Effects worstFate(meta::Enum before, meta::Enum after);

/// Hears of changes.
using Report = std::function<void(SchemaChange)>;

/// @param renames see CompareOptions.
void compareLiterals(meta::Enum before, meta::Enum after, const std::map<std::string, std::string>& renames,
                     const Report& report);

}  // namespace kr::zero::evolution
