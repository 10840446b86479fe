// The tool and documents of the tagged format.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test::tagged {

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;

// The example model in the tagged format.
const std::string& libraryKrt() {
  static const std::string path = [] {
    std::string made = freshFolder() + "/library.krt";
    const Ended ended = kr0({"convert", libraryXmi(), made, "-m", libraryEcore()});
    EXPECT_EQ(ended.code, 0) << ended.err;
    return made;
  }();
  return path;
}

// Bytes after the conversion of a document to the format of `to`.
std::string converted(const std::string& from, const std::string& to) {
  const std::string path = freshFolder() + "/" + to;
  const Ended ended = kr0({"convert", from, path, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 0) << ended.err;
  return readFile(path);
}

std::string outOf(const std::vector<std::string>& arguments, const std::string& input = {}) {
  const Ended ended = kr0(arguments, input);
  EXPECT_EQ(ended.code, 0) << ended.err;
  return ended.out;
}

void expectRefused(const Ended& ended, const testing::Matcher<const std::string&>& sentence, int code = 1) {
  EXPECT_EQ(ended.code, code);
  EXPECT_EQ(ended.out, "");
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  EXPECT_THAT(ended.err, sentence);
}

// --- Documents written by hand

const std::string header = "\x01\x20\x01\x30\x02kr";
const std::string versionOne = "\x20\x01";

std::string text(const std::string& t) { return "\x30" + std::string(1, static_cast<char>(t.size())) + t; }
std::string namedEntry(const std::string& name, const std::string& content) {
  return "\x09" + name + content + "\x10";
}
std::string entry(const std::string& name, const std::string& content) {
  return namedEntry(text(name), content);
}
std::string sequence(const std::string& items) { return "\x05" + items + "\x06"; }

std::string object(const std::string& metadata, const std::string& properties) {
  return "\x07" + metadata + "\x08\x03" + properties + "\x04";
}
std::string document(const std::string& objects, const std::string& package = text("urn:p"),
                     const std::string& version = versionOne) {
  return header + "\x07" + entry("version", version) + entry("packages", sequence(package)) + "\x08" +
         sequence(objects) + "\x02";
}
// A document of one object of class "p.C".
std::string documentOf(const std::string& properties) {
  return document(object(entry("type", text("p.C")), properties));
}

// No control character but line feeds, neither ASCII's nor those that UTF-8 writes in two bytes.
bool isFitForATerminal(const std::string& out) {
  for (std::size_t i = 0; i < out.size(); ++i) {
    const auto byte = static_cast<unsigned char>(out[i]);
    if ((byte < 0x20 && byte != '\n') || byte == 0x7F) return false;
    if (byte == 0xC2 && static_cast<unsigned char>(out.at(i + 1)) < 0xA0) return false;
  }
  return true;
}

// But `cat --events`, which prints the events of whatever document.
void expectRefusedByEveryVerb(const std::string& bytes, const testing::Matcher<const std::string&>& what) {
  const Ended asJson = kr0({"cat", "-", "--json"}, bytes);
  EXPECT_EQ(asJson.code, 1);
  EXPECT_EQ(asJson.out, "");
  EXPECT_THAT(asJson.err, what);
  expectRefused(kr0({"cat", "-"}, bytes), testing::AllOf(what, HasSubstr(", byte ")));
  expectRefused(kr0({"info", "-"}, bytes), what);
}

}  // namespace

TEST(Tagged, EveryFormatBecomesEveryOther) {
  EXPECT_EQ(converted(libraryKrt(), "a.xmi"), readFile(libraryXmi()));
  EXPECT_EQ(converted(libraryKrt(), "a.krb"), readFile(libraryKrb()));
  EXPECT_EQ(converted(libraryKrb(), "a.krt"), readFile(libraryKrt()));
  EXPECT_EQ(converted(libraryKrt(), "a.krt"), readFile(libraryKrt()));
}

TEST(Tagged, ADocumentIsKnownByItsContent) {
  EXPECT_THAT(outOf({"info", "-"}, readFile(libraryKrt())), HasSubstr("format: krt\n"));
  EXPECT_THAT(outOf({"info", "-"}, readFile(libraryKrb())), HasSubstr("format: krb\n"));
}

TEST(Tagged, StandardOutputTakesIt) {
  EXPECT_EQ(outOf({"convert", libraryKrb(), "-", "--to", "krt", "-m", libraryEcore()}),
            readFile(libraryKrt()));
}

TEST(Tagged, InfoNeedsNoMetaModel) {
  const std::string without = outOf({"info", libraryKrt()});
  EXPECT_TRUE(without.starts_with("format: krt\nversion: 1\n")) << without;
  EXPECT_THAT(without, HasSubstr("packages: 1\n  http://www.example.org/library\nelements: 37\n"));
  EXPECT_THAT(without, HasSubstr("       9  library.Book\n"));
  EXPECT_EQ(outOf({"info", libraryKrt(), "-m", libraryEcore()}), without);
}

TEST(Tagged, CatNeedsNoMetaModel) {
  const std::string text = outOf({"cat", libraryKrt()});
  EXPECT_TRUE(
      text.starts_with("library.Library #1\n"
                       "  name = \"Riverside Library\"\n"
                       "  founded = \"1897-05-03\"\n"
                       "  openOnSunday = true\n"
                       "  shelfMetres = 1284.75\n"
                       "  address: library.Address #2\n"
                       "    street = \"Weaver's Quay\"\n"
                       "    number = 14\n"))
      << text;
  EXPECT_THAT(text, HasSubstr("  authors[0]: library.Author #3 id \"#\" \"3\"\n"));
  EXPECT_THAT(text, HasSubstr("    keywords = \"monster\", \"ice & electricity\"\n    ratings = 5, 4, 5\n"
                              "    authors -> library.Author id \"#\" \"3\"\n"));
}

TEST(Tagged, CatWithAMetaModelPrintsWhatTheOtherFormatsPrint) {
  for (const char* kind : {"--quiet", "--json"})
    EXPECT_EQ(outOf({"cat", libraryKrt(), "-m", libraryEcore(), kind}),
              outOf({"cat", libraryKrb(), "-m", libraryEcore(), kind}));
}

TEST(Tagged, JsonWithoutMetaModelHoldsTheSameValues) {
  const json library = json::parse(outOf({"cat", libraryKrt(), "--json"})).at("elements").at(0);
  EXPECT_EQ(library.at("class"), "library.Library");
  const json& properties = library.at("properties");
  EXPECT_EQ(properties.at("openOnSunday"), true);
  EXPECT_EQ(properties.at("shelfMetres"), 1284.75);
  EXPECT_EQ(properties.at("members").at(2).at("properties").at("card"), 9007199254740993);
  EXPECT_EQ(properties.at("books").at(0).at("properties").at("ratings"), json({5, 4, 5}));
  EXPECT_EQ(properties.at("books").at(0).at("properties").at("authors").at(0).at("ref"),
            json({{"class", "library.Author"}, {"identity", {"#", "3"}}}));
}

TEST(Tagged, AReferenceIntoAnotherDocumentIsPrintedWithItsTexts) {
  const std::string xmi =
      R"(<chain:Node xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI" xmlns:chain="urn:chain" name="a">)"
      R"(<friend href="elsewhere.xmi#//@child"/></chain:Node>)";
  const std::string krt = outOf({"convert", "-", "-", "--to", "krt", "-m", chainEcore()}, xmi);
  const std::string text = outOf({"cat", "-"}, krt);
  EXPECT_THAT(text, HasSubstr("  friend -> chain.Node id "));
  EXPECT_THAT(text, HasSubstr(" in \"elsewhere.xmi\"\n"));
  const json target = json::parse(outOf({"cat", "-", "--json"}, krt)).at("elements").at(0);
  EXPECT_EQ(target.at("properties").at("friend").at("ref").at("document"), "elsewhere.xmi");
}

TEST(Tagged, AStructThatOnlyBeginsLikeAReferenceIsPrintedAsOne) {
  // A datatype value with a text "type" and a number "id".
  const std::string value = "\x03" + entry("type", text("x")) + entry("id", "\x20\x07") + "\x04";
  const std::string bytes = documentOf(entry("one", value) + entry("many", sequence(value + "\x03\x04")) +
                                       entry("none", sequence("")) + entry("null", "\x16"));
  EXPECT_EQ(outOf({"cat", "-"}, bytes),
            "p.C #1\n"
            "  one:\n"
            "    type = \"x\"\n"
            "    id = 7\n"
            "  many[0]:\n"
            "    type = \"x\"\n"
            "    id = 7\n"
            "  many[1]:\n"
            "  none is empty\n"
            "  null is empty\n");
  const json properties = json::parse(outOf({"cat", "-", "--json"}, bytes))["elements"][0]["properties"];
  const json expected = {{"properties", {{"type", "x"}, {"id", 7}}}};
  EXPECT_EQ(properties.at("one"), expected);
  EXPECT_EQ(properties.at("many").at(0), expected);
  EXPECT_EQ(properties.at("none"), json::array());
  EXPECT_TRUE(properties.at("null").is_null());
}

TEST(Tagged, EventsArePrintedOneALine) {
  const std::string events = outOf({"cat", libraryKrt(), "--events"});
  EXPECT_TRUE(
      events.starts_with("StartDocument\n  StartMetadata\n    StartNamedEntry \"version\"\n      u 1\n"))
      << events.substr(0, 200);
  EXPECT_TRUE(events.ends_with("    EndStruct\n  EndSequence\nEndDocument\n"));
}

TEST(Tagged, EventsOfOtherFormatsComeByTheModel) {
  const std::string events = outOf({"cat", libraryKrb(), "--events", "-m", libraryEcore()});
  EXPECT_EQ(outOf({"cat", libraryXmi(), "--events", "-m", libraryEcore()}), events);
  EXPECT_THAT(events, HasSubstr("StartNamedEntry \"shelfMetres\"\n        r 1284.75\n"));
}

TEST(Tagged, OtherFormatsNeedTheMetaModelToBePrinted) {
  for (const char* flag : {"--json", "--events"})
    expectRefused(kr0({"cat", libraryKrb(), flag}),
                  HasSubstr("reading the format krb takes the meta model, give it with -m"), 2);
}

TEST(Tagged, EventsAndJsonExcludeEachOther) {
  expectRefused(kr0({"cat", libraryKrt(), "--events", "--json"}), HasSubstr("--json and --events"), 2);
}

TEST(Tagged, ACutDocumentIsRefusedByEveryVerbWithTheByte) {
  const std::string whole = readFile(libraryKrt());
  const std::string folder = freshFolder(), path = folder + "/cut.krt", results = freshFolder();
  const std::string allEvents = outOf({"cat", libraryKrt(), "--events"});
  std::size_t before = 0;
  for (std::size_t size = 1; size < whole.size(); size += 509) {
    writeFile(path, whole.substr(0, size));
    const auto named = HasSubstr("cut.krt, byte " + std::to_string(size));
    expectRefused(kr0({"info", path}), named);
    expectRefused(kr0({"cat", path}), named);
    const Ended events = kr0({"cat", path, "--events"});
    EXPECT_EQ(events.code, 1);
    EXPECT_THAT(events.err, named);
    EXPECT_TRUE(allEvents.starts_with(events.out));
    EXPECT_GE(events.out.size(), before);  // the more of the document there is, the more is printed
    before = events.out.size();
    expectRefused(kr0({"convert", path, results + "/a.xmi", "-m", libraryEcore()}), named);
  }
  EXPECT_THAT(filesIn(results), IsEmpty());
}

TEST(Tagged, ADocumentCutBehindItsLastElementIsRefused) {
  const std::string whole = readFile(libraryKrt());
  expectRefused(
      kr0({"cat", "-"}, whole.substr(0, whole.size() - 1)),
      HasSubstr(", byte " + std::to_string(whole.size() - 1) + ": the document ends without its end mark"));
}

TEST(Tagged, AMalformedTextIsRefusedBeforeAnythingIsPrinted) {
  std::string bytes = readFile(libraryKrt());
  bytes[bytes.find("Riverside")] = '\xFF';
  for (const char* flag : {"--json", "--quiet"})
    expectRefused(kr0({"cat", "-", flag}, bytes),
                  testing::ContainsRegex(", byte [0-9]+: a text is not well-formed UTF-8"));
}

TEST(Tagged, ADocumentOfTheOtherBinaryFormatIsPointedOut) {
  const std::string folder = freshFolder();
  writeFile(folder + "/a.krt", readFile(libraryKrb()));
  writeFile(folder + "/a.krb", readFile(libraryKrt()));
  expectRefused(kr0({"info", folder + "/a.krt"}), HasSubstr("(it looks like krb)"));
  expectRefused(kr0({"info", folder + "/a.krb"}), HasSubstr("(it looks like krt)"));
}

TEST(Tagged, AValueOutOfRangeNamesElementAndProperty) {
  std::string bytes = readFile(libraryKrt());
  const std::string entry("\x09\x30\x05pages\x21", 9);
  const std::size_t at = bytes.find(entry);
  ASSERT_NE(at, bytes.npos);
  bytes.replace(at, entry.size() + 2, std::string("\x09\x30\x05pages\x27", 9) + std::string(8, '\x7F'));
  expectRefused(kr0({"convert", "-", "-", "--to", "xmi", "-m", libraryEcore()}, bytes),
                testing::AllOf(HasSubstr("/library/books[0].pages: "),
                               HasSubstr("out of the range of its type "), HasSubstr(", byte ")));
}

TEST(Tagged, NothingThatATerminalWouldObeyIsPrinted) {
  const std::string evil = "a\x1b[2J\x07\x7f\xC2\x9b\xC2\x80z\n";
  const std::string id = entry("id", sequence(text(evil) + text(evil)));
  const std::string reference =
      "\x03" + entry("type", text(evil)) + id + entry("qualifier", text(evil)) + "\x04";
  const std::string bytes = document(
      object(entry("type", text(evil)) + id, entry(evil, text(evil)) + entry("ref", reference)), text(evil));
  for (const char* flag : {"--json", "--events", "--quiet"})
    EXPECT_TRUE(isFitForATerminal(outOf({"cat", "-", flag}, bytes))) << flag;
  EXPECT_TRUE(isFitForATerminal(outOf({"info", "-"}, bytes)));
  // A name cannot end its line.
  const std::string quoted = R"("a\u001b[2J\u0007\u007f\u009b\u0080z\n")";
  EXPECT_EQ(outOf({"cat", "-"}, bytes), quoted + " #1 id " + quoted + " " + quoted + "\n  " + quoted + " = " +
                                            quoted + "\n  ref -> " + quoted + " id " + quoted + " " + quoted +
                                            " in " + quoted + "\n");
  const json element = json::parse(outOf({"cat", "-", "--json"}, bytes)).at("elements").at(0);
  EXPECT_EQ(element.at("class"), evil);
  EXPECT_EQ(element.at("properties").at(evil), evil);
}

TEST(Tagged, EmptyNamesAreSeen) {
  const std::string bytes = document(object(entry("type", text("")), entry("", text(""))), text(""));
  EXPECT_EQ(outOf({"cat", "-"}, bytes), "\"\" #1\n  \"\" = \"\"\n");
  EXPECT_THAT(outOf({"info", "-"}, bytes), HasSubstr("packages: 1\n  \"\"\nelements: 1\n       1  \"\"\n"));
}

TEST(Tagged, TextsOfAllScriptsArePrintedAsTheyAre) {
  const std::string word = "\u00A0\u00C2\u00FF \u1F19 \U0001F9CC";
  EXPECT_THAT(outOf({"cat", "-"}, documentOf(entry(word, text(word)))),
              HasSubstr("  " + word + " = \"" + word + "\"\n"));
}

TEST(Tagged, NumbersAreWholeUpToTheirEnds) {
  const std::string most(8, '\xFF');
  const std::string values = "\x27" + most + "\x2F" + std::string(7, '\0') + "\x80";
  const std::string bytes = documentOf(entry("n", sequence(values)));
  EXPECT_THAT(outOf({"cat", "-"}, bytes), HasSubstr("  n = 18446744073709551615, -9223372036854775808\n"));
  EXPECT_THAT(outOf({"cat", "-", "--json"}, bytes), HasSubstr("[18446744073709551615,-9223372036854775808]"));
}

TEST(Tagged, WhatFailsInTheGrammarIsToldWithoutItsProcessors) {
  expectRefusedByEveryVerb(header + "\x03\x04\x02",
                           HasSubstr("standard input, byte 8: expected StartMetadata, found StartStruct\n"));
  expectRefused(kr0({"convert", "-", "-", "--to", "xmi", "-m", libraryEcore()}, header + "\x03\x04\x02"),
                HasSubstr("standard input, byte 8: expected StartMetadata, found StartStruct\n"));
}

TEST(Tagged, ANameThatIsNoTextIsRefused) {
  expectRefusedByEveryVerb(documentOf(namedEntry("\x20\x07", text("x"))),
                           HasSubstr("the name of an entry is not a text"));
}

TEST(Tagged, MetadataOfOtherContentIsRefused) {
  const auto ofType = [](const std::string& type) { return document(object(entry("type", type), "")); };
  expectRefusedByEveryVerb(ofType("\x20\x07"), HasSubstr("metadata holds a value that is not a text"));
  expectRefusedByEveryVerb(document("", "\x20\x07"), HasSubstr("metadata holds a value that is not a text"));
  expectRefusedByEveryVerb(
      document(object(entry("type", text("p.C")) + entry("id", sequence("\x20\x01\x20\x02")), "")),
      HasSubstr("metadata holds a value that is not a text"));
  expectRefusedByEveryVerb(document(object(entry("kind", text("p.C")), "")),
                           HasSubstr("expected the entry \"type\" of metadata, found \"kind\""));
  expectRefusedByEveryVerb(
      document(object(entry("type", text("p.C")) + entry("key", sequence(text("a") + text("b"))), "")),
      HasSubstr("expected the entry \"id\" of metadata, found \"key\""));
  expectRefusedByEveryVerb(header + "\x07" + entry("packages", versionOne) + "\x08\x05\x06\x02",
                           HasSubstr("expected the entry \"version\" of metadata, found \"packages\""));
}

TEST(Tagged, AnotherVersionIsRefused) {
  for (const char* version : {"\x20\x02", "\x12", "\x30\x01z"})
    expectRefusedByEveryVerb(document("", text("urn:p"), version), HasSubstr("the version is not 1"));
}

TEST(Tagged, ASequenceInASequenceIsRefused) {
  expectRefusedByEveryVerb(documentOf(entry("k", sequence("\x12" + sequence("\x12")))),
                           HasSubstr("a sequence stands in a sequence"));
}

TEST(Tagged, ADeepDocumentIsPrintedOnASmallStack) {
  const std::string folder = freshFolder();
  writeFile(folder + "/deep.xmi", chainXmi(30'000));
  const char* const limit = "ulimit -s 256; ";
  const Ended ended =
      bash(std::string(limit) +
               "$KR0 convert $1/deep.xmi $1/deep.krt -m $2 && $KR0 cat $1/deep.krt | wc -l && "
               "$KR0 cat $1/deep.krt --json | wc -l && $KR0 cat $1/deep.krt --events | wc -l",
           {folder, chainEcore()});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_THAT(ended.out, testing::MatchesRegex("60000\n30001\n[0-9]+\n"));
}

}  // namespace kr::zero::test::tagged
