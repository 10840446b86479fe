/// @file
/// Internal: UTF-16 forms of UTF-8 texts on their way through an interface.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace fl::i18n::internal {

/// Strings that are used again and again. Short ones have one each for every length: to change the length
/// of a string costs more than to widen a text of that length.
class Utf16Scratch {
 public:
  /// @return the text, which stays until the next call; null where it is not well-formed UTF-8.
  const std::u16string* widen(std::string_view utf8) {
    if (utf8.size() < short_.size()) {
      std::u16string& text = short_[utf8.size()];
      if (text.size() != utf8.size()) text.resize(utf8.size());
      if (widenAscii(utf8.data(), utf8.size(), text.data())) return &text;
    }
    return widenOther(utf8);
  }

 private:
  using Narrow4 __attribute__((vector_size(4))) = std::uint8_t;
  using Narrow8 __attribute__((vector_size(8))) = std::uint8_t;
  using Wide4 __attribute__((vector_size(8))) = std::uint16_t;
  using Wide8 __attribute__((vector_size(16))) = std::uint16_t;

  /// @return the bytes.
  template <class Narrow, class Wide>
  static Narrow widenBlock(const char* in, char16_t* out) {
    Narrow bytes;
    std::memcpy(&bytes, in, sizeof bytes);
    const Wide units = widenUnits(bytes);
    std::memcpy(out, &units, sizeof units);
    return bytes;
  }
  static Wide4 widenUnits(Narrow4 bytes) { return __builtin_convertvector(bytes, Wide4); }
  /// One instruction, where the conversion would take three.
  static Wide8 widenUnits(Narrow8 bytes) {
    if (std::endian::native != std::endian::little) return __builtin_convertvector(bytes, Wide8);
    using Bytes __attribute__((vector_size(16))) = std::uint8_t;
    const std::uint64_t word = std::bit_cast<std::uint64_t>(bytes);
    using Words __attribute__((vector_size(16))) = std::uint64_t;
    const Words words{word, 0};
    return std::bit_cast<Wide8>(__builtin_shufflevector(std::bit_cast<Bytes>(words), Bytes{}, 0, 16, 1, 17, 2,
                                                        18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23));
  }

  template <class Narrow>
  static bool isAscii(Narrow bytes) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &bytes, sizeof bytes);
    return (bits & 0x8080808080808080) == 0;
  }

  /// Blocks may share units, so that there is no loop over what is left: its end is what a processor cannot
  /// foresee.
  /// @return whether all were ASCII; otherwise what was written is of no use.
  static bool widenAscii(const char* in, std::size_t size, char16_t* out) {
    if (size >= 8) {
      const std::size_t last = size - 8;
      Narrow8 bits = widenBlock<Narrow8, Wide8>(in + last, out + last);
      for (std::size_t at = 0; at < last; at += 8) bits |= widenBlock<Narrow8, Wide8>(in + at, out + at);
      return isAscii(bits);
    }
    if (size >= 4) {
      const Narrow4 bits = widenBlock<Narrow4, Wide4>(in, out);
      return isAscii(bits | widenBlock<Narrow4, Wide4>(in + size - 4, out + size - 4));
    }
    if (size == 0) return true;
    const auto unitAt = [in](std::size_t at) { return static_cast<unsigned char>(in[at]); };
    const unsigned char first = unitAt(0), middle = unitAt(size / 2), last = unitAt(size - 1);
    out[0] = first;
    out[size / 2] = middle;
    out[size - 1] = last;
    return (first | middle | last) < 0x80;
  }

  const std::u16string* widenOther(std::string_view utf8);

  std::array<std::u16string, 48> short_;
  std::u16string other_;
};

}  // namespace fl::i18n::internal
