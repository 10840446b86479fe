// Real texts are mostly ASCII, and names always are: runs of ASCII are copied wide or narrow in blocks by
// vector instructions, and only the runs between them go through the checked conversion. A run ends at
// an ASCII unit, which never is part of a longer sequence, so a sequence that is cut by one is found
// malformed within its run.
#include "text/Utf.h"

#include <utf8/checked.h>
#include <utf8/unchecked.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <type_traits>

namespace fl::i18n::internal {

namespace {

constexpr std::size_t kBlock = 8;
constexpr unsigned kFirstTwoByte = 0x80;
constexpr unsigned kFirstThreeByte = 0x800;
constexpr char16_t kReplacement = 0xFFFD;

bool isAscii(char unit) { return static_cast<unsigned char>(unit) < kFirstTwoByte; }
bool isAscii(char16_t unit) { return unit < kFirstTwoByte; }
bool isLeadSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool isTrailSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

// The bits that no ASCII unit has, in each unit of a word.
template <class Unit>
constexpr std::uint64_t kNotAscii = sizeof(Unit) == 1 ? 0x8080808080808080 : 0xFF80FF80FF80FF80;

template <class Unit>
bool isAsciiBlock(const Unit* in) {
  std::array<std::uint64_t, sizeof(Unit)> words;  // kBlock units
  std::memcpy(words.data(), in, sizeof words);
  std::uint64_t all = 0;
  for (const std::uint64_t word : words) all |= word;
  return (all & kNotAscii<Unit>) == 0;
}

template <class Unit>
using Block __attribute__((vector_size(kBlock * sizeof(Unit)))) =
    std::conditional_t<sizeof(Unit) == 1, std::uint8_t, std::uint16_t>;

template <class In, class Out>
void copyBlock(const In* in, Out* out) {
  Block<In> block;
  std::memcpy(&block, in, sizeof block);
  const auto converted = __builtin_convertvector(block, Block<Out>);
  std::memcpy(out, &converted, sizeof converted);
}

// Copies ASCII units up to the first other one or to `end`; returns where it stopped reading.
template <class In, class Out>
const In* copyAscii(const In* in, const In* end, Out*& out) {
  Out* to = out;
  const bool longEnough = static_cast<std::size_t>(end - in) >= kBlock;
  for (; static_cast<std::size_t>(end - in) >= kBlock && isAsciiBlock(in); in += kBlock, to += kBlock) {
    copyBlock(in, to);
  }
  const auto rest = static_cast<std::size_t>(end - in);
  if (longEnough && rest < kBlock && isAsciiBlock(end - kBlock)) {
    copyBlock(end - kBlock, to + rest - kBlock);  // once more what it shares with the block before
    out = to + rest;
    return end;
  }
  for (; in != end && isAscii(*in); ++in) *to++ = static_cast<Out>(*in);
  out = to;
  return in;
}

template <class In>
const In* endOfOtherRun(const In* in, const In* end) {
  return std::find_if(in, end, [](In unit) { return isAscii(unit); });
}

// Upper bounds of the units that the other form takes.
std::size_t maxConverted(std::string_view in) { return in.size(); }
std::size_t maxConverted(std::u16string_view in) {
  std::size_t size = in.size();  // a pair of surrogates counts 6 and takes 4
  for (const char16_t unit : in)
    size += std::size_t{unit >= kFirstTwoByte} + std::size_t{unit >= kFirstThreeByte};
  return size;
}

// The conversions of a run; they return where the result ends, or null for a malformed run.
char16_t* convertRun(const char* begin, const char* end, char16_t* out) {
  return utf8::is_valid(begin, end) ? utf8::unchecked::utf8to16(begin, end, out) : nullptr;
}
char* convertRun(const char16_t* begin, const char16_t* end, char* out) {
  try {
    return utf8::utf16to8(begin, end, out);
  } catch (const utf8::exception&) {
    return nullptr;
  }
}

template <class In, class Out>
bool convert(std::basic_string_view<In> in, std::basic_string<Out>& out) {
  out.resize(in.size());
  const In* const end = in.data() + in.size();
  Out* written = out.data();
  const In* position = copyAscii(in.data(), end, written);
  if (position == end) return true;

  const std::size_t ascii = static_cast<std::size_t>(position - in.data());
  out.resize(ascii + maxConverted(in.substr(ascii)));
  written = out.data() + ascii;
  while (position != end) {
    const In* const stop = endOfOtherRun(position, end);
    written = convertRun(position, stop, written);
    if (written == nullptr) {
      out.clear();
      return false;
    }
    position = copyAscii(stop, end, written);
  }
  out.resize(static_cast<std::size_t>(written - out.data()));
  return true;
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

bool utf8ToUtf16(std::string_view in, std::u16string& out) { return convert(in, out); }

bool utf16ToUtf8(std::u16string_view in, std::string& out) { return convert(in, out); }

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
