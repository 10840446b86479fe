// Texts as a length and UTF-8, with and without the short way for ASCII.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "direct/TextWriter.h"
#include "kr/zero/io/Errors.h"
#include "kr/zero/ustring.h"
#include "support/DirectBytes.h"

namespace kr::zero::io {

namespace {

using test::Bytes;

Bytes written(const ustring& text) {
  values::ByteBuffer out;
  TextWriter().append(out, text);
  return {out.data(), out.data() + out.size()};
}

}  // namespace

TEST(TextWriter, WritesTheEmptyTextAsOneZero) { EXPECT_EQ(written(u""), Bytes{0}); }

TEST(TextWriter, WritesAsciiOfAnyLength) {
  std::string text;
  for (int size = 0; size <= 300; ++size) {
    EXPECT_EQ(written(toUstring(text)), test::DirectBytes().text(text).bytes()) << size;
    text.push_back(static_cast<char>(size % 128));
  }
}

TEST(TextWriter, FindsAnyOtherUnitWhereverItStands) {
  for (std::size_t size = 1; size <= 20; ++size) {
    for (std::size_t at = 0; at < size; ++at) {
      for (const char16_t unit : {u'\x80', u'\xFF', u'\u0100', u'\u0800', u'\uFFFF'}) {
        ustring text(size, u'x');
        text[at] = unit;
        EXPECT_EQ(written(text), test::DirectBytes().text(toUtf8(text)).bytes()) << size << " " << at;
      }
    }
  }
}

TEST(TextWriter, CountsBytesNotUnits) {
  EXPECT_EQ(written(u"\u00E4"), (Bytes{2, 0xC3, 0xA4}));
  EXPECT_EQ(written(u"\U0001F4D6"), (Bytes{4, 0xF0, 0x9F, 0x93, 0x96}));
  // 100 units, but 200 bytes: the length takes two bytes as well.
  EXPECT_EQ(written(ustring(100, u'\u00E4')).size(), 202u);
}

TEST(TextWriter, RefusesASurrogateThatStandsAlone) {
  for (const ustring& text : {ustring{0xD800}, ustring{0xDFFF}, ustring{u'a', 0xDC00, 0xD800, u'b'},
                              ustring{0xD800, 0xD800, 0xDC00}})
    EXPECT_THROW(written(text), Error<kr0::io::CannotSerialize>);
}

TEST(TextWriter, AppendsNothingOfATextThatIsRefused) {
  values::ByteBuffer out;
  TextWriter writer;
  writer.append(out, u"a");
  EXPECT_THROW(writer.append(out, ustring{u'b', 0xD800}), Error<kr0::io::CannotSerialize>);
  writer.append(out, u"c");
  EXPECT_EQ(Bytes(out.data(), out.data() + out.size()), (Bytes{1, 'a', 1, 'c'}));
}

}  // namespace kr::zero::io
