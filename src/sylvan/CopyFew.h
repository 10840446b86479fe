/// @file
/// Internal: copies short strings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kr::zero::io::tagged {

/// Copies the first and the last `width` of `size` bytes, width <= size <= 2 * width: so all of them.
template <std::size_t width>
void copyBothEnds(char* to, const char* from, std::size_t size) {
  char first[width];
  char last[width];
  std::memcpy(first, from, width);
  std::memcpy(last, from + size - width, width);
  std::memcpy(to, first, width);
  std::memcpy(to + size - width, last, width);
}

/// std::memcpy() for sizes that vary from call to call and are mostly small. Calling the one of the C library
/// for each name and text of a document was half of the time that reading it took.
inline void copyFew(char* to, const char* from, std::size_t size) {
  if (size > 16) {
    std::memcpy(to, from, size);
  } else if (size >= 8) {
    copyBothEnds<8>(to, from, size);
  } else if (size >= 4) {
    copyBothEnds<4>(to, from, size);
  } else if (size >= 2) {
    copyBothEnds<2>(to, from, size);
  } else if (size == 1) {
    *to = *from;
  }
}

}  // namespace kr::zero::io::tagged
