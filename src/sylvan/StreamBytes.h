/// @file
/// Internal: fetches bytes from a stream's buffer at the price of a memory access, and leaves the stream as
/// if each had been fetched by peek() and get().
///
/// The two cost a sentry each, so they are only called where they may do more than move the buffer's
/// position: when the buffer has nothing left (they call it, look at its answer and set the stream's
/// state), and when the stream is not good (they fail).
#pragma once

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <streambuf>
#include <string>

#include "kr/zero/io/BinaryAssembler.h"

namespace kr::zero::io::tagged {

/// The part of a stream buffer's input that is in memory already.
class GetArea : private std::streambuf {
 public:
  static const char* getNext(const std::streambuf& buffer) { return (buffer.*&GetArea::gptr)(); }
  static std::size_t getSize(const std::streambuf& buffer) {
    return static_cast<std::size_t>((buffer.*&GetArea::egptr)() - (buffer.*&GetArea::gptr)());
  }
  /// @param count at most getSize() and INT_MAX.
  static void skip(std::streambuf& buffer, std::size_t count) {
    (buffer.*&GetArea::gbump)(static_cast<int>(count));
  }
};

class StreamBytes {
 public:
  /// Begins to read from a source, which must stay where it is until the next call.
  void attach(BinaryAssembler::Source& source) {
    source_ = &source;
    state_ = &source.stream();
    offset_ = 0;
    detail_ = "";
  }
  /// There is no source; what is said of the document is that it could not be had.
  void detach(const char* detail) {
    source_ = nullptr;
    state_ = nullptr;
    offset_ = 0;
    detail_ = detail;
  }

  /// Bytes taken since attach().
  std::uint64_t getOffset() const noexcept { return offset_; }
  const char* getDetail() const noexcept { return detail_; }

  bool isEmpty() { return countReady() == 0 && source_->isEmpty(); }

  /// @param cut says what is cut short where there is no byte.
  unsigned char take(const char* cut) {
    if (countReady() == 0) return takeSlowly(cut);
    const char byte = *GetArea::getNext(*state_->rdbuf());
    skip(1);
    return static_cast<unsigned char>(byte);
  }

  /// Takes `width` bytes. On failure some of them may have been taken.
  void take(std::uint8_t* to, std::size_t width, const char* cut) {
    if (countReady() < width) {
      for (std::size_t i = 0; i < width; ++i) to[i] = take(cut);
      return;
    }
    std::memcpy(to, GetArea::getNext(*state_->rdbuf()), width);
    skip(width);
  }

  /// Appends `count` bytes. On failure some of them may have been taken and appended.
  void append(std::string& to, std::uint64_t count, const char* cut);

  /// Raises "CorruptInput" and keeps what there is to say about it.
  [[noreturn]] void fail(const char* detail);

 private:
  // Bytes that need neither a call of the buffer nor a look at the stream's state.
  std::size_t countReady() const {
    const std::streambuf* const buffer = state_->rdbuf();
    return state_->good() ? GetArea::getSize(*buffer) : 0;
  }
  void skip(std::size_t count) {
    GetArea::skip(*state_->rdbuf(), count);
    offset_ += count;
  }
  unsigned char takeSlowly(const char* cut);

  BinaryAssembler::Source* source_ = nullptr;
  std::ios* state_ = nullptr;  // of the source's stream
  std::uint64_t offset_ = 0;
  const char* detail_ = "";
};

}  // namespace kr::zero::io::tagged
