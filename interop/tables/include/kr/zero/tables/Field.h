/// @file
/// A value in a table, and how it is spelt in text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "kr/zero/tables/export.h"

namespace kr::zero::tables {

/// A value in a table: none, a Boolean, a number or a text in UTF-8. A text is a view: whoever gives a field
/// tells how long it is good.
using Field = std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string_view>;

/// Appends a field as CSV (RFC 4180) has it: nothing for none, `""` for an empty text, quotes where the text
/// needs them, numbers in the shortest form that reads back the same.
KR0_TABLES_API void appendCsv(std::string& out, const Field& field);

/// Appends a field as a JSON value: null for none; numbers of 2^53 and more, up and down, and reals that are
/// not finite as texts.
KR0_TABLES_API void appendJson(std::string& out, const Field& field);

}  // namespace kr::zero::tables
