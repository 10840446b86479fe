/// @file
/// Internal: values as documents write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ClassTable.h"
#include "kr/zero/Model.h"

namespace kr::zero::ecore {

/// "true" and "false" in any case, "1" and "0"; blanks around it do not count.
std::optional<bool> parseBoolean(std::string_view text);
/// Decimal, with or without sign; blanks around it do not count.
std::optional<std::int64_t> parseInteger(std::string_view text);
/// Decimal with or without exponent, "NaN", "Infinity" or "INF"; blanks around it do not count.
/// @param isSinglePrecision the nearest number of 32 bits.
std::optional<double> parseReal(std::string_view text, bool isSinglePrecision);
/// The shortest text that reads back the same, written as Java does: "1.0", "2.5E-4", "Infinity".
/// @param isSinglePrecision what reads back is a number of 32 bits; `value` must be one.
std::string formatReal(double value, bool isSinglePrecision);

/// Gives a primitive feature a value, or one more, by its text in a document.
/// @returns why the text is not a value of the feature; empty where it is.
/// @throws ModelError where the model refuses it.
std::string putValue(Element element, const Feature& feature, std::string_view text);

/// The text of a value in a document. `scratch` may hold it.
/// @throws EcoreError for a literal whose text would read as another one, and a number that is no EFloat.
std::string_view valueText(ConstElement element, const Feature& feature, std::size_t position,
                           std::string& scratch);

}  // namespace kr::zero::ecore
