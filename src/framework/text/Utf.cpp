// Real texts are mostly ASCII, and names always are: ASCII is copied wide or narrow in blocks by vector
// instructions, also around the letters that are not, and only these go through a conversion one by one.
#include "text/Utf.h"

#include <utf8/checked.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "fl/i18n/ascii.h"

namespace fl::i18n::internal {

namespace {

constexpr std::size_t kBlock = 8;
constexpr char32_t kFirstTwoByte = 0x80;
constexpr char32_t kFirstThreeByte = 0x800;
constexpr char32_t kFirstFourByte = 0x10000;
constexpr char16_t kReplacement = 0xFFFD;

bool isAscii(char unit) { return static_cast<unsigned char>(unit) < kFirstTwoByte; }
bool isAscii(char16_t unit) { return unit < kFirstTwoByte; }
bool isLeadSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool isTrailSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

// Number of ASCII units before the first other one of a block.
template <class Unit>
std::size_t countAscii(const Unit* block) {
  constexpr std::size_t kUnitsPerWord = kBlock / sizeof(Unit);
  constexpr int kBits = 8 * sizeof(Unit);
  std::array<std::uint64_t, sizeof(Unit)> words;
  std::memcpy(words.data(), block, sizeof words);
  std::size_t units = 0;
  for (const std::uint64_t word : words) {
    const std::uint64_t others = word & kNotAscii<Unit>;
    if (others != 0) {
      const int bits =
          std::endian::native == std::endian::little ? std::countr_zero(others) : std::countl_zero(others);
      return units + static_cast<std::size_t>(bits / kBits);
    }
    units += kUnitsPerWord;
  }
  return units;
}

// Where a conversion stands. There is always room for as many units of output as of input are left.
template <class In, class Out>
struct Position {
  const In* in;
  Out* out;
};

// Copies ASCII units up to the first other one or to `end`.
template <class In, class Out>
[[gnu::always_inline]] inline Position<In, Out> copyAsciiRun(Position<In, Out> at, const In* begin,
                                                             const In* end) {
  for (; static_cast<std::size_t>(end - at.in) >= kBlock; at.in += kBlock, at.out += kBlock) {
    copyBlock<kBlock>(at.in, at.out);  // all of it; what stands behind the ASCII units is overwritten later
    if (const std::size_t ascii = countAscii(at.in); ascii != kBlock) return {at.in + ascii, at.out + ascii};
  }
  const auto rest = static_cast<std::size_t>(end - at.in);
  if (static_cast<std::size_t>(end - begin) >= kBlock && countAscii(end - kBlock) == kBlock) {
    copyBlock<kBlock>(end - kBlock, at.out + rest - kBlock);  // once more what it shares with what is copied
    return {end, at.out + rest};
  }
  while (at.in != end && isAscii(*at.in)) *at.out++ = static_cast<Out>(*at.in++);
  return at;
}

bool isContinuation(char unit) { return (static_cast<unsigned char>(unit) & 0xC0) == 0x80; }
char32_t payloadOf(char continuation) { return static_cast<unsigned char>(continuation) & 0x3Fu; }

// Lead byte of a sequence of 2, 3 or 4 bytes, and the smallest character that needs so many.
struct Lead {
  std::size_t size;
  char32_t bits;
  char32_t least;
};
Lead leadOf(unsigned char unit) {
  if (unit < 0xE0) return {2, unit & 0x1Fu, kFirstTwoByte};
  if (unit < 0xF0) return {3, unit & 0x0Fu, kFirstThreeByte};
  return {4, unit & 0x07u, kFirstFourByte};
}

// The conversions of the first character, which is not ASCII; null in place of `out` where it is
// malformed.
Position<char, char16_t> convertCharacter(Position<char, char16_t> at, const char* end) {
  const auto first = static_cast<unsigned char>(*at.in);
  if (first < 0xC0 || first >= 0xF8) return {at.in, nullptr};
  const Lead lead = leadOf(first);
  if (static_cast<std::size_t>(end - at.in) < lead.size) return {at.in, nullptr};
  char32_t character = lead.bits;
  for (std::size_t i = 1; i < lead.size; ++i) {
    if (!isContinuation(at.in[i])) return {at.in, nullptr};
    character = character << 6 | payloadOf(at.in[i]);
  }
  const bool isSurrogate = character >= 0xD800 && character < 0xE000;
  if (character < lead.least || isSurrogate || character > 0x10FFFF) return {at.in, nullptr};
  if (character >= kFirstFourByte) {
    *at.out++ = static_cast<char16_t>(0xD7C0 + (character >> 10));
    character = 0xDC00 | (character & 0x3FF);
  }
  *at.out++ = static_cast<char16_t>(character);
  return {at.in + lead.size, at.out};
}

char continuation(char32_t bits) { return static_cast<char>(0x80 | (bits & 0x3F)); }

Position<char16_t, char> convertCharacter(Position<char16_t, char> at, const char16_t* end) {
  char32_t character = *at.in++;
  if (character < kFirstThreeByte) {
    *at.out++ = static_cast<char>(0xC0 | character >> 6);
    *at.out++ = continuation(character);
    return at;
  }
  if (isTrailSurrogate(static_cast<char16_t>(character))) return {at.in, nullptr};
  if (!isLeadSurrogate(static_cast<char16_t>(character))) {
    *at.out++ = static_cast<char>(0xE0 | character >> 12);
  } else {
    if (at.in == end || !isTrailSurrogate(*at.in)) return {at.in, nullptr};
    character = ((character & 0x3FF) << 10 | (*at.in++ & 0x3FFu)) + kFirstFourByte;
    *at.out++ = static_cast<char>(0xF0 | character >> 18);
    *at.out++ = continuation(character >> 12);
  }
  *at.out++ = continuation(character >> 6);
  *at.out++ = continuation(character);
  return at;
}

// Returns where the result ends, or null for a malformed text.
template <class In, class Out>
Out* convert(Position<In, Out> at, std::basic_string_view<In> in) {
  const In* const end = in.data() + in.size();
  for (;;) {
    at = copyAsciiRun(at, in.data(), end);
    if (at.in == end) return at.out;
    at = convertCharacter(at, end);
    if (at.out == nullptr) return nullptr;
  }
}

// Upper bound of the bytes that a text takes: a pair of surrogates counts 6 and takes 4.
std::size_t maxConverted(std::u16string_view in) {
  std::size_t size = in.size();
  for (const char16_t unit : in)
    size += std::size_t{unit >= kFirstTwoByte} + std::size_t{unit >= kFirstThreeByte};
  return size;
}

// Replaces a text by one of another size, of which the caller overwrites all that was not there before.
template <class Unit>
[[gnu::noinline]] void grow(std::basic_string<Unit>& text, std::size_t size) {
  text.resize(size);
}
template <class Unit>
void setSize(std::basic_string<Unit>& text, std::size_t size) {
  if (size > text.size())
    grow(text, size);
  else
    text.erase(size);
}

template <class Unit>
bool finish(std::basic_string<Unit>& out, const Unit* end) {
  setSize(out, end == nullptr ? 0 : static_cast<std::size_t>(end - out.data()));
  return end != nullptr;
}

[[gnu::noinline]] bool convertInto(std::string_view in, std::u16string& out) {
  return finish(out, convert<char, char16_t>({in.data(), out.data()}, in));
}

std::u16string replaceLoneSurrogates(std::u16string_view in) {
  std::u16string out(in);
  for (std::size_t i = 0; i < out.size(); ++i) {
    if (isLeadSurrogate(out[i]) && i + 1 < out.size() && isTrailSurrogate(out[i + 1])) {
      ++i;
    } else if (isLeadSurrogate(out[i]) || isTrailSurrogate(out[i])) {
      out[i] = kReplacement;
    }
  }
  return out;
}

}  // namespace

bool utf8ToUtf16(std::string_view in, std::u16string& out) {
  setSize(out, in.size());
  if (copyShortAscii(in.data(), in.size(), out.data())) return true;
  return convertInto(in, out);
}

bool utf16ToUtf8(std::u16string_view in, std::string& out) {
  out.resize(in.size());
  const char16_t* const end = in.data() + in.size();
  const auto [position, written] = copyAsciiRun<char16_t, char>({in.data(), out.data()}, in.data(), end);
  if (position == end) return true;
  const auto ascii = static_cast<std::size_t>(written - out.data());
  out.resize(ascii + maxConverted(in.substr(ascii)));
  return finish(out, convert<char16_t, char>({position, out.data() + ascii}, in));
}

char* utf16ToUtf8(std::u16string_view in, char* out) {
  if (copyShortAscii(in.data(), in.size(), out)) return out + in.size();
  return convert<char16_t, char>({in.data(), out}, in);
}

std::string showAsUtf8(std::string_view in) {
  std::string out;
  utf8::replace_invalid(in.begin(), in.end(), std::back_inserter(out), kReplacement);
  return out;
}

std::string showAsUtf8(std::u16string_view in) {
  std::string out;
  if (!utf16ToUtf8(in, out)) (void)utf16ToUtf8(replaceLoneSurrogates(in), out);
  return out;
}

std::u16string showAsUtf16(std::string_view in) {
  std::u16string out;
  if (!utf8ToUtf16(in, out)) (void)utf8ToUtf16(showAsUtf8(in), out);
  return out;
}

}  // namespace fl::i18n::internal
