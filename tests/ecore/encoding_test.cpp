// Documents come in many encodings.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EcoreTesting.h"
#include "kr/zero/io/ReadFailure.h"
#include "kr/zero/ustring.h"

namespace kr::zero::test {
namespace {

using testing::HasSubstr;

constexpr std::string_view bom = "\xEF\xBB\xBF";

std::string body(std::string_view name) { return nodeDocument("name='" + std::string(name) + "'"); }

std::string declared(std::string_view encoding, std::string_view name) {
  return "<?xml version=\"1.0\" encoding=\"" + std::string(encoding) + "\"?>\n" + body(name);
}

std::string utf16(const std::string& text, bool isBigEndian, bool withMark) {
  std::string bytes;
  for (const char16_t unit : (withMark ? u"\uFEFF" : u"") + toUstring(text)) {
    const char high = static_cast<char>(unit >> 8);
    const char low = static_cast<char>(unit & 0xFF);
    bytes += isBigEndian ? high : low;
    bytes += isBigEndian ? low : high;
  }
  return bytes;
}

std::string nameIn(const std::string& document) {
  return std::string(nodeModels().read(document).getRoots().front().getText("name"));
}

TEST(Encodings, Utf8IsMeantWhereNothingIsSaid) { EXPECT_EQ(nameIn(body("\xC3\xA4")), "\xC3\xA4"); }

TEST(Encodings, AByteOrderMarkDoesNotCount) {
  EXPECT_EQ(nameIn(std::string(bom) + declared("utf-8", "\xC3\xA4")), "\xC3\xA4");
}

TEST(Encodings, Utf16OfBothOrdersIsReadWithAndWithoutMark) {
  for (const bool isBigEndian : {false, true})
    for (const bool withMark : {false, true})
      EXPECT_EQ(nameIn(utf16(declared("UTF-16", "\xC3\xA4\xF0\x9F\x98\x80"), isBigEndian, withMark)),
                "\xC3\xA4\xF0\x9F\x98\x80");
}

TEST(Encodings, Latin1AndAsciiAreRead) {
  EXPECT_EQ(nameIn(declared("ISO-8859-1", "\xE4")), "\xC3\xA4");
  EXPECT_EQ(nameIn(declared("ASCII", "&#228;")), "\xC3\xA4");
}

TEST(Encodings, BytesThatAreNotInTheEncodingAreRefused) {
  EXPECT_THAT(refusalOf(nodeModels(), declared("UTF-8", "\xE4")),
              HasSubstr("line 2: the text is not well-formed UTF-8"));
  EXPECT_THAT(refusalOf(nodeModels(), declared("ASCII", "\xC3\xA4")), HasSubstr("are not ASCII"));
  EXPECT_THAT(refusalOf(nodeModels(), utf16(declared("UTF-16", "a"), false, true) + "x"),
              HasSubstr("are not UTF-16LE"));
}

TEST(Encodings, OverlongFormsAndSurrogatesAreRefused) {
  for (const char* name : {"\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE4\xB8"})
    EXPECT_THAT(refusalOf(nodeModels(), body(name)), HasSubstr("not well-formed UTF-8"));
}

TEST(Encodings, AnUnknownOneIsRefusedByName) {
  EXPECT_THAT(refusalOf(nodeModels(), declared("KLINGON-1", "a")),
              HasSubstr("the encoding \"KLINGON-1\" is not known"));
  EXPECT_THAT(refusalOf(nodeModels(), declared("UTF-8//IGNORE", "a")), HasSubstr("is not known"));
}

TEST(Encodings, ADeclarationThatContradictsTheBytesIsRefused) {
  EXPECT_THAT(refusalOf(nodeModels(), declared("UTF-16", "a")),
              HasSubstr("it says that it is in UTF-16, but it is not"));
}

TEST(Encodings, LinesEndInAnyOfThreeWays) {
  EXPECT_THAT(refusalOf(nodeModels(), nodeDocument("", "\r\n\r\r<x/>")), HasSubstr("line 4:"));
}

TEST(LooksLikeXml, TellsXmlFromTheBinaryFormats) {
  EXPECT_TRUE(io::looksLikeXml("<a/>"));
  EXPECT_TRUE(io::looksLikeXml(" \r\n\t<?xml"));
  EXPECT_TRUE(io::looksLikeXml(std::string(bom) + "<a"));
  EXPECT_TRUE(io::looksLikeXml(utf16("<a/>", true, true)));
  EXPECT_TRUE(io::looksLikeXml(utf16("<a/>", false, false)));
  EXPECT_FALSE(io::looksLikeXml(""));
  EXPECT_FALSE(io::looksLikeXml("  "));
  EXPECT_FALSE(io::looksLikeXml(std::string("\x01\x02kr", 4)));
}

}  // namespace
}  // namespace kr::zero::test
