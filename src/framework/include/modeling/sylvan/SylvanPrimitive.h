/// @file
/// The leaf value of a tree of events.
///
///     SylvanPrimitive name{std::string("title")};
///     assert(name.index() == 5);
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>

namespace modeling::sylvan {

/// A value of one of six kinds. The position of the alternative, index(), is the number of its kind;
/// codecs choose their tags by it: 0 boolean, 1 null, 2 real (binary64), 3 unsigned integer, 4 signed
/// integer, 5 string (bytes, of no encoding that this type would know). Kinds are not interchangeable:
/// an unsigned 5 and a signed 5 are different primitives.
///
/// A primitive that an assignment which threw left without alternative raises std::bad_variant_access
/// when it is visited.
using SylvanPrimitive = std::variant<bool, std::nullptr_t, double, std::uint64_t, std::int64_t, std::string>;

}  // namespace modeling::sylvan
