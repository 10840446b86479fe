// What `kr0 inspect`, `kr0 salvage` and `kr0 cat --events` make of documents, damaged ones too.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

std::string overwritten(std::string bytes, std::size_t at) { return bytes.replace(at, 16, 16, '\xff'); }

/// The example, with sixteen bytes overwritten.
std::string damagedKrb() {
  const std::string path = temporaryPath("damaged.krb");
  writeFile(path, overwritten(readFile(libraryKrb()), 1600));
  return path;
}

std::string converted(const std::string& name) {
  const std::string path = temporaryPath(name);
  EXPECT_EQ(kr0({"convert", libraryXmi(), path, "-m", libraryEcore()}).code, 0);
  return path;
}

}  // namespace

TEST(InspectVerb, AThingIsOffsetBytesAndMeaning) {
  const Ended ended = kr0({"inspect", libraryKrb(), "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_TRUE(
      ended.out.starts_with("0000  01                       version 1\n"
                            "0001  02 6b 72                 byte order \"kr\"\n"));
  EXPECT_THAT(ended.out, HasSubstr("\n0057  03 01                      openOnSunday = true\n"));
}

TEST(InspectVerb, APathChoosesAnElementWithAllThatIsInIt) {
  const Ended ended = kr0({"inspect", libraryKrb(), "-m", libraryEcore(), "--at", "/library[0]/address"});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_THAT(ended.out, HasSubstr("/library/address: library.Address begins"));
  EXPECT_THAT(ended.out, HasSubstr("town = \"Ljubljana\""));
  EXPECT_THAT(ended.out, Not(HasSubstr("Riverside")));
}

TEST(InspectVerb, AnOffsetChoosesOneThing) {
  const Ended ended = kr0({"inspect", libraryKrb(), "-m", libraryEcore(), "--offset", "0x58"});
  EXPECT_EQ(ended.out, "in /library:\n0057  03 01                      openOnSunday = true\n") << ended.err;
}

TEST(InspectVerb, WhatIsNotThereIsSaid) {
  const Ended path = kr0({"inspect", libraryKrb(), "-m", libraryEcore(), "--at", "/museum"});
  EXPECT_EQ(path.code, 1);
  EXPECT_THAT(path.err, HasSubstr("there is nothing with the path \"/museum\"\n"));
  const Ended byte = kr0({"inspect", libraryKrb(), "--offset", "999999"});
  EXPECT_EQ(byte.code, 1);
  EXPECT_THAT(byte.err, HasSubstr("there is no byte with the offset 999999\n"));
  EXPECT_EQ(kr0({"inspect", libraryXmi()}).code, 2);
}

TEST(InspectVerb, JsonNotesCoverEveryByte) {
  for (const std::string& path : {libraryKrb(), damagedKrb()}) {
    const json all = json::parse(kr0({"inspect", path, "-m", libraryEcore(), "--json"}).out);
    std::size_t end = 0;
    for (const json& note : all.at("notes")) {
      EXPECT_EQ(note.at("offset"), end);
      end += note.at("bytes").get<std::size_t>();
    }
    EXPECT_EQ(end, readFile(path).size());
    EXPECT_EQ(all.at("isSound"), path == libraryKrb());
  }
}

TEST(InspectVerb, AnArchiveWhoseMetaModelIsBuiltInIsUnderstood) {
  const std::string path = temporaryPath("library_ecore.krz");
  ASSERT_EQ(kr0({"convert", libraryEcore(), path}).code, 0);
  EXPECT_THAT(kr0({"inspect", path}).out, HasSubstr("nsPrefix = \"library\"\n"));
}

TEST(InspectVerb, ADirectDocumentWithoutMetaModelTellsItsHeadAndNamesOfClasses) {
  const Ended ended = kr0({"inspect", libraryKrb()});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_THAT(ended.out, HasSubstr("package \"http://www.example.org/library\""));
  EXPECT_THAT(ended.out, HasSubstr("looks like the head of a library.Author"));
}

TEST(InspectVerb, ATaggedDocumentNeedsNoMetaModel) {
  const Ended ended = kr0({"inspect", converted("inspect.krt"), "--at", "/library/books[2].title"});
  EXPECT_THAT(ended.out, HasSubstr("title = \"Poems\"")) << ended.err;
}

TEST(InspectVerb, AnArchiveIsToldFrameByFrame) {
  const Ended ended = kr0({"inspect", converted("inspect.krz")});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_THAT(ended.out, HasSubstr("checksum of the manifest"));
  EXPECT_THAT(ended.out, HasSubstr("the document in it, krb, 3265 bytes:\n0000  01 "));
  EXPECT_THAT(ended.out, HasSubstr("town = \"Ljubljana\""));
}

TEST(InspectVerb, DamageIsToldAndReadingGoesOn) {
  const Ended ended = kr0({"inspect", damagedKrb(), "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 1);
  EXPECT_THAT(ended.out,
              HasSubstr("makes no sense: expected the second part of an identity, found a text of "));
  EXPECT_THAT(ended.out, HasSubstr("which is a guess\n"));
  EXPECT_THAT(ended.out, HasSubstr("title = \"Through the Looking-Glass\""));
}

TEST(SalvageVerb, AWholeDocumentComesBackAsItWas) {
  const std::string saved = temporaryPath("whole.xmi");
  const Ended ended = kr0({"salvage", libraryKrb(), saved, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(readFile(saved), readFile(libraryXmi()));
}

TEST(SalvageVerb, WhatIsLostIsListedAndTheRestIsThere) {
  const std::string saved = temporaryPath("saved.krb");
  const std::string report = temporaryPath("losses.txt");
  const Ended listed = kr0({"salvage", damagedKrb(), saved, "-m", libraryEcore()});
  EXPECT_EQ(listed.code, 3);
  EXPECT_THAT(
      listed.err,
      HasSubstr("damaged.krb, bytes 1582 to 1636, /library: expected the second part of an identity"));
  const Ended reported = kr0({"salvage", damagedKrb(), saved, "-m", libraryEcore(), "--report", report});
  EXPECT_EQ(reported.code, 3);
  EXPECT_EQ(reported.err, "");
  EXPECT_TRUE(readFile(report).starts_with("bytes 1582 to 1636, /library: "));
  const json info = json::parse(kr0({"info", saved, "-m", libraryEcore(), "--json"}).out);
  EXPECT_EQ(info.at("elements").at("total"), 37);
}

TEST(SalvageVerb, AnArchiveBringsTheMetaModelForItsDamagedDocument) {
  const std::string saved = temporaryPath("saved.xmi");
  const std::string damaged = temporaryPath("checksum.krz");
  std::string bytes = readFile(converted("salvage.krz"));
  bytes.back() = static_cast<char>(bytes.back() ^ 1);  // of the document's checksum
  writeFile(damaged, bytes);
  const Ended ended = kr0({"salvage", damaged, saved});
  EXPECT_EQ(ended.code, 3);
  EXPECT_THAT(ended.err, HasSubstr("the document of the archive is damaged"));
  EXPECT_EQ(readFile(saved), readFile(libraryXmi()));
}

TEST(SalvageVerb, NothingThatCanBeReadWritesNothing) {
  const std::string saved = temporaryPath("nothing.krb");
  const std::string notes = temporaryPath("notes.krb");
  writeFile(notes, "hello, world\n");
  const Ended ended = kr0({"salvage", notes, saved, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 1);
  EXPECT_THAT(ended.err, HasSubstr("notes.krb: no element can be read"));
  EXPECT_THROW(static_cast<void>(readFile(saved)), std::exception);
}

TEST(CatEvents, EverythingBeforeDamageIsPrinted) {
  const std::string damaged = temporaryPath("damaged.krt");
  writeFile(damaged, overwritten(readFile(converted("events.krt")), 600));
  const Ended ended = kr0({"cat", "--events", damaged});
  EXPECT_EQ(ended.code, 1);
  EXPECT_THAT(ended.out, HasSubstr("\"Riverside Library\""));
  EXPECT_THAT(ended.err, HasSubstr("byte 601: byte is no tag that may stand here"));
}

TEST(CatEvents, ADocumentThatIsNoModelIsPrinted) {
  const std::string document("\x01\x20\x01\x30\x02kr\x03\x09\x30\x01x\x11\x12\x10\x04\x02", 17);
  const Ended ended = kr0({"cat", "--events", "--from", "krt", "-"}, document);
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_THAT(ended.out, HasSubstr("StartNamedEntry \"x\""));
  EXPECT_THAT(ended.out, HasSubstr("EndDocument"));
}

}  // namespace kr::zero::test
