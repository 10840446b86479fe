/// @file
/// Internal: a growing buffer of bytes that is cheap to append to.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace kr::zero::io {

/// Unlike std::vector it does not clear what it is about to overwrite, and appending a few bytes is a
/// comparison and a copy.
class ByteBuffer {
 public:
  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  const std::uint8_t* begin() const noexcept { return bytes_.get(); }
  const std::uint8_t* end() const noexcept { return bytes_.get() + size_; }
  /// Forgets the content and keeps the memory.
  void clear() noexcept { size_ = 0; }

  void reserve(std::size_t capacity) {
    if (capacity > capacity_) resizeTo(capacity);
  }
  void push(std::uint8_t byte) {
    if (size_ == capacity_) makeRoom(1);
    bytes_[size_++] = byte;
  }
  void append(const void* bytes, std::size_t size) {
    if (size > capacity_ - size_) makeRoom(size);
    if (size != 0) std::memcpy(bytes_.get() + size_, bytes, size);
    size_ += size;
  }
  /// Room for `most` bytes behind the content; commit() says how many of them were written.
  std::uint8_t* prepare(std::size_t most) {
    if (most > capacity_ - size_) makeRoom(most);
    return bytes_.get() + size_;
  }
  void commit(std::size_t written) noexcept { size_ += written; }

 private:
  void makeRoom(std::size_t more) {
    if (more > SIZE_MAX / 4 - size_) throw std::bad_alloc();
    resizeTo(std::max(size_ + more, capacity_ * 2));
  }
  void resizeTo(std::size_t capacity) {
    auto bigger = std::make_unique_for_overwrite<std::uint8_t[]>(capacity);
    if (size_ != 0) std::memcpy(bigger.get(), bytes_.get(), size_);
    bytes_ = std::move(bigger);
    capacity_ = capacity;
  }

  std::unique_ptr<std::uint8_t[]> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace kr::zero::io
