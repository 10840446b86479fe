/// @file
/// Internal. A growing buffer of bytes with room that writers fill through a raw pointer.
///
///     std::uint8_t* out = buffer.makeRoom(3);
///     *out++ = 1;
///     buffer.setEnd(out);
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
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
  std::uint8_t* data() noexcept { return bytes_.get(); }
  std::size_t size() const noexcept { return static_cast<std::size_t>(end_ - bytes_.get()); }
  std::size_t capacity() const noexcept { return static_cast<std::size_t>(limit_ - bytes_.get()); }
  void clear() noexcept { end_ = bytes_.get(); }

  /// Makes the capacity at least this. The bytes stay; after an exception everything does.
  void reserve(std::size_t capacity) {
    if (capacity > this->capacity()) grow(capacity);
  }
  /// The place behind the last byte, with room for `count` more.
  std::uint8_t* makeRoom(std::size_t count) {
    if (count > static_cast<std::size_t>(limit_ - end_)) growBy(count);
    return end_;
  }
  /// Takes in what was written from makeRoom()'s place up to `end`, which lies within the room.
  void setEnd(std::uint8_t* end) noexcept { end_ = end; }

  void append(std::uint8_t byte) {
    *makeRoom(1) = byte;
    ++end_;
  }
  void append(const std::uint8_t* bytes, std::size_t count) {
    std::uint8_t* out = makeRoom(count);
    if (count != 0) std::memcpy(out, bytes, count);
    end_ += count;
  }

 private:
  void growBy(std::size_t count);
  void grow(std::size_t capacity);

  struct Free {
    void operator()(std::uint8_t* bytes) const noexcept { std::free(bytes); }
  };

  std::unique_ptr<std::uint8_t[], Free> bytes_;
  std::uint8_t* end_ = nullptr;    // behind the last byte
  std::uint8_t* limit_ = nullptr;  // behind the memory
};

}  // namespace kr::zero::io::values
