/// @file
/// Internal: how the loader says no.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "kr/zero/meta/MetaRegistry.h"
#include "kr/zero/ustring.h"

namespace kr::zero::meta {

[[noreturn]] inline void fail(const std::string& where, const std::string& what) {
  throw MetaError({.path = where, .problem = what});
}

inline std::string inQuotes(std::string_view name) { return '"' + std::string(name) + '"'; }

/// UTF-16 of a text of a definition.
/// @param what the text's part in the definition, for the refusal of malformed UTF-8.
inline ustring checkedText(std::string_view text, const std::string& where, const char* what) {
  try {
    return toUstring(text);
  } catch (const std::invalid_argument&) {
    fail(where, std::string(what) + " is not well-formed UTF-8");
  }
}

/// The same for a name, which must not be empty.
inline ustring checkedName(std::string_view name, const std::string& where, const char* what) {
  if (name.empty()) fail(where, std::string(what) + " is empty");
  return checkedText(name, where, what);
}

}  // namespace kr::zero::meta
