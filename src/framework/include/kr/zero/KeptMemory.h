/// @file
/// How much memory a reader or writer keeps from one document for the next.
#pragma once

#include <cstddef>

namespace kr::zero {

/// What a buffer or table may keep: one of the next document needs no memory from the system as long as it is
/// small, and one large document does not stay the price of all that follow.
inline constexpr std::size_t kMostKeptBytes = std::size_t{64} << 10;

/// Empties a vector, string or hash table, and gives its memory back where that is more than may be kept.
template <class Container>
void clearAndGiveBack(Container& container) noexcept {
  std::size_t bytes = 0;
  if constexpr (requires { container.bucket_count(); })
    bytes = container.bucket_count() * sizeof(void*);
  else
    bytes = container.capacity() * sizeof(typename Container::value_type);
  if (bytes > kMostKeptBytes)
    Container().swap(container);
  else
    container.clear();
}

}  // namespace kr::zero
