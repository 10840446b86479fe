#include "values/ByteBuffer.h"

#include <algorithm>
#include <limits>
#include <new>

namespace kr::zero::io::values {

void ByteBuffer::growBy(std::size_t count) {
  constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max());
  if (count > kMost - size()) throw std::bad_alloc();
  grow(std::max({size() + count, capacity() * 2, std::size_t{64}}));  // memory that there is can be doubled
}

// Large memory is moved by its pages: nothing is copied, and old and new are never there both.
void ByteBuffer::grow(std::size_t capacity) {
  const std::size_t size = this->size();
  void* const moved = std::realloc(bytes_.get(), capacity);
  if (moved == nullptr) throw std::bad_alloc();
  static_cast<void>(bytes_.release());
  bytes_.reset(static_cast<std::uint8_t*>(moved));
  end_ = bytes_.get() + size;
  limit_ = bytes_.get() + capacity;
}

}  // namespace kr::zero::io::values
