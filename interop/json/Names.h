/// @file
/// Internal: the words of a JSON document that are none of the meta model's.
#pragma once

#include <cstdint>
#include <string_view>

namespace kr::zero::json {

inline constexpr std::string_view kVersionKey = "kr0";
inline constexpr std::uint64_t kVersion = 1;
inline constexpr std::string_view kPackagesKey = "packages";
inline constexpr std::string_view kRootsKey = "roots";
inline constexpr std::string_view kTypeKey = "$type";
inline constexpr std::string_view kIdentityKey = "$id";
inline constexpr std::string_view kReferenceKey = "$ref";
inline constexpr std::string_view kQualifierKey = "$document";
/// A property whose name begins with this mark, or is one of the words above, gets one more in front.
inline constexpr char kMark = '$';

/// Numbers that JSON's have no form for. Bits of an unusual one stand behind it in hexadecimal digits, in
/// parentheses.
inline constexpr std::string_view kNotANumber = "NaN";
inline constexpr std::string_view kInfinity = "Infinity";
inline constexpr std::string_view kMinusInfinity = "-Infinity";

/// What references to the roots of the document begin with; a JSON Pointer (RFC 6901) as a fragment.
inline constexpr std::string_view kRootPointer = "#/roots/";

}  // namespace kr::zero::json
