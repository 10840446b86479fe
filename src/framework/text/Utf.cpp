// Real texts are mostly ASCII, and names always are: ASCII is copied wide or narrow in blocks, also around
// the letters that are not, and only these go through a conversion one by one.
#include "text/Utf.h"

#include <utf8/checked.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "fl/i18n/utf8.h"
#include "text/ascii.h"

namespace fl::i18n::internal {

namespace {

constexpr char32_t kFirstTwoByte = 0x80;
constexpr char32_t kFirstThreeByte = 0x800;
constexpr char32_t kFirstFourByte = 0x10000;
constexpr char16_t kReplacement = 0xFFFD;

bool isLeadSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool isTrailSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

// Where a conversion stands. There is always room for as many units of output as of input are left.
template <class In, class Out>
struct Position {
  const In* in;
  Out* out;
};

// Number of ASCII units before the first other one of a block.
template <class Unit>
std::size_t countAscii(const Unit* block) {
  constexpr std::size_t kUnitsPerWord = kBlock / sizeof(Unit);
  std::size_t units = 0;
  for (const std::uint64_t word : wordsOf(block)) {
    if (const std::uint64_t others = word & kNotAscii<Unit>; others != 0) {
      const int bits =
          std::endian::native == std::endian::little ? std::countr_zero(others) : std::countl_zero(others);
      return units + static_cast<std::size_t>(bits) / (8 * sizeof(Unit));
    }
    units += kUnitsPerWord;
  }
  return units;
}

// Copies ASCII units up to the first other one or to `end`.
template <class In, class Out>
Position<In, Out> copyAsciiRun(Position<In, Out> at, const In* end) {
  for (; static_cast<std::size_t>(end - at.in) >= kBlock; at = {at.in + kBlock, at.out + kBlock}) {
    copyBlock(at.in, at.out);  // all of it; what stands behind the ASCII units is overwritten later
    // Counting instead of looking at unit after unit: a text with another letter in ten takes half the time.
    if (const std::size_t ascii = countAscii(at.in); ascii != kBlock) return {at.in + ascii, at.out + ascii};
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

// A character that is not ASCII, and the bytes that spell it: none where they are malformed.
struct Character {
  char32_t value;
  std::size_t size;
};
Character decodeCharacter(const char* in, const char* end) {
  constexpr Character kMalformed{0, 0};
  const auto first = static_cast<unsigned char>(*in);
  if (first < 0xC0 || first >= 0xF8) return kMalformed;
  const Lead lead = leadOf(first);
  if (static_cast<std::size_t>(end - in) < lead.size) return kMalformed;
  char32_t value = lead.bits;
  for (std::size_t i = 1; i < lead.size; ++i) {
    if (!isContinuation(in[i])) return kMalformed;
    value = value << 6 | payloadOf(in[i]);
  }
  const bool isSurrogate = value >= 0xD800 && value < 0xE000;
  if (value < lead.least || isSurrogate || value > 0x10FFFF) return kMalformed;
  return {value, lead.size};
}

// The conversions of the first character, which is not ASCII; null in place of `out` where it is
// malformed.
Position<char, char16_t> convertCharacter(Position<char, char16_t> at, const char* end) {
  auto [character, size] = decodeCharacter(at.in, end);
  if (size == 0) return {at.in, nullptr};
  if (character >= kFirstFourByte) {
    *at.out++ = static_cast<char16_t>(0xD7C0 + (character >> 10));
    character = 0xDC00 | (character & 0x3FF);
  }
  *at.out++ = static_cast<char16_t>(character);
  return {at.in + size, at.out};
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
    at = copyAsciiRun(at, end);
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

// Texts up to this length are first taken to be ASCII: names of 3 to 18 letters take 5 ns instead of 6 that
// way. A long text is likelier to hold some other letter and would then be gone through twice: one of 600
// with another letter in sixty would take 290 ns instead of 230.
constexpr std::size_t kMostAtOnce = 64;

template <class In, class Out>
bool copyShortAscii(std::basic_string_view<In> in, Out* out) {
  return in.size() <= kMostAtOnce && copyAscii(in.data(), in.size(), out);
}

// Where the first byte stands that is not ASCII; `end` where there is none.
const char* skipAscii(const char* in, const char* end) {
  while (static_cast<std::size_t>(end - in) >= kBlock && isAsciiBlock(in)) in += kBlock;
  while (in != end && isAscii(*in)) ++in;
  return in;
}

bool isWellFormed(std::string_view text) {
  const char* const end = text.data() + text.size();
  for (const char* in = skipAscii(text.data(), end); in != end; in = skipAscii(in, end)) {
    const std::size_t size = decodeCharacter(in, end).size;
    if (size == 0) return false;
    in += size;
  }
  return true;
}

}  // namespace

bool utf8ToUtf16(std::string_view in, std::u16string& out) {
  setSize(out, in.size());
  if (copyShortAscii(in, out.data())) return true;
  return convertInto(in, out);
}

bool utf16ToUtf8(std::u16string_view in, std::string& out) {
  out.resize(in.size());
  const char16_t* const end = in.data() + in.size();
  const auto [position, written] = copyAsciiRun<char16_t, char>({in.data(), out.data()}, end);
  if (position == end) return true;
  const auto ascii = static_cast<std::size_t>(written - out.data());
  out.resize(ascii + maxConverted(in.substr(ascii)));
  return finish(out, convert<char16_t, char>({position, out.data() + ascii}, in));
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

namespace fl::i18n {

bool isWellFormedUtf8(std::string_view text) noexcept { return internal::isWellFormed(text); }

}  // namespace fl::i18n
