/// @file
/// Internal: names as sentences show them.
#pragma once

#include <string>
#include <string_view>

#include "kr/zero/meta/Type.h"

namespace kr::zero::evolution {

inline std::string inQuotes(std::string_view text) { return '"' + std::string(text) + '"'; }

/// "shelf.Book.pages"
inline std::string qualifiedName(meta::Property property) {
  return property->getOwner()->qualifiedName() + '.' + property->name();
}

}  // namespace kr::zero::evolution
