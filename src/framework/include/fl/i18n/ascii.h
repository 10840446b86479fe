/// @file
/// ASCII between UTF-8 and UTF-16, in blocks: nearly all texts are ASCII, and a call for each would cost more
/// than the conversion.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace fl::i18n::internal {

/// The bits that no ASCII unit has, in each unit of a word.
template <class Unit>
inline constexpr std::uint64_t kNotAscii = sizeof(Unit) == 1 ? 0x8080808080808080 : 0xFF80FF80FF80FF80;

/// A vector of units.
template <class Unit, std::size_t size>
using Block __attribute__((vector_size(size * sizeof(Unit)))) =
    std::conditional_t<sizeof(Unit) == 1, std::uint8_t, std::uint16_t>;

template <class Out, class In, std::size_t size>
Block<Out, size> convertBlock(Block<In, size> units) {
#if __has_builtin(__builtin_shufflevector)
  // One instruction, where the conversion takes three.
  if constexpr (sizeof(Out) > sizeof(In) && size == 8 && std::endian::native == std::endian::little) {
    using Words __attribute__((vector_size(16))) = std::uint64_t;
    const auto low = std::bit_cast<Block<In, 16>>(Words{std::bit_cast<std::uint64_t>(units), 0});
    return std::bit_cast<Block<Out, size>>(__builtin_shufflevector(low, Block<In, 16>{}, 0, 16, 1, 17, 2, 18,
                                                                   3, 19, 4, 20, 5, 21, 6, 22, 7, 23));
  }
#endif
  return __builtin_convertvector(units, Block<Out, size>);
}

/// @return the units that were copied.
template <std::size_t size, class In, class Out>
Block<In, size> copyBlock(const In* in, Out* out) {
  Block<In, size> units;
  std::memcpy(&units, in, sizeof units);
  const Block<Out, size> converted = convertBlock<Out, In, size>(units);
  std::memcpy(out, &converted, sizeof converted);
  return units;
}

/// Whether all units of a block are ASCII, or the units of all blocks that are or-ed together in it.
template <class In, std::size_t size>
bool isAscii(Block<In, size> units) {
  std::array<std::uint64_t, (sizeof units + 7) / 8> words{};
  std::memcpy(words.data(), &units, sizeof units);
  std::uint64_t bits = 0;
  for (const std::uint64_t word : words) bits |= word;
  return (bits & kNotAscii<In>) == 0;
}

/// Copies a text. Blocks may share units, so that there is no loop over what is left: its end is what a
/// processor cannot foresee.
/// @param out has room for `size` units.
/// @return whether all units were ASCII; otherwise what was written is of no use.
template <class In, class Out>
bool copyAscii(const In* in, std::size_t size, Out* out) {
  if (size >= 8) {
    const std::size_t last = size - 8;
    Block<In, 8> units = copyBlock<8>(in + last, out + last);
    for (std::size_t at = 0; at < last; at += 8) units |= copyBlock<8>(in + at, out + at);
    return isAscii<In, 8>(units);
  }
  if (size >= 4) {
    const Block<In, 4> units = copyBlock<4>(in, out);
    return isAscii<In, 4>(units | copyBlock<4>(in + size - 4, out + size - 4));
  }
  if (size == 0) return true;
  const auto unitAt = [in](std::size_t at) { return static_cast<std::make_unsigned_t<In>>(in[at]); };
  const unsigned first = unitAt(0), middle = unitAt(size / 2), last = unitAt(size - 1);
  out[0] = static_cast<Out>(first);
  out[size / 2] = static_cast<Out>(middle);
  out[size - 1] = static_cast<Out>(last);
  return (first | middle | last) < 0x80;
}

/// The same for a short text, and false for any other: a long one is likelier to hold some other letter, and
/// would then be gone through twice.
template <class In, class Out>
bool copyShortAscii(const In* in, std::size_t size, Out* out) {
  constexpr std::size_t kMost = 64;
  return size <= kMost && copyAscii(in, size, out);
}

}  // namespace fl::i18n::internal
