// Bad input ends with exit code 1, one sentence that names file and fault, and no file left behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test::bad_input {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Matcher;
using testing::MatchesRegex;
using testing::Not;

void expectRefused(const Ended& ended, const Matcher<const std::string&>& sentence) {
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(ended.out, "");
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  EXPECT_TRUE(ended.err.starts_with("kr0: ")) << ended.err;
  EXPECT_THAT(ended.err, sentence);
}

// Converts a document of these bytes with the library's meta model.
void expectRefused(const std::string& name, const std::string& bytes,
                   const Matcher<const std::string&>& sentence,
                   const std::string& metaModel = libraryEcore()) {
  const std::string folder = freshFolder(), results = freshFolder(), input = folder + "/" + name;
  writeFile(input, bytes);
  const std::string output = results + (name.ends_with(".krb") ? "/out.xmi" : "/out.krb");
  expectRefused(kr0({"convert", input, output, "-m", metaModel}), AllOf(HasSubstr(name), sentence));
  EXPECT_THAT(filesIn(results), IsEmpty());
}

std::string library(const std::string& body) {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<library:Library xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI" xmlns:library="http://www.example.org/library" name="x">
)" + body +
         "\n</library:Library>\n";
}

}  // namespace

TEST(BadInput, ABinaryDocumentOfAnotherMetaModelNamesThePackage) {
  expectRefused("a.krb", readFile(libraryKrb()), HasSubstr("http://www.example.org/library"), chainEcore());
}

TEST(BadInput, AnXmiDocumentOfAnotherMetaModelNamesThePackage) {
  expectRefused("a.xmi", readFile(libraryXmi()), HasSubstr("http://www.example.org/library"), chainEcore());
}

TEST(BadInput, AnUnknownPackageIsNamed) {
  const std::string header("\x01\x02kr\x01\x08urn:none", 14);
  expectRefused("a.krb", header, HasSubstr("urn:none"));
}

TEST(BadInput, ATruncatedDocumentNamesTheByte) {
  const std::string whole = readFile(libraryKrb());
  expectRefused("a.krb", whole.substr(0, whole.size() / 2), MatchesRegex("(.|\n)*byte [0-9]+(.|\n)*"));
}

TEST(BadInput, ADocumentCutAtAnyPlaceIsRefusedOrStillWhole) {
  const std::string whole = readFile(libraryKrb());
  for (std::size_t size = 1; size < whole.size(); size += 97) {
    const Ended ended = kr0({"convert", "-", "-", "--from", "krb", "--to", "xmi", "-m", libraryEcore()},
                            whole.substr(0, size));
    EXPECT_EQ(ended.code, 1) << size;
    EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  }
}

TEST(BadInput, AnUnknownPropertyNumberNamesByteAndElement) {
  std::string bytes = readFile(libraryKrb());
  const std::string type = "library.Library";
  const std::size_t token = bytes.find(type) + type.size() + 1;  // behind the flag of the identity
  bytes[token] = 0x7e;
  expectRefused(
      "a.krb", bytes,
      HasSubstr(", byte 56, /library: class library.Library of the package http://www.example.org/library "
                "has no property with the number 126"));
}

TEST(BadInput, ThreeHundredRandomBytesAreRefused) {
  std::string bytes;
  unsigned state = 4711;
  while (bytes.size() < 300) bytes += static_cast<char>((state = state * 1664525U + 1013904223U) >> 24);
  expectRefused("a.krb", bytes, HasSubstr("version"));
  expectRefused("a.bin", bytes, HasSubstr("version"));
}

TEST(BadInput, AnEmptyFileIsNamedEmpty) {
  expectRefused("a.krb", "", HasSubstr("the document is empty"));
  expectRefused("a.xmi", "", HasSubstr("it is empty"));
}

TEST(BadInput, ADirectoryIsNoDocument) {
  const std::string folder = freshFolder();
  expectRefused(kr0({"convert", folder, folder + "/a.krb", "-m", libraryEcore()}), HasSubstr("directory"));
  EXPECT_THAT(filesIn(folder), IsEmpty());
}

TEST(BadInput, AMissingFileIsNamed) {
  expectRefused(kr0({"info", "/no/such/file.krb"}),
                AllOf(HasSubstr("/no/such/file.krb"), HasSubstr("No such file or directory")));
}

TEST(BadInput, AMissingMetaModelIsNamed) {
  expectRefused(kr0({"cat", libraryXmi(), "-m", "/no/such.ecore"}), HasSubstr("/no/such.ecore"));
  expectRefused(kr0({"schema", "show", "/no/such.ecore"}), HasSubstr("/no/such.ecore"));
}

TEST(BadInput, AModelIsNoMetaModel) {
  expectRefused(kr0({"schema", "show", libraryXmi()}), HasSubstr("library.xmi"));
  expectRefused(kr0({"schema", "show", libraryKrb()}), HasSubstr("library.krb"));
}

TEST(BadInput, ASyntaxErrorInXmlNamesTheLine) {
  expectRefused("a.xmi", library("<books title=\"a\">"), MatchesRegex("(.|\n)*line [0-9]+(.|\n)*"));
}

TEST(BadInput, AnUnknownFeatureNamesFeatureAndLine) {
  expectRefused("a.xmi", library("<books colour=\"red\"/>"), AllOf(HasSubstr("colour"), HasSubstr("line 3")));
}

TEST(BadInput, AnUnknownElementNamesElementAndLine) {
  expectRefused("a.xmi", library("<films/>"), AllOf(HasSubstr("films"), HasSubstr("line 3")));
}

TEST(BadInput, AReferenceToNothingNamesThePathAndLine) {
  expectRefused("a.xmi", library("<books title=\"a\" sequel=\"//@books.7\"/>"),
                AllOf(HasSubstr("//@books.7"), HasSubstr("line 3")));
}

TEST(BadInput, AValueOfTheWrongKindNamesTheValueAndLine) {
  expectRefused("a.xmi", library("<books title=\"a\" pages=\"many\"/>"),
                AllOf(HasSubstr("many"), HasSubstr("pages"), HasSubstr("line 3")));
}

TEST(BadInput, XmlUnderTheNameOfABinaryDocumentIsRefused) {
  expectRefused("a.krb", readFile(libraryXmi()), HasSubstr("it looks like XML"));
}

TEST(BadInput, AnOutputInAMissingFolderIsNamed) {
  expectRefused(kr0({"convert", libraryXmi(), "/no/such/folder/a.krb", "-m", libraryEcore()}),
                AllOf(HasSubstr("/no/such/folder/a.krb"), HasSubstr("No such file or directory")));
}

TEST(BadInput, AnOutputThatIsADirectoryIsRefused) {
  const std::string folder = freshFolder();
  const Ended ended = kr0({"convert", libraryXmi(), folder, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 2);
  EXPECT_EQ(ended.err, "kr0: a folder tells no format: say with --to what the documents become\n");
  // One that stands where a document of the folder would go.
  std::filesystem::create_directory(folder + "/library.krb");
  expectRefused(kr0({"convert", libraryXmi(), folder, "--to", "krb", "-m", libraryEcore()}),
                HasSubstr("directory"));
  EXPECT_THAT(filesIn(folder + "/library.krb"), IsEmpty());
}

TEST(BadInput, AFailureLeavesTheOldOutputAsItWas) {
  const std::string folder = freshFolder(), output = folder + "/out.krb";
  writeFile(output, "old");
  expectRefused(kr0({"convert", "-", output, "-m", libraryEcore()}, library("<films/>")), HasSubstr("films"));
  EXPECT_EQ(readFile(output), "old");
  EXPECT_EQ(filesIn(folder), std::vector<std::string>{"out.krb"});
}

TEST(BadInput, AnEndInTheMiddleLeavesNoHalfTables) {
  const std::string folder = freshFolder(), script =
                                                "for moment in 01 02 04 06 08 10 15 20 30 40 60; do timeout "
                                                "-s $3 0.0$moment $KR0 convert $1/deep.xmi "
                                                "$1/out.$4 -m $2; ls -A $1; rm -rf $1/out.$4; done";
  writeFile(folder + "/deep.xmi", chainXmi(5'000));
  for (const char* form : {"sqlite", "csv"}) {
    const Ended ended = bash(script, {folder, chainEcore(), "INT", form});
    EXPECT_THAT(ended.out, testing::MatchesRegex(std::string("(deep.xmi\n(out.") + form + "\n)?)+"));
  }
}

TEST(BadInput, AFullDeviceIsReported) {
  const Ended ended = bash("$KR0 cat $1 -m $2 > /dev/full", {libraryXmi(), libraryEcore()});
  expectRefused(ended, AllOf(HasSubstr("standard output"), HasSubstr("No space left on device")));
  expectRefused(kr0({"convert", libraryXmi(), "/dev/full", "--to", "xmi", "-m", libraryEcore()}),
                HasSubstr("No space left on device"));
}

TEST(BadInput, ALimitOnFileSizesIsReportedAndLeavesTheOldOutput) {
  const std::string folder = freshFolder(), output = folder + "/out.krb";
  writeFile(output, "old");
  const Ended ended = bash("ulimit -f 1 && $KR0 convert $1 $2 -m $3", {libraryXmi(), output, libraryEcore()});
  expectRefused(ended, AllOf(HasSubstr("out.krb"), HasSubstr("File too large")));
  EXPECT_EQ(readFile(output), "old");
  EXPECT_EQ(filesIn(folder), std::vector<std::string>{"out.krb"});
}

TEST(BadInput, TooLittleMemoryIsOneSentence) {
  if (isSanitized()) GTEST_SKIP() << "sanitizers need more address space than this test leaves";
  const std::string folder = freshFolder();
  writeFile(folder + "/deep.xmi", chainXmi(100'000));
  const Ended ended =
      bash("ulimit -v 30000 && $KR0 convert $1/deep.xmi $1/deep.krb -m $2", {folder, chainEcore()});
  expectRefused(ended, HasSubstr("memory"));
  EXPECT_EQ(filesIn(folder), std::vector<std::string>{"deep.xmi"});
}

// The heap grows page by page, and so does the limit: memory runs out at the first allocation of all, in what
// is set up before main, and on the way to the message.
TEST(BadInput, MemoryThatRunsOutAtTheStartIsOneSentence) {
  if (isSanitized()) GTEST_SKIP() << "sanitizers need more address space than this test leaves";
  const Ended ended = bash(R"(export GLIBC_TUNABLES=glibc.malloc.top_pad=0
      run() { told=$( (ulimit -v $1; exec "$KR0" info /dev/null) 2>&1); code=$?; [ $code != 127 ]; }
      least=4096
      for step in 1024 128 16; do
        until run $least; do ((least += step)); done
        ((least -= step))
      done
      for ((limit = least; limit < least + 160; limit += 4)); do
        run $limit && echo "$told $code"
      done)");
  std::istringstream lines(ended.out);
  int without = 0;
  for (std::string line; std::getline(lines, line);) {
    // The name of the document stands there if there was memory left to say it.
    const bool isOfMemory = line == "kr0: there is not enough memory for this document 1" ||
                            line == "kr0: /dev/null: there is not enough memory for this document 1";
    without += isOfMemory;
    EXPECT_TRUE(isOfMemory || line == "kr0: /dev/null: the document is empty 1") << line;
  }
  EXPECT_GT(without, 0) << "the limits have left memory enough";
}

TEST(BadInput, TextFromADocumentReachesTheTerminalWithoutControlCharacters) {
  const std::string header("\x01\x02kr\x01\x08urn\n\x1b[2J", 14);
  expectRefused("a.krb", header, Not(HasSubstr("\x1b")));
}

}  // namespace kr::zero::test::bad_input
