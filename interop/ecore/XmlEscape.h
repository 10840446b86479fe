/// @file
/// Internal: texts as they stand in XML.
#pragma once

#include <string>
#include <string_view>

namespace kr::zero::ecore {

/// Appends a text so that a parser gives it back from the value of an attribute, or from character data.
/// @returns false where it holds a character that XML does not have; `out` is then of no use.
[[nodiscard]] bool appendAttributeText(std::string& out, std::string_view text);
[[nodiscard]] bool appendCharacterData(std::string& out, std::string_view text);

/// Whether a text can be a prefix or a name: letters, digits, "_", "-", "." and anything beyond ASCII, not
/// beginning with a digit, "-" or ".".
bool isXmlName(std::string_view text);

}  // namespace kr::zero::ecore
