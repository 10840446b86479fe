/// @file
/// Internal: numbers of the identities that a document makes for itself, ("#", number).
#pragma once

#include <cstdint>
#include <string_view>

namespace kr::zero::internal {

/// The value of a decimal text of at most nine digits as writers write it, or 0 for any other text.
inline std::uint32_t localNumber(std::string_view text) noexcept {
  if (text.empty() || text.size() > 9 || text[0] == '0') return 0;
  std::uint32_t number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return 0;
    number = number * 10 + static_cast<std::uint32_t>(c - '0');
  }
  return number;
}

}  // namespace kr::zero::internal
