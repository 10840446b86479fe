#include "direct/TextWriter.h"

#include <array>
#include <cstdint>
#include <cstring>

#include "direct/Numbers.h"
#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "fl/i18n/converter.h"

namespace kr::zero::io {

namespace {

constexpr std::size_t kBlock = 8;  // units that one vector holds

using Wide __attribute__((vector_size(kBlock * sizeof(char16_t)))) = std::uint16_t;
using Narrow __attribute__((vector_size(kBlock))) = std::uint8_t;

/// Writes the low bytes of a block of units.
/// @return the units.
Wide narrowBlock(const char16_t* in, std::uint8_t* out) {
  Wide units;
  std::memcpy(&units, in, sizeof units);
  const Narrow bytes = __builtin_convertvector(units, Narrow);
  std::memcpy(out, &bytes, sizeof bytes);
  return units;
}

bool isAscii(Wide bits) {
  std::array<std::uint64_t, 2> words;
  std::memcpy(words.data(), &bits, sizeof words);
  return ((words[0] | words[1]) & 0xFF80FF80FF80FF80) == 0;
}

/// Writes ASCII units as bytes.
/// @return whether all were ASCII; otherwise what was written is of no use.
bool narrowAscii(std::u16string_view text, std::uint8_t* out) {
  const char16_t* const in = text.data();
  if (text.size() < kBlock) {
    unsigned bits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      bits |= in[i];
      out[i] = static_cast<std::uint8_t>(in[i]);
    }
    return bits < 0x80;
  }
  const std::size_t last = text.size() - kBlock;  // may share units with the block before
  Wide bits = narrowBlock(in + last, out + last);
  for (std::size_t at = 0; at < last; at += kBlock) bits |= narrowBlock(in + at, out + at);
  return isAscii(bits);
}

const fl::i18n::codecvt_ustring_to_string& utf8Converter() {
  static const fl::i18n::codecvt_ustring_to_string converter("UTF8", true);
  return converter;
}

}  // namespace

void TextWriter::append(values::ByteBuffer& out, std::u16string_view text) {
  std::uint8_t* bytes =
      direct::encodeNumber(text.size(), out.makeRoom(text.size() + direct::kMostNumberBytes));
  if (narrowAscii(text, bytes)) return out.setEnd(bytes + text.size());
  if (!utf8Converter().convert(text, utf8_))
    errors::raise<kr0::io::CannotSerialize>(errors::cannotSerialize());
  bytes = direct::encodeNumber(utf8_.size(), out.makeRoom(utf8_.size() + direct::kMostNumberBytes));
  std::memcpy(bytes, utf8_.data(), utf8_.size());
  out.setEnd(bytes + utf8_.size());
}

}  // namespace kr::zero::io
