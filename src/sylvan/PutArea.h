/// @file
/// Internal: writes into a stream's buffer at the price of a memory access.
#pragma once

#include <algorithm>
#include <climits>
#include <cstddef>
#include <ostream>
#include <streambuf>

#include "sylvan/CopyFew.h"

namespace kr::zero::io::tagged {

/// The part of a stream buffer's output that has room in memory.
class PutArea : private std::streambuf {
 public:
  /// Writes all bytes and changes nothing that put() would not change, or does nothing and returns false:
  /// where the buffer has too little room, or where put() would do more than copy the byte.
  static bool write(std::ostream& stream, const char* bytes, std::size_t count) {
    const bool isPlain =
        stream.good() && stream.tie() == nullptr && (stream.flags() & std::ios_base::unitbuf) == 0;
    if (!isPlain || count > getRoom(*stream.rdbuf())) return false;
    copy(*stream.rdbuf(), bytes, count);
    return true;
  }

 private:
  // No more than pbump() can count.
  static std::size_t getRoom(const std::streambuf& buffer) {
    const auto room = static_cast<std::size_t>((buffer.*&PutArea::epptr)() - (buffer.*&PutArea::pptr)());
    return std::min(room, std::size_t{INT_MAX});
  }
  static void copy(std::streambuf& buffer, const char* bytes, std::size_t count) {
    copyFew((buffer.*&PutArea::pptr)(), bytes, count);
    (buffer.*&PutArea::pbump)(static_cast<int>(count));
  }
};

}  // namespace kr::zero::io::tagged
