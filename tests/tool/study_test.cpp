// What `kr0 check`, `kr0 stats`, `kr0 digest`, `kr0 join`, `kr0 extract` and `kr0 cat --stable` do with
// documents.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test::study {

namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

std::string outOf(std::vector<std::string> call) {
  call.insert(call.end(), {"-m", libraryEcore()});
  const Ended ended = kr0(call);
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.err, "");
  return ended.out;
}

/// The example in a format, in a folder of its own.
std::string libraryAs(const std::string& extension) {
  const std::string path = freshFolder() + "/library." + extension;
  outOf({"convert", libraryXmi(), path});
  return path;
}

std::string fileWith(const std::string& name, const std::string& bytes) {
  const std::string path = freshFolder() + "/" + name;
  writeFile(path, bytes);
  return path;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

std::vector<std::string> linesOf(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

void expectSameModel(const std::string& a, const std::string& b) {
  EXPECT_EQ(outOf({"digest", a}).substr(0, 64), outOf({"digest", b}).substr(0, 64));
}

}  // namespace

// --- check

TEST(Check, WholeDocumentsOfAllFormatsAreOk) {
  for (const char* extension : {"krb", "krt", "krz", "xmi", "json", "krb.gz"}) {
    const std::string path = libraryAs(extension);
    EXPECT_EQ(outOf({"check", path}), path + ": ok\n");
    EXPECT_EQ(outOf({"-q", "check", path}), "");
  }
}

TEST(Check, EachFindingIsALineAndTheOthersAreLookedAtAllTheSame) {
  const std::string bytes = readFile(libraryKrb());
  const std::string cut = fileWith("cut.krb", bytes.substr(0, 2000));
  const std::string text = fileWith("text.krb", "no document");
  const Ended ended = kr0({"check", cut, text, libraryKrb(), "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(ended.err, "");
  const std::vector<std::string> lines = linesOf(ended.out);
  ASSERT_EQ(lines.size(), 3u) << ended.out;
  EXPECT_EQ(lines[0], cut +
                          ": text cut short while a value of type library.Book was read "
                          "(/library/books[5].prequel, byte 1998)");
  EXPECT_THAT(lines[1], testing::StartsWith(text + ": "));
  EXPECT_EQ(lines[2], libraryKrb() + ": ok");
}

TEST(Check, RulesOfTheMetaModelAreKept) {
  const std::string xmi =
      fileWith("a.xmi", replaced(readFile(libraryXmi()), "<books title=\"Poems\"", "<books"));
  const Ended ended = kr0({"check", xmi, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(ended.out, xmi + ": is required and not set (/library/books[2].title)\n");
}

TEST(Check, BytesThatReadersTakeAndWritersDoNotMakeAreFound) {
  const std::string bytes = readFile(libraryKrb());
  // The count of packages, 1, in two bytes.
  const std::string longer =
      fileWith("longer.krb", bytes.substr(0, 4) + "\x81" + std::string(1, '\0') + bytes.substr(5));
  const Ended ended = kr0({"check", longer, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(ended.out,
            longer + ": it reads well, and kr0 would write it differently: " + std::to_string(bytes.size()) +
                " bytes, not " + std::to_string(bytes.size() + 1) + " (byte 4)\n");
}

TEST(Check, ReferencesThatLeadNowhereAreNotesUnlessTheCallIsStrict) {
  const std::string folder = freshFolder();
  outOf({"extract", libraryXmi(), "/library/books[3]", "-o", folder + "/one.krb"});
  const std::string note =
      "the reference at position 0 to library.Author \"path\", \"/library/authors[3]\" leads to no element "
      "of the "
      "model (/book.authors)\n";
  const std::string path = folder + "/one.krb";
  EXPECT_EQ(outOf({"check", path}), path + ": note: " + note + path + ": ok\n");
  const Ended strict = kr0({"check", "--strict", path, "-m", libraryEcore()});
  EXPECT_EQ(strict.code, 1);
  EXPECT_EQ(strict.out, path + ": " + note);
}

TEST(Check, JsonNamesKindAndPlaceOfEachFinding) {
  const std::string cut = fileWith("cut.krb", readFile(libraryKrb()).substr(0, 2000));
  const Ended ended = kr0({"check", "--json", cut, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 1);
  const json found = json::parse(ended.out);
  EXPECT_EQ(found.at("file"), cut);
  EXPECT_EQ(found.at("ok"), false);
  EXPECT_EQ(found.at("findings"),
            json::array({{{"kind", "damaged"},
                          {"wrong", true},
                          {"text", "text cut short while a value of type library.Book was read"},
                          {"place", "/library/books[5].prequel, byte 1998"}}}));
}

TEST(Check, AFileThatIsNotThereIsNoFinding) {
  const Ended ended = kr0({"check", "/no/such.krb", "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(ended.out, "");
  EXPECT_THAT(ended.err, HasSubstr("/no/such.krb"));
}

// --- stats

TEST(Stats, BytesOfClassesAndPropertiesAddUpToTheDocument) {
  for (const char* extension : {"krb", "krt"}) {
    const std::string path = libraryAs(extension);
    const json figures = json::parse(outOf({"stats", "--json", path}));
    std::uint64_t sum = figures.at("document").at("around");
    for (const json& type : figures.at("document").at("types")) {
      std::uint64_t bytes = type.at("own");
      for (const json& property : type.at("properties")) bytes += property.at("bytes").get<std::uint64_t>();
      EXPECT_EQ(bytes, type.at("bytes")) << type;
      sum += bytes;
    }
    EXPECT_EQ(sum, std::filesystem::file_size(path));
    EXPECT_EQ(figures.at("document").at("surplus"), 0);
  }
}

TEST(Stats, CountsAreThoseOfTheExample) {
  const json figures = json::parse(outOf({"stats", "--json", libraryXmi()}));
  EXPECT_EQ(figures.at("format"), "xmi");
  EXPECT_EQ(figures.at("elements"), 37);
  EXPECT_EQ(figures.at("levels"), json({1, 28, 8}));
  EXPECT_EQ(figures.at("references"), json({{"resolved", 42}, {"outside", 0}, {"unresolved", 0}}));
  EXPECT_EQ(figures.at("document").at("format"), "krb");
  const json& book = figures.at("document").at("types").at(0);
  EXPECT_EQ(book.at("name"), "library.Book");
  EXPECT_EQ(book.at("instances"), 9);
}

TEST(Stats, ATableEndsWithTheSizeOfTheDocument) {
  const std::string path = libraryAs("krz");
  const std::vector<std::string> lines = linesOf(outOf({"stats", path, "--as", "krt"}));
  const json figures = json::parse(outOf({"stats", path, "--as", "krt", "--json"}));
  const std::string bytes = figures.at("document").at("bytes").dump();
  EXPECT_EQ(bytes, std::to_string(std::filesystem::file_size(libraryAs("krt"))));
  EXPECT_EQ(lines.at(2), "as krt: " + bytes + " bytes");
  EXPECT_THAT(lines.back(), testing::EndsWith(" " + bytes + "   100.0 %  in all"));
}

TEST(Stats, BytesThatAWriterWouldNotMakeAreARowOfTheirOwn) {
  const std::string bytes = readFile(libraryKrb());
  const std::string longer =
      fileWith("longer.krb", bytes.substr(0, 4) + "\x81" + std::string(1, '\0') + bytes.substr(5));
  EXPECT_THAT(outOf({"stats", longer}), HasSubstr(" 1     0.0 %  (not as kr0 writes it)\n"));
}

// --- digest

TEST(Digest, IsTheSameInAllFormatsAndPrintedAsOthersDo) {
  const std::string krb = libraryAs("krb");
  const std::string krt = libraryAs("krt");
  const std::string krz = libraryAs("krz");
  const std::string asJson = libraryAs("json");
  const std::vector<std::string> lines = linesOf(outOf({"digest", krb, krt, krz, asJson, libraryXmi()}));
  ASSERT_EQ(lines.size(), 5u);
  const std::string digest = lines[0].substr(0, 64);
  EXPECT_EQ(digest.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_THAT(lines, ElementsAre(digest + "  " + krb, digest + "  " + krt, digest + "  " + krz,
                                 digest + "  " + asJson, digest + "  " + libraryXmi()));
  const std::string changed =
      fileWith("b.xmi", replaced(readFile(libraryXmi()), "pages=\"152\"", "pages=\"153\""));
  EXPECT_NE(outOf({"digest", changed}).substr(0, 64), digest);
}

// --- join and extract

TEST(Join, TheResultHasTheRootsOfAllInTheirOrder) {
  const std::string folder = freshFolder();
  outOf({"extract", libraryXmi(), "/library/books[2]", "/library/books[4]", "-o", folder + "/two.krb"});
  outOf({"join", folder + "/two.krb", libraryXmi(), "-o", folder + "/all.krt"});
  const json all = json::parse(outOf({"cat", "--json", folder + "/all.krt"})).at("elements");
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0].at("properties").at("title"), "Poems");
  EXPECT_EQ(all[2].at("class"), "library.Library");
  // What the two refer to is there again.
  EXPECT_TRUE(all[0].at("properties").at("authors")[0].at("ref").is_number());
}

TEST(Join, ArchivesBringTheirMetaModel) {
  const std::string folder = freshFolder();
  const std::string krz = libraryAs("krz");
  EXPECT_EQ(kr0({"join", krz, krz, "-o", folder + "/twice.krz"}).code, 0);
  EXPECT_THAT(kr0({"info", folder + "/twice.krz"}).out, HasSubstr("elements: 74\n"));
  const std::string node = chainEcore();
  const std::string chain = fileWith("chain.xmi", chainXmi(3));
  EXPECT_EQ(kr0({"convert", chain, folder + "/chain.krz", "-m", node}).code, 0);
  const Ended ended = kr0({"join", krz, folder + "/chain.krz", "-o", folder + "/x.krz"});
  EXPECT_EQ(ended.code, 1);
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  EXPECT_THAT(ended.err, HasSubstr("give that of all with -m"));
  EXPECT_EQ(
      kr0({"join", krz, folder + "/chain.krz", "-o", folder + "/x.krz", "-m", libraryEcore(), "-m", node})
          .err,
      "");
}

TEST(Join, OneIdentityTwiceIsRefusedOrDropped) {
  const std::string one = fileWith("one.xmi", replaced(readFile(libraryXmi()), "<books title=\"Poems\"",
                                                       "<books xmi:id=\"b3\" title=\"Poems\""));
  const std::string out = freshFolder() + "/out.krb";
  const Ended refused = kr0({"join", one, one, "-o", out, "-m", libraryEcore()});
  EXPECT_EQ(refused.code, 1);
  EXPECT_EQ(refused.err,
            "kr0: one.xmi: the identity \"xmi:id\", \"b3\" is that of an element of the documents before "
            "it, too; --drop-clashes takes it from the later one\n");
  const Ended dropped = kr0({"join", one, one, "-o", out, "--drop-clashes", "-m", libraryEcore()});
  EXPECT_EQ(dropped.code, 0);
  EXPECT_EQ(dropped.err, "kr0: 1 identity was that of an element before it, and is dropped\n");
}

TEST(Extract, TheRootIsTheWholeDocument) {
  const std::string path = freshFolder() + "/out.krb";
  outOf({"extract", libraryXmi(), "/library", "-o", path});
  expectSameModel(path, libraryXmi());
}

TEST(Extract, ReferencesComeAlongWhereThatIsAsked) {
  const std::string path = freshFolder() + "/out.xmi";
  outOf({"extract", libraryXmi(), "/library/books[title=\"Poems\"]", "-o", path, "--with-references"});
  EXPECT_EQ(outOf({"cat", "--stable", path}),
            "library.Book /book\n  title = \"Poems\"\n  isbn = \"978-0-00-000003-6\"\n  genre = poetry\n"
            "  pages = 152\n  kilograms = 0.18000000715255737\n  copies = 1\n  authors -> /author\n"
            "library.Author /author\n  name = \"Emily Dickinson\"\n  born = 1830-12-10\n  books -> /book\n");
}

TEST(Extract, APathThatLeadsNowhereIsNamed) {
  const Ended ended = kr0(
      {"extract", libraryXmi(), "/library/books[99]", "-o", freshFolder() + "/x.krb", "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(ended.err, "kr0: " + libraryXmi() + ": no element has the path /library/books[99]\n");
}

// --- cat --stable

/// What is new stands together. In JSON what is closed behind the element before it moves with it.
void expectOneNewPlace(const std::vector<std::string>& before, const std::vector<std::string>& after,
                       std::size_t moved) {
  const std::size_t head = static_cast<std::size_t>(
      std::mismatch(before.begin(), before.end(), after.begin(), after.end()).first - before.begin());
  const std::size_t tail = static_cast<std::size_t>(
      std::mismatch(before.rbegin(), before.rend(), after.rbegin(), after.rend()).first - before.rbegin());
  EXPECT_GE(head + tail + moved, before.size())
      << "not one place: " << before[std::min(head, before.size() - 1)];
  EXPECT_GT(after.size(), before.size());
}

TEST(Stable, OneInsertedElementChangesOnePlace) {
  const std::string xmi = readFile(libraryXmi());
  const std::string books[] = {
      "  <books title=\"Between\" pages=\"7\">\n    <chapters title=\"I\"/>\n  </books>\n",
      "  <books xsi:type=\"library:AudioBook\" title=\"Heard\"/>\n"};
  for (const std::string& book : books) {
    const std::string last = "  <members ";
    const std::string longer = fileWith("b.xmi", replaced(xmi, last, book + last));
    expectOneNewPlace(linesOf(outOf({"cat", "--stable", libraryXmi()})),
                      linesOf(outOf({"cat", "--stable", longer})), 0);
    expectOneNewPlace(linesOf(outOf({"cat", "--stable", "--json", libraryXmi()})),
                      linesOf(outOf({"cat", "--stable", "--json", longer})), 1);
  }
}

TEST(Stable, AnElementInFrontChangesNothingBehindIt) {
  const std::string folder = freshFolder();
  // The same books with another one in front: taken out as roots, where the order is that of the call.
  const std::vector<std::string> books = {"/library/books[0]", "/library/books[1]", "/library/books[3]"};
  std::vector<std::string> few = {"extract", libraryXmi(), "--with-references", "-o", folder + "/few.krb"};
  few.insert(few.end(), {books[1], books[2]});
  std::vector<std::string> more = {"extract", libraryXmi(), "--with-references", "-o", folder + "/more.krb"};
  more.insert(more.end(), {books[1], books[0], books[2]});
  outOf(few);
  outOf(more);
  const auto before = linesOf(outOf({"cat", "--stable", folder + "/few.krb"}));
  const auto after = linesOf(outOf({"cat", "--stable", folder + "/more.krb"}));
  for (const std::string& line : before) EXPECT_THAT(after, testing::Contains(line));
}

TEST(Stable, PathsOfReferencesLeadToElements) {
  const json book = json::parse(outOf({"cat", "--stable", "--json", libraryXmi()}))
                        .at("elements")[0]
                        .at("properties")
                        .at("books")[0];
  EXPECT_EQ(book.at("name"), "[title=\"Frankenstein; or, The Modern Prometheus\"]");
  const std::string path = book.at("properties").at("authors")[0].at("ref");
  EXPECT_EQ(path, "/library/authors[name=\"Mary Shelley\"]");
  const std::string out = freshFolder() + "/author.krb";
  outOf({"extract", libraryXmi(), path, "-o", out});
  EXPECT_THAT(outOf({"cat", out}), testing::StartsWith("library.Author #1\n  name = \"Mary Shelley\"\n"));
}

TEST(Stable, OfADeepPathTheBeginningIsAFigure) {
  const std::string ecore = fileWith(
      "tree.ecore",
      "<ecore:EPackage xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" "
      "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
      "xmlns:ecore=\"http://www.eclipse.org/emf/2002/Ecore\" "
      "name=\"tree\" nsURI=\"urn:tree\" nsPrefix=\"tree\"><eClassifiers xsi:type=\"ecore:EClass\" "
      "name=\"Node\">"
      "<eStructuralFeatures xsi:type=\"ecore:EReference\" name=\"child\" eType=\"#//Node\" "
      "containment=\"true\"/>"
      "<eStructuralFeatures xsi:type=\"ecore:EReference\" name=\"to\" eType=\"#//Node\"/></eClassifiers>"
      "</ecore:EPackage>");
  std::string path = "/", open, close, last;
  for (int i = 0; i < 60; ++i) {
    path += "/@child";
    open += "<child>";
    close += "</child>";
    if (i < 48) last += "/child";
  }
  const std::string xmi = fileWith("tree.xmi",
                                   "<tree:Node xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" "
                                   "xmlns:tree=\"urn:tree\" to=\"" +
                                       path + "\">" + open + close + "</tree:Node>");
  const Ended ended = kr0({"cat", "--stable", xmi, "-m", ecore});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_THAT(ended.out, testing::ContainsRegex("  to -> /\\.\\.\\.~[0-9a-f]{8}" + last + "\n"));
}

TEST(Stable, EventsHaveNoNames) {
  EXPECT_EQ(kr0({"cat", "--stable", "--events", libraryXmi(), "-m", libraryEcore()}).code, 2);
}

}  // namespace kr::zero::test::study
