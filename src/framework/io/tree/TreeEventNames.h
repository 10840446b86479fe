/// @file
/// Internal: the entry names of a model's tree event document, for its writer and its reader.
#pragma once

#include <cstdint>
#include <string_view>

#include "modeling/sylvan/SylvanPrimitive.h"

namespace kr::zero::io::internal {

inline constexpr std::uint64_t kTreeDocumentVersion = 1;

/// What the start of the document carries.
inline constexpr const char* kTreeDocumentName = "KR0";

// Metadata of the document.
inline constexpr std::string_view kVersionEntry = "version";
inline constexpr std::string_view kPackagesEntry = "packages";

// Metadata of an object, and entries of a reference.
inline constexpr std::string_view kTypeEntry = "type";
inline constexpr std::string_view kIdEntry = "id";

// Entry of a reference into another document.
inline constexpr std::string_view kQualifierEntry = "qualifier";

}  // namespace kr::zero::io::internal
