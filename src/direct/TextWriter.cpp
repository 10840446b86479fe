#include "direct/TextWriter.h"

#include <cstdint>
#include <cstring>

#include "direct/Numbers.h"
#include "errors/MessageIds.h"
#include "errors/Raise.h"
#include "fl/i18n/converter.h"

namespace kr::zero::io {

namespace {

constexpr std::size_t kBlock = 4;  // units of 16 bits in a word
constexpr std::uint64_t kNotAscii = 0xFF80FF80FF80FF80;

/// The low bytes of the four units of a word, in their order, whatever the byte order of the host.
std::uint32_t narrowBlock(std::uint64_t units) {
  units = (units | units >> 8) & 0x0000FFFF0000FFFF;
  return static_cast<std::uint32_t>(units | units >> 16);
}

/// Writes ASCII units as bytes.
/// @return whether all were ASCII; otherwise what was written is of no use.
bool narrowAscii(std::u16string_view text, std::uint8_t* out) {
  const char16_t* in = text.data();
  const char16_t* const end = in + text.size();
  for (; static_cast<std::size_t>(end - in) >= kBlock; in += kBlock, out += kBlock) {
    std::uint64_t units = 0;
    std::memcpy(&units, in, sizeof units);
    if ((units & kNotAscii) != 0) return false;
    const std::uint32_t bytes = narrowBlock(units);
    std::memcpy(out, &bytes, sizeof bytes);
  }
  for (; in != end; ++in, ++out) {
    if (*in >= 0x80) return false;
    *out = static_cast<std::uint8_t>(*in);
  }
  return true;
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
