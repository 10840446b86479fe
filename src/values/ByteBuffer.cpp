#include "values/ByteBuffer.h"

#include <algorithm>
#include <limits>
#include <new>

namespace kr::zero::io::values {

void ByteBuffer::growBy(std::size_t count) {
  constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max());
  if (count > kMost - size()) throw std::bad_alloc();
  const std::size_t doubled = capacity() > kMost / 2 ? kMost : capacity() * 2;
  grow(std::max({size() + count, doubled, std::size_t{64}}));
}

void ByteBuffer::grow(std::size_t capacity) {
  std::unique_ptr<std::uint8_t[]> bytes(new std::uint8_t[capacity]);  // not filled with zeros
  const std::size_t size = this->size();
  if (size != 0) std::memcpy(bytes.get(), bytes_.get(), size);
  bytes_ = std::move(bytes);
  end_ = bytes_.get() + size;
  limit_ = bytes_.get() + capacity;
}

}  // namespace kr::zero::io::values
