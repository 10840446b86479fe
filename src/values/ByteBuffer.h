/// @file
/// Internal. A growing buffer of bytes with room that writers fill through a raw pointer.
///
///     std::uint8_t* out = buffer.makeRoom(3);
///     *out++ = 1;
///     buffer.setEnd(out);
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace kr::zero::io::values {

/// Keeps its memory when it is cleared.
class ByteBuffer {
 public:
  ByteBuffer() = default;
  ByteBuffer(const ByteBuffer&) = delete;
  ByteBuffer& operator=(const ByteBuffer&) = delete;

  const std::uint8_t* data() const noexcept { return bytes_.get(); }
  std::size_t size() const noexcept { return size_; }
  std::size_t capacity() const noexcept { return capacity_; }
  void clear() noexcept { size_ = 0; }

  /// Makes the capacity at least this. The bytes stay; after an exception everything does.
  void reserve(std::size_t capacity) {
    if (capacity > capacity_) grow(capacity);
  }
  /// The place behind the last byte, with room for `count` more.
  std::uint8_t* makeRoom(std::size_t count) {
    if (count > capacity_ - size_) growBy(count);
    return bytes_.get() + size_;
  }
  /// Takes in what was written from makeRoom()'s place up to `end`, which lies within the room.
  void setEnd(const std::uint8_t* end) noexcept { size_ = static_cast<std::size_t>(end - bytes_.get()); }

  void append(std::uint8_t byte) {
    *makeRoom(1) = byte;
    ++size_;
  }
  void append(const std::uint8_t* bytes, std::size_t count) {
    std::uint8_t* out = makeRoom(count);
    if (count != 0) std::memcpy(out, bytes, count);
    size_ += count;
  }

 private:
  void growBy(std::size_t count);
  void grow(std::size_t capacity);

  std::unique_ptr<std::uint8_t[]> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace kr::zero::io::values
