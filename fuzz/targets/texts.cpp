// UTF-8 and UTF-16, both directions, against the converter of the C library.
#include <iconv.h>

#include <optional>
#include <string>

#include "common/Fuzzing.h"
#include "fl/i18n/converter.h"
#include "fl/i18n/utf8.h"

namespace kr::zero::fuzz {

namespace {

/// What iconv makes of bytes, or nothing where they are malformed.
class Converter {
 public:
  Converter(const char* to, const char* from) : converter_(iconv_open(to, from)) {
    require(converter_ != iconv_t(-1), "the C library has the converter");
  }
  ~Converter() { iconv_close(converter_); }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  std::optional<std::string> convert(std::string bytes) {
    std::string result(4 * bytes.size() + 4, '\0');
    char* in = bytes.data();
    char* out = result.data();
    std::size_t left = bytes.size();
    std::size_t room = result.size();
    iconv(converter_, nullptr, nullptr, nullptr, nullptr);
    if (iconv(converter_, &in, &left, &out, &room) == static_cast<std::size_t>(-1)) return std::nullopt;
    result.resize(result.size() - room);
    return result;
  }

 private:
  iconv_t converter_;
};

std::string bytesOf(const std::u16string& text) {
  std::string bytes;
  for (const char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

std::u16string unitsOf(Input input) {
  std::u16string units;
  for (std::size_t i = 0; i + 1 < input.size(); i += 2)
    units += static_cast<char16_t>(input[i] | input[i + 1] << 8);
  return units;
}

void examineUtf8(const std::string& text) {
  static Converter oracle("UTF-16LE", "UTF-8");
  static const fl::i18n::codecvt_string_to_ustring toUtf16("UTF8", true);
  static const fl::i18n::codecvt_ustring_to_string toUtf8("UTF8", true);
  const auto expected = oracle.convert(text);
  require(fl::i18n::isWellFormedUtf8(text) == expected.has_value(),
          "UTF-8 is well-formed where others say so");
  std::u16string units = u"before";
  require(toUtf16.convert(text, units) == expected.has_value(),
          "what is well-formed is converted, and nothing else");
  require(bytesOf(units) == expected.value_or(""), "UTF-8 becomes the same UTF-16");
  std::string back;
  if (expected) require(toUtf8.convert(units, back) && back == text, "it comes back as it was");
}

void examineUtf16(const std::u16string& units) {
  static Converter oracle("UTF-8", "UTF-16LE");
  static const fl::i18n::codecvt_ustring_to_string toUtf8("UTF8", true);
  const auto expected = oracle.convert(bytesOf(units));
  std::string text = "before";
  require(toUtf8.convert(units, text) == expected.has_value(),
          "a surrogate that stands alone is refused, and nothing else");
  require(text == expected.value_or(""), "UTF-16 becomes the same UTF-8");
}

}  // namespace

void examine(Input input) {
  examineUtf8({input.begin(), input.end()});
  examineUtf16(unitsOf(input));
}

}  // namespace kr::zero::fuzz
