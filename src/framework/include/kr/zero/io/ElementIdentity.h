/// @file
/// The identity of an element in a document.
#pragma once

#include <cstdint>
#include <string_view>

namespace kr::zero::io {

/// Two texts; both are empty where an element has no identity. Most identities are ("#", number), which the
/// document makes for itself so that references can lead to elements that have none of their own.
struct ElementIdentity {
  std::uint32_t number = 0;  ///< not 0: the identity is ("#", number), and the texts mean nothing
  std::string_view id1;      ///< first part
  std::string_view id2;      ///< second part

  /// Whether there is no identity.
  bool isNone() const noexcept { return number == 0 && id1.empty() && id2.empty(); }
};

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

}  // namespace kr::zero::io
