#include <gtest/gtest.h>
#include <iconv.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "fl/filesystem/path.h"
#include "fl/i18n/converter.h"
#include "fl/i18n/utf8.h"
#include "kr/zero/ustring.h"

namespace {

using fl::i18n::codecvt_string_to_ustring;
using fl::i18n::codecvt_ustring_to_string;

using CodePoints = std::u32string;

// ---- the slow and obvious converter that the real one is held against

bool isSurrogate(char32_t point) { return point >= 0xD800 && point <= 0xDFFF; }

// Reads one code point at `position` as the bit patterns say, then asks whether it may stand there.
std::optional<char32_t> decodeOne(const std::string& bytes, std::size_t& position) {
  struct Form {
    unsigned leadMask, leadBits, more;
    char32_t least;
  };
  constexpr std::array<Form, 4> kForms{
      {{0x80, 0x00, 0, 0}, {0xE0, 0xC0, 1, 0x80}, {0xF0, 0xE0, 2, 0x800}, {0xF8, 0xF0, 3, 0x10000}}};
  const auto byteAt = [&](std::size_t i) {
    return static_cast<unsigned>(static_cast<unsigned char>(bytes[i]));
  };
  const unsigned lead = byteAt(position);
  for (const Form& form : kForms) {
    if ((lead & form.leadMask) != form.leadBits) continue;
    if (bytes.size() - position <= form.more) return std::nullopt;
    char32_t point = lead & ~form.leadMask & 0xFF;
    for (unsigned i = 1; i <= form.more; ++i) {
      if ((byteAt(position + i) & 0xC0) != 0x80) return std::nullopt;
      point = point << 6 | (byteAt(position + i) & 0x3F);
    }
    if (point < form.least || point > 0x10FFFF || isSurrogate(point)) return std::nullopt;
    position += 1 + form.more;
    return point;
  }
  return std::nullopt;
}

std::optional<std::u16string> slowToUtf16(const std::string& bytes) {
  std::u16string out;
  for (std::size_t position = 0; position < bytes.size();) {
    const auto point = decodeOne(bytes, position);
    if (!point) return std::nullopt;
    if (*point < 0x10000) {
      out += static_cast<char16_t>(*point);
    } else {
      out += static_cast<char16_t>(0xD800 + ((*point - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + ((*point - 0x10000) & 0x3FF));
    }
  }
  return out;
}

std::optional<CodePoints> slowPoints(const std::u16string& units) {
  CodePoints out;
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (!isSurrogate(units[i])) {
      out += units[i];
    } else {
      const bool pair =
          units[i] < 0xDC00 && i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF;
      if (!pair) return std::nullopt;
      out += 0x10000 + ((char32_t{units[i]} - 0xD800) << 10) + (char32_t{units[i + 1]} - 0xDC00);
      ++i;
    }
  }
  return out;
}

std::string slowUtf8(const CodePoints& points) {
  std::string out;
  for (const char32_t p : points) {
    const auto tail = [p](unsigned shift) { return static_cast<char>(0x80 | (p >> shift & 0x3F)); };
    if (p < 0x80) {
      out += static_cast<char>(p);
    } else if (p < 0x800) {
      out += {static_cast<char>(0xC0 | p >> 6), tail(0)};
    } else if (p < 0x10000) {
      out += {static_cast<char>(0xE0 | p >> 12), tail(6), tail(0)};
    } else {
      out += {static_cast<char>(0xF0 | p >> 18), tail(12), tail(6), tail(0)};
    }
  }
  return out;
}

std::optional<std::string> slowToUtf8(const std::u16string& units) {
  const auto points = slowPoints(units);
  if (!points) return std::nullopt;
  return slowUtf8(*points);
}

// ---- the C library as a second opinion

class Iconv {
 public:
  Iconv(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
  ~Iconv() { iconv_close(handle_); }
  Iconv(const Iconv&) = delete;
  Iconv& operator=(const Iconv&) = delete;

  template <class Out, class In>
  std::optional<Out> convert(const In& in) const {
    iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    std::array<char, 64> room;
    auto* from = const_cast<char*>(reinterpret_cast<const char*>(in.data()));
    std::size_t fromSize = in.size() * sizeof(in[0]);
    char* to = room.data();
    std::size_t toSize = room.size();
    if (iconv(handle_, &from, &fromSize, &to, &toSize) == static_cast<std::size_t>(-1)) return std::nullopt;
    Out out((room.size() - toSize) / sizeof(typename Out::value_type), {});
    std::memcpy(out.data(), room.data(), room.size() - toSize);
    return out;
  }

 private:
  iconv_t handle_;
};

// ---- the real one

std::optional<std::u16string> toUtf16(const std::string& bytes) {
  static const codecvt_string_to_ustring converter("UTF8", true);
  std::u16string out = u"what was there before";
  if (converter.convert(bytes, out)) return out;
  EXPECT_TRUE(out.empty());
  return std::nullopt;
}

std::optional<std::string> toUtf8(const std::u16string& units) {
  static const codecvt_ustring_to_string converter("UTF8", true);
  std::string out = "what was there before";
  if (converter.convert(units, out)) return out;
  EXPECT_TRUE(out.empty());
  return std::nullopt;
}

std::string hex(const std::string& bytes) {
  std::string out;
  for (const char c : bytes) {
    std::array<char, 4> two;
    std::snprintf(two.data(), two.size(), "%02x ", static_cast<unsigned>(static_cast<unsigned char>(c)));
    out += two.data();
  }
  return out;
}

// Counts the inputs on which two converters differ and keeps the first.
struct Differences {
  std::size_t compared = 0, accepted = 0, count = 0;
  std::string first;

  template <class Result>
  void compare(const std::string& input, const Result& real, const Result& expected) {
    ++compared;
    if (real) ++accepted;
    if (real != expected && ++count == 1) first = hex(input);
  }
};

std::string bytesOf(const std::u16string& units) {
  return {reinterpret_cast<const char*>(units.data()), units.size() * 2};
}

template <class Visit>
void forEveryByteString(std::size_t length, Visit visit) {
  std::string bytes(length, '\0');
  for (std::uint64_t n = 0; n < std::uint64_t{1} << (8 * length); ++n) {
    for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<char>(n >> (8 * (length - 1 - i)) & 0xFF);
    visit(bytes);
  }
}

// The well-formed strings of each length, counted by hand from the ranges of code points: A one byte,
// B two, C three.
constexpr std::size_t kA = 0x80, kB = 0x800 - 0x80, kC = 0x10000 - 0x800 - 0x800;

void expectSameAsSlow(std::size_t length, std::size_t wellFormed) {
  Differences differences;
  forEveryByteString(length, [&](const std::string& bytes) {
    differences.compare(bytes, toUtf16(bytes), slowToUtf16(bytes));
  });
  EXPECT_EQ(differences.count, 0u) << "first: " << differences.first;
  EXPECT_EQ(differences.compared, std::size_t{1} << (8 * length));
  EXPECT_EQ(differences.accepted, wellFormed);
}

TEST(Utf8ToUtf16, EveryStringOfNoOneAndTwoBytesConvertsLikeTheSlowConverter) {
  expectSameAsSlow(0, 1);
  expectSameAsSlow(1, kA);
  expectSameAsSlow(2, kA * kA + kB);
}

TEST(Utf8ToUtf16, EveryStringOfThreeBytesConvertsLikeTheSlowConverter) {
  expectSameAsSlow(3, kA * kA * kA + 2 * kA * kB + kC);
}

// All strings of four bytes but those that start with a byte that ends the matter at once or that
// leaves three: minutes, so only when asked for.
TEST(Utf8ToUtf16, DISABLED_EveryStringOfFourBytesConvertsLikeTheSlowConverter) {
  Differences differences;
  std::string bytes(4, '\0');
  for (std::uint64_t n = 0xC0000000; n < 0x100000000; ++n) {
    for (std::size_t i = 0; i < 4; ++i) bytes[i] = static_cast<char>(n >> (8 * (3 - i)) & 0xFF);
    differences.compare(bytes, toUtf16(bytes), slowToUtf16(bytes));
  }
  EXPECT_EQ(differences.count, 0u) << "first: " << differences.first;
  // Two bytes and two, two and one and one, three and one, four.
  EXPECT_EQ(differences.accepted, kB * kB + kB * kA * kA + kC * kA + 0x100000);
}

TEST(Utf8ToUtf16, EveryStringUpToThreeBytesConvertsLikeTheCLibrary) {
  const Iconv iconv("UTF-16LE", "UTF-8");
  Differences differences;
  for (const std::size_t length : {1u, 2u, 3u}) {
    forEveryByteString(length, [&](const std::string& bytes) {
      differences.compare(bytes, toUtf16(bytes), iconv.convert<std::u16string>(bytes));
    });
  }
  EXPECT_EQ(differences.count, 0u) << "first: " << differences.first;
  EXPECT_GT(differences.accepted, 0u);
}

TEST(Utf8ToUtf16, EveryCodePointConvertsThereAndBack) {
  std::size_t checked = 0;
  for (char32_t point = 0; point <= 0x10FFFF; ++point) {
    if (isSurrogate(point)) continue;
    const std::string bytes = slowUtf8({point});
    const auto units = toUtf16(bytes);
    ASSERT_TRUE(units.has_value()) << hex(bytes);
    ASSERT_EQ(units, slowToUtf16(bytes)) << hex(bytes);
    ASSERT_EQ(toUtf8(*units), bytes) << hex(bytes);
    ++checked;
  }
  EXPECT_EQ(checked, 0x110000u - 0x800u);
}

TEST(Utf8ToUtf16, NamedMalformedFormsAreRefused) {
  const std::vector<std::pair<const char*, std::string>> forms{
      {"overlong slash", "\xC0\xAF"},
      {"overlong NUL", "\xE0\x80\x80"},
      {"overlong in four bytes", "\xF0\x8F\xBF\xBF"},
      {"surrogate", "\xED\xA0\x80"},
      {"pair of surrogates", "\xED\xA0\xBD\xED\xB8\x80"},
      {"above U+10FFFF", "\xF4\x90\x80\x80"},
      {"five bytes", "\xF8\x88\x80\x80\x80"},
      {"cut short", "\xE2\x82"},
      {"cut by ASCII",
       "\xE2\x82"
       "a"},
      {"continuation alone", "\x80"},
  };
  for (const auto& [name, bytes] : forms) EXPECT_EQ(toUtf16(bytes), std::nullopt) << name;
}

// Sequences at every place relative to the blocks in which ASCII is copied.
TEST(Utf8ToUtf16, EverySequenceConvertsAtEveryPlaceInAsciiText) {
  const std::vector<std::string> sequences{
      "\xC3\xA9", "\xE2\x82\xAC",         "\xF0\x9F\x98\x80",  "\xC3", "\x80", "\xED\xA0\x80",
      "\xFF",     "\xC3\xA9\xE2\x82\xAC", std::string(1, '\0')};
  Differences differences;
  for (const std::string& sequence : sequences) {
    for (std::size_t before = 0; before <= 40; ++before) {
      for (std::size_t after = 0; after <= 20; ++after) {
        const std::string bytes = std::string(before, 'b') + sequence + std::string(after, 'a');
        differences.compare(bytes, toUtf16(bytes), slowToUtf16(bytes));
      }
    }
  }
  EXPECT_EQ(differences.count, 0u) << "first: " << differences.first;
  EXPECT_EQ(differences.accepted, 5u * 41 * 21);
}

TEST(Utf8ToUtf16, RandomMixturesConvertLikeTheSlowConverter) {
  constexpr std::uint32_t kSeed = 20240611;
  std::mt19937 random(kSeed);
  const std::vector<std::string> pieces{
      "a", "plain text, longer than a block", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xEF\xBF\xBF"};
  Differences differences;
  for (int round = 0; round < 20000; ++round) {
    std::string bytes;
    for (auto n = random() % 20; n > 0; --n) bytes += pieces[random() % pieces.size()];
    if (round % 2 == 0 && !bytes.empty()) bytes[random() % bytes.size()] = static_cast<char>(random() & 0xFF);
    differences.compare(bytes, toUtf16(bytes), slowToUtf16(bytes));
  }
  EXPECT_EQ(differences.count, 0u) << "seed " << kSeed << ", first: " << differences.first;
  EXPECT_GT(differences.accepted, 10000u);
  EXPECT_LT(differences.accepted, 20000u);
}

// ---- whether bytes are UTF-8

void expectSameJudgement(std::size_t length, std::size_t wellFormed) {
  std::size_t accepted = 0;
  std::size_t differences = 0;
  forEveryByteString(length, [&](const std::string& bytes) {
    const bool real = fl::i18n::isWellFormedUtf8(bytes);
    if (real) ++accepted;
    if (real != slowToUtf16(bytes).has_value() && ++differences == 1)
      ADD_FAILURE() << "first: " << hex(bytes);
  });
  EXPECT_EQ(differences, 0u);
  EXPECT_EQ(accepted, wellFormed);
}

TEST(IsWellFormedUtf8, EveryStringOfUpToThreeBytesIsJudgedAsTheSlowConverterDoes) {
  expectSameJudgement(0, 1);
  expectSameJudgement(1, kA);
  expectSameJudgement(2, kA * kA + kB);
  expectSameJudgement(3, kA * kA * kA + 2 * kA * kB + kC);
}

TEST(IsWellFormedUtf8, EveryCodePointAndNoSurrogateIsWellFormed) {
  for (char32_t point = 0; point <= 0x110000; ++point) {
    const std::string bytes = slowUtf8({point});
    ASSERT_EQ(fl::i18n::isWellFormedUtf8(bytes), !isSurrogate(point) && point <= 0x10FFFF) << hex(bytes);
  }
}

TEST(IsWellFormedUtf8, OneWrongByteIsFoundAtEveryPlaceOfATextOfEveryLength) {
  for (std::size_t length = 1; length <= 80; ++length) {
    std::string text(length, 'a');
    EXPECT_TRUE(fl::i18n::isWellFormedUtf8(text));
    for (std::size_t at = 0; at < length; ++at) {
      text[at] = '\x80';
      EXPECT_FALSE(fl::i18n::isWellFormedUtf8(text)) << length << " at " << at;
      text[at] = '\xFF';
      EXPECT_FALSE(fl::i18n::isWellFormedUtf8(text)) << length << " at " << at;
      text[at] = 'a';
    }
  }
}

TEST(IsWellFormedUtf8, EverySequenceIsJudgedAtEveryPlaceInAsciiText) {
  const std::vector<std::pair<std::string, bool>> sequences{
      {"\xC3\xA9", true},           {"\xE2\x82\xAC", true},
      {"\xF0\x9F\x98\x80", true},   {"\xC3\xA9\xE2\x82\xAC", true},
      {std::string(1, '\0'), true}, {"\xC3", false},
      {"\xE2\x82", false},          {"\xC0\x80", false},
      {"\xED\xA0\x80", false},      {"\xF4\x90\x80\x80", false}};
  for (const auto& [sequence, wellFormed] : sequences) {
    for (std::size_t before = 0; before <= 40; ++before) {
      for (std::size_t after = 0; after <= 20; ++after) {
        const std::string text = std::string(before, 'b') + sequence + std::string(after, 'a');
        EXPECT_EQ(fl::i18n::isWellFormedUtf8(text), wellFormed) << hex(text);
      }
    }
  }
}

TEST(Utf16ToUtf8, EveryUnitAloneConvertsLikeBothOthers) {
  const Iconv iconv("UTF-8", "UTF-16LE");
  Differences slow;
  Differences library;
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    const std::u16string units(1, static_cast<char16_t>(unit));
    const auto real = toUtf8(units);
    slow.compare(bytesOf(units), real, slowToUtf8(units));
    library.compare(bytesOf(units), real, iconv.convert<std::string>(units));
  }
  EXPECT_EQ(slow.count, 0u) << "first: " << slow.first;
  EXPECT_EQ(library.count, 0u) << "first: " << library.first;
  EXPECT_EQ(slow.accepted, 0x10000u - 0x800u);
}

// Each unit in front of and behind the borders of the four classes: ASCII, other single units, leading
// and trailing surrogates.
TEST(Utf16ToUtf8, EveryUnitInPairsOfTheFourClassesConvertsLikeBothOthers) {
  constexpr std::array<char16_t, 12> kBorders{0x00,   0x41,   0x7F,   0x80,   0x7FF,  0x800,
                                              0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000};
  const Iconv iconv("UTF-8", "UTF-16LE");
  Differences slow;
  Differences library;
  const auto compare = [&](const std::u16string& units) {
    const auto real = toUtf8(units);
    slow.compare(bytesOf(units), real, slowToUtf8(units));
    library.compare(bytesOf(units), real, iconv.convert<std::string>(units));
  };
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    for (const char16_t border : kBorders) {
      compare({static_cast<char16_t>(unit), border});
      compare({border, static_cast<char16_t>(unit)});
    }
  }
  EXPECT_EQ(slow.count, 0u) << "first: " << slow.first;
  EXPECT_EQ(library.count, 0u) << "first: " << library.first;
  EXPECT_EQ(slow.compared, 2u * 0x10000 * 12);
  // 8 borders are no surrogates; 2 lead and 2 trail, each with the 1024 of the other kind on one side.
  EXPECT_EQ(slow.accepted, 2u * (8 * (0x10000 - 0x800)) + 4u * 1024);
}

TEST(Utf16ToUtf8, EverySequenceConvertsAtEveryPlaceInAsciiText) {
  const std::vector<std::u16string> sequences{u"\u00E9",
                                              u"\u20AC",
                                              u"\U0001F600",
                                              u"\u00E9\u20AC",
                                              std::u16string(1, 0xD800),
                                              std::u16string(1, 0xDC00),
                                              std::u16string{0xDC00, 0xD800}};
  Differences differences;
  for (const std::u16string& sequence : sequences) {
    for (std::size_t before = 0; before <= 40; ++before) {
      for (std::size_t after = 0; after <= 20; ++after) {
        const std::u16string units = std::u16string(before, u'b') + sequence + std::u16string(after, u'a');
        differences.compare(bytesOf(units), toUtf8(units), slowToUtf8(units));
      }
    }
  }
  EXPECT_EQ(differences.count, 0u) << "first: " << differences.first;
  EXPECT_EQ(differences.accepted, 4u * 41 * 21);
}

TEST(Utf16ToUtf8, EveryUnitConvertsAmongAsciiUnits) {
  Differences differences;
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    std::u16string units(16, u'a');
    units[unit % 8] = static_cast<char16_t>(unit);
    differences.compare(bytesOf(units), toUtf8(units), slowToUtf8(units));
  }
  EXPECT_EQ(differences.count, 0u) << "first: " << differences.first;
  EXPECT_EQ(differences.accepted, 0x10000u - 0x800u);
}

TEST(Converter, OnlyStrictUtf8Exists) {
  EXPECT_NO_THROW(codecvt_string_to_ustring("UTF8", true));
  EXPECT_NO_THROW(codecvt_ustring_to_string("UTF8", true));
  EXPECT_THROW(codecvt_string_to_ustring("UTF-8", true), std::invalid_argument);
  EXPECT_THROW(codecvt_ustring_to_string("LATIN1", true), std::invalid_argument);
  EXPECT_THROW(codecvt_string_to_ustring("UTF8", false), std::invalid_argument);
  EXPECT_THROW(codecvt_ustring_to_string("UTF8", false), std::invalid_argument);
}

TEST(Converter, TheOutputKeepsItsCapacity) {
  const codecvt_string_to_ustring converter("UTF8", true);
  std::u16string out;
  ASSERT_TRUE(converter.convert(std::string(1000, 'a'), out));
  const std::size_t capacity = out.capacity();
  ASSERT_TRUE(converter.convert("b\xC3\xA9", out));
  EXPECT_EQ(out, u"b\u00E9");
  EXPECT_EQ(out.capacity(), capacity);
  ASSERT_FALSE(converter.convert("\xFF", out));
  EXPECT_EQ(out.capacity(), capacity);
}

TEST(Converter, WhatTheOutputHeldBeforeDoesNotMatter) {
  const fl::i18n::codecvt_string_to_ustring converter("UTF8", true);
  for (std::size_t size = 1; size <= 80; ++size) {
    const std::u16string before(size, u'x');
    std::u16string out = before;
    ASSERT_TRUE(converter.convert(std::string(size, 'a'), out));
    EXPECT_EQ(out, std::u16string(size, u'a'));
    for (std::size_t at = 0; at < size; ++at) {
      std::string text(size, 'a');
      text[at] = '\x80';
      out = before;
      EXPECT_FALSE(converter.convert(text, out)) << size << " at " << at;
      EXPECT_EQ(out, u"");
      if (at + 1 == size) continue;
      text[at] = '\xC3';
      text[at + 1] = '\xA9';
      out = before;
      EXPECT_TRUE(converter.convert(text, out)) << size << " at " << at;
      EXPECT_EQ(out, std::u16string(at, u'a') + u'\u00E9' + std::u16string(size - at - 2, u'a'));
    }
  }
}

TEST(Ustring, ConvertsThereAndBack) {
  EXPECT_EQ(kr::zero::toUstring("na\xC3\xAFve \xF0\x9F\x98\x80"), u"na\u00EFve \U0001F600");
  EXPECT_EQ(kr::zero::toUtf8(u"na\u00EFve \U0001F600"), "na\xC3\xAFve \xF0\x9F\x98\x80");
  EXPECT_EQ(kr::zero::toUstring(""), u"");
  EXPECT_EQ(kr::zero::toUtf8(u""), "");
}

TEST(Ustring, MalformedTextThrows) {
  EXPECT_THROW(kr::zero::toUstring("\xC3"), std::invalid_argument);
  EXPECT_THROW(kr::zero::toUtf8(std::u16string(1, 0xD800)), std::invalid_argument);
}

TEST(Path, TheNativeFormIsUtf8) {
  EXPECT_EQ(fl::filesystem::detail::make_native_access_form_with_cleanup_i18n(u"/tmp/Stra\u00DFe.krb"),
            "/tmp/Stra\xC3\x9F"
            "e.krb");
}

TEST(Path, AnUnpairedSurrogateIsRefused) {
  EXPECT_THROW(
      fl::filesystem::detail::make_native_access_form_with_cleanup_i18n(std::u16string{u'a', 0xDC00}),
      std::invalid_argument);
}

TEST(Path, ANulIsRefused) {
  EXPECT_THROW(fl::filesystem::detail::make_native_access_form_with_cleanup_i18n({u"a\0b", 3}),
               std::invalid_argument);
}

}  // namespace
