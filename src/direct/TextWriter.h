/// @file
/// Internal: texts as the direct format has them, a length and UTF-8.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "direct/Numbers.h"
#include "values/ByteBuffer.h"

namespace kr::zero::io {

/// Appends texts; ASCII goes straight into the buffer, without a string between.
class TextWriter {
 public:
  /// What a text of a size takes at most, as far as it is ASCII.
  static constexpr std::size_t roomFor(std::u16string_view text) noexcept {
    return text.size() + direct::kMostNumberBytes;
  }

  /// @throws Error<kr0::io::CannotSerialize> for a surrogate that stands alone; nothing is appended then.
  void append(values::ByteBuffer& out, std::u16string_view text) {
    put(out, out.makeRoom(roomFor(text)), text);
  }

  /// Appends what was written from makeRoom()'s place up to `end`, and then a text.
  /// @param end has roomFor(text) behind it.
  void put(values::ByteBuffer& out, std::uint8_t* end, std::u16string_view text) {
    std::uint8_t* const bytes = direct::encodeNumber(text.size(), end);
    if (narrowAscii(text.data(), text.size(), bytes)) return out.setEnd(bytes + text.size());
    out.setEnd(end);
    appendOther(out, text);
  }

 private:
  using Narrow4 __attribute__((vector_size(4))) = std::uint8_t;
  using Narrow8 __attribute__((vector_size(8))) = std::uint8_t;
  using Wide4 __attribute__((vector_size(8))) = std::uint16_t;
  using Wide8 __attribute__((vector_size(16))) = std::uint16_t;

  /// Writes the low bytes of a block of units.
  /// @return the units.
  template <class Wide, class Narrow>
  static Wide narrowBlock(const char16_t* in, std::uint8_t* out) {
    Wide units;
    std::memcpy(&units, in, sizeof units);
    const Narrow bytes = __builtin_convertvector(units, Narrow);
    std::memcpy(out, &bytes, sizeof bytes);
    return units;
  }

  template <class Wide>
  static bool isAscii(Wide units) {
    std::array<std::uint64_t, sizeof units / 8> words;
    std::memcpy(words.data(), &units, sizeof units);
    std::uint64_t bits = 0;
    for (const std::uint64_t word : words) bits |= word;
    return (bits & 0xFF80FF80FF80FF80) == 0;
  }

  /// Writes ASCII units as bytes. Blocks may share units, so that there is no loop over what is left: its
  /// end is what a processor cannot foresee.
  /// @return whether all were ASCII; otherwise what was written is of no use.
  static bool narrowAscii(const char16_t* in, std::size_t size, std::uint8_t* out) {
    if (size >= 8) {
      const std::size_t last = size - 8;
      Wide8 bits = narrowBlock<Wide8, Narrow8>(in + last, out + last);
      for (std::size_t at = 0; at < last; at += 8) bits |= narrowBlock<Wide8, Narrow8>(in + at, out + at);
      return isAscii(bits);
    }
    if (size >= 4) {
      const Wide4 bits = narrowBlock<Wide4, Narrow4>(in, out);
      return isAscii(bits | narrowBlock<Wide4, Narrow4>(in + size - 4, out + size - 4));
    }
    if (size == 0) return true;
    const unsigned first = in[0], middle = in[size / 2], last = in[size - 1];
    out[0] = static_cast<std::uint8_t>(first);
    out[size / 2] = static_cast<std::uint8_t>(middle);
    out[size - 1] = static_cast<std::uint8_t>(last);
    return (first | middle | last) < 0x80;
  }

  void appendOther(values::ByteBuffer& out, std::u16string_view text);

  std::string utf8_;  // used again and again
};

}  // namespace kr::zero::io
