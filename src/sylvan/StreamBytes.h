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
  static const char* getEnd(const std::streambuf& buffer) { return (buffer.*&GetArea::egptr)(); }
  static std::size_t getSize(const std::streambuf& buffer) {
    return static_cast<std::size_t>(getEnd(buffer) - getNext(buffer));
  }
  /// @param count at most getSize() and INT_MAX.
  static void skip(std::streambuf& buffer, std::size_t count) {
    (buffer.*&GetArea::gbump)(static_cast<int>(count));
  }
};

/// Takes bytes out of a stretch of memory that the stream's buffer has ready, and moves the buffer's own
/// position only when somebody may look at it.
class StreamBytes {
 public:
  /// Begins to read from a source, which must stay where it is until finish().
  /// @param isShared others see the stream too: between release() and resume() it is as they expect.
  void attach(BinaryAssembler::Source& source, bool isShared);
  /// Reading ends, and the source may go. Offset and detail stay.
  void finish() noexcept;
  /// Nothing was taken: for before attach(), or in its place where there is no source.
  /// @param detail why the document could not be had, where that is known.
  void forget(const char* detail = "") noexcept;

  /// Before and after others may look at the stream, or read from it; release() also when reading ends.
  void release() {
    if (isShared_) commit();
  }
  /// @return whether the bytes that lie in memory are others now.
  bool resume() {
    if (!isShared_ || isAsReleased()) return false;
    load();
    return true;
  }

  bool isShared() const noexcept { return isShared_; }

  /// The bytes that lie in memory, and how far somebody else has taken them. These hold until the next call
  /// that takes a byte or asks for one; where the stream is shared, until release().
  const char* getNext() const noexcept { return next_; }
  const char* getEnd() const noexcept { return end_; }
  void moveTo(const char* next) noexcept { next_ = next; }

  /// Bytes taken since forget().
  std::uint64_t getOffset() const noexcept { return offset_ + static_cast<std::uint64_t>(next_ - begin_); }
  const char* getDetail() const noexcept { return detail_; }

  bool isEmpty() { return next_ == end_ && isEmptySlowly(); }

  /// @param cut says what is cut short where there is no byte.
  unsigned char take(const char* cut) {
    return next_ != end_ ? static_cast<unsigned char>(*next_++) : takeSlowly(cut);
  }

  /// Takes `width` bytes. On failure some of them may have been taken.
  void take(std::uint8_t* to, std::size_t width, const char* cut) {
    if (const char* const ready = takeReady(width); ready != nullptr)
      std::memcpy(to, ready, width);
    else
      for (std::size_t i = 0; i < width; ++i) to[i] = take(cut);
  }

  /// Takes `count` bytes where they lie in memory, which they do until the next byte is taken, or returns
  /// null and takes nothing.
  const char* takeReady(std::uint64_t count) noexcept {
    if (count > static_cast<std::uint64_t>(end_ - next_)) return nullptr;
    const char* const ready = next_;
    next_ += count;
    return ready;
  }

  /// Appends `count` bytes. On failure some of them may have been taken and appended.
  void append(std::string& to, std::uint64_t count, const char* cut);

  /// Raises "CorruptInput" and keeps what there is to say about it.
  [[noreturn]] void fail(const char* detail);

 private:
  // Nearly always so: asking lets a reader keep its place in a register instead of waiting for what the
  // buffer has in memory, which made reading three times as slow.
  bool isAsReleased() const {
    if (!state_->good()) return false;  // there may be no buffer at all
    const std::streambuf& buffer = *state_->rdbuf();
    return GetArea::getNext(buffer) == next_ && GetArea::getEnd(buffer) == end_;
  }
  void load();
  void commit() {
    if (next_ == begin_) return;
    const auto taken = static_cast<std::size_t>(next_ - begin_);
    GetArea::skip(*state_->rdbuf(), taken);
    offset_ += taken;
    begin_ = next_;
  }
  bool isEmptySlowly();
  unsigned char takeSlowly(const char* cut);

  BinaryAssembler::Source* source_ = nullptr;
  std::ios* state_ = nullptr;  // of the source's stream
  bool isShared_ = false;
  // Bytes that need neither a call of the buffer nor a look at the stream's state: the buffer's position
  // is at begin_, ours at next_.
  const char* begin_ = nullptr;
  const char* next_ = nullptr;
  const char* end_ = nullptr;
  std::uint64_t offset_ = 0;  // of begin_
  const char* detail_ = "";
};

}  // namespace kr::zero::io::tagged
