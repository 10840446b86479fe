// Real texts are mostly ASCII, and names always are: runs of ASCII are copied wide or narrow in blocks
// that the compiler turns into vector instructions, and only the runs between them go through the
// checked conversion. A run ends at an ASCII unit, which never is part of a longer sequence, so a
// sequence that is cut by one is found malformed within its run.
#include "text/Utf.h"

#include <utf8/checked.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace fl::i18n::internal {

namespace {

constexpr std::size_t kBlock = 16;
constexpr unsigned kFirstTwoByte = 0x80;
constexpr unsigned kFirstThreeByte = 0x800;
constexpr char16_t kReplacement = 0xFFFD;

bool isAscii(char unit) { return static_cast<unsigned char>(unit) < kFirstTwoByte; }
bool isAscii(char16_t unit) { return unit < kFirstTwoByte; }
bool isLeadSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool isTrailSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

template <class In>
bool isAsciiBlock(const In* in) {
  In all = 0;
  for (std::size_t i = 0; i < kBlock; ++i) all = static_cast<In>(all | in[i]);
  return isAscii(all);
}

// Copies ASCII units up to the first other one or to `end`; returns where it stopped reading.
template <class In, class Out>
const In* copyAscii(const In* in, const In* end, Out*& out) {
  for (; static_cast<std::size_t>(end - in) >= kBlock && isAsciiBlock(in); in += kBlock, out += kBlock) {
    for (std::size_t i = 0; i < kBlock; ++i) out[i] = static_cast<Out>(in[i]);
  }
  for (; in != end && isAscii(*in); ++in) *out++ = static_cast<Out>(*in);
  return in;
}

template <class In>
const In* endOfOtherRun(const In* in, const In* end) {
  return std::find_if(in, end, [](In unit) { return isAscii(unit); });
}

// Upper bound of the UTF-8 bytes: what units would take, surrogates counted as if they stood alone.
std::size_t maxUtf8Size(std::u16string_view in) {
  std::size_t more = 0;
  for (const char16_t unit : in) {
    more +=
        static_cast<std::size_t>(unit >= kFirstTwoByte) + static_cast<std::size_t>(unit >= kFirstThreeByte);
  }
  return in.size() + more;
}

char16_t* convertRun(const char* begin, const char* end, char16_t* out) {
  return utf8::utf8to16(begin, end, out);
}
char* convertRun(const char16_t* begin, const char16_t* end, char* out) {
  return utf8::utf16to8(begin, end, out);
}

// `room` is at least what the result takes.
template <class In, class Out>
bool convert(std::basic_string_view<In> in, std::basic_string<Out>& out, std::size_t room) {
  out.resize(room);
  const In* position = in.data();
  const In* const end = position + in.size();
  Out* written = out.data();
  try {
    while ((position = copyAscii(position, end, written)) != end) {
      const In* const stop = endOfOtherRun(position, end);
      written = convertRun(position, stop, written);
      position = stop;
    }
  } catch (const utf8::exception&) {
    out.clear();
    return false;
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

bool utf8ToUtf16(std::string_view in, std::u16string& out) { return convert(in, out, in.size()); }

bool utf16ToUtf8(std::u16string_view in, std::string& out) { return convert(in, out, maxUtf8Size(in)); }

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
