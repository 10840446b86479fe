/// @file
/// Internal: a place in the input that the compiler can keep in a register.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "direct/ByteReader.h"

namespace kr::zero::io {

/// Reads what is usual by itself and leaves the rest, errors too, to the reader. To have its position in
/// memory costs a store and a load between any two units of a document: a fifth of the time of the driver.
///
/// Whoever calls something that may throw, or that reads, calls sync() before, and reload() after it has
/// read.
class Cursor {
 private:
  template <class Read>
  [[gnu::always_inline]] auto readOther(Read read) {
    const auto result = read(sync());
    reload();
    return result;
  }

 public:
  explicit Cursor(ByteReader& reader) : at_(reader.position), end_(reader.end), reader_(reader) {}

  bool isAtEnd() const noexcept { return at_ == end_; }
  const std::uint8_t* position() const noexcept { return at_; }
  std::size_t getRemaining() const noexcept { return static_cast<std::size_t>(end_ - at_); }
  void skip(std::size_t bytes) noexcept { at_ += bytes; }
  ByteReader& sync() noexcept {
    reader_.position = at_;
    return reader_;
  }
  void reload() noexcept { at_ = reader_.position; }

  [[gnu::always_inline]] std::uint64_t readNumber() {
    if (at_ != end_ && *at_ < direct::kMoreGroups) return *at_++;
    return readOther([](ByteReader& reader) { return reader.readNumber(); });
  }
  [[gnu::always_inline]] std::uint8_t readByte() {
    if (at_ != end_) return *at_++;
    return readOther([](ByteReader& reader) { return reader.readByte(); });
  }
  /// Reads a number that says nothing.
  [[gnu::always_inline]] void skipNumber() {
    for (const std::uint8_t* at = at_; at != end_;)
      if (*at++ < direct::kMoreGroups) {
        at_ = at;
        return;
      }
    readNumber();  // fails
  }
  [[gnu::always_inline]] std::uint64_t readCount() {
    if (at_ != end_ && *at_ < direct::kMoreGroups && *at_ < end_ - at_) return *at_++;
    return readOther([](ByteReader& reader) { return reader.readCount(); });
  }
  [[gnu::always_inline]] std::string_view readText() {
    if (at_ != end_ && *at_ < direct::kMoreGroups && *at_ < end_ - at_) {
      const std::string_view text(reinterpret_cast<const char*>(at_ + 1), *at_);
      at_ += 1 + text.size();
      return text;
    }
    return readOther([](ByteReader& reader) { return reader.readText(); });
  }
  [[gnu::always_inline]] std::string_view readWellFormed() {
    const std::string_view text = readText();
    sync().requireWellFormed(text);
    return text;
  }

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
  ByteReader& reader_;
};

}  // namespace kr::zero::io
