/// @file
/// Internal: texts from documents, fit for a terminal.
#pragma once

#include <string>
#include <string_view>

namespace kr::zero::tool {

/// Appends UTF-8 with "\u001b" and the like in place of what a terminal would obey: the control characters
/// of ASCII but the line feed, those of U+0080 to U+009F, and the marks that turn the direction of what
/// follows (U+061C, U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069). Inside JSON's strings this means the
/// same.
void appendVisible(std::string& out, std::string_view text);

/// A text as JSON writes it, with U+FFFD in place of bytes that are no UTF-8.
std::string inQuotes(std::string_view text);

/// A name as it is, or in quotes if it could be taken for something else than a part of its line.
std::string asName(std::string_view name);

/// A text in a single line, with blanks in place of control characters.
std::string asOneLine(std::string_view text);

}  // namespace kr::zero::tool
