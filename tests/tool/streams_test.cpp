// Pipes, closed streams, names that are no text, and the languages of the world.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <locale>

#include "kr/zero/archive/Archive.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/io/ModelFile.h"
#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test::streams {

namespace {

using testing::HasSubstr;
using testing::Not;

// No text, or such as a shell, a terminal or an option parser would obey.
const std::string kOddNames[] = {"-x.krb",
                                 "b\xFC"
                                 "cher.krb",
                                 "two\nlines.krb",
                                 " .krb",
                                 "\x1b[2J.krb",
                                 "\"'$(exit).krb"};

}  // namespace

TEST(Streams, PipesOfTheFileSystemAreReadAndWritten) {
  const Ended ended = bash(
      "cd $3 && mkfifo in out && { cat $1 > in & cat out > copy & $KR0 convert in out --from xmi --to krb -m "
      "$2; } "
      "&& wait && cat copy",
      {libraryXmi(), libraryEcore(), freshFolder()});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.out, readFile(libraryKrb()));
}

TEST(Streams, APipeWhoseReaderLeavesEndsTheToolInSilence) {
  const std::string folder = freshFolder();
  writeFile(folder + "/long.xmi", chainXmi(20'000));
  for (const char* call : {"cat long.xmi -m $2", "convert long.xmi - --to json -m $2", "man", "--help"}) {
    const Ended ended = bash("cd $1; $KR0 " + std::string(call) + " | exec 0<&-; echo ${PIPESTATUS[0]}",
                             {folder, chainEcore()});
    EXPECT_EQ(ended.out, "0\n") << call;
    EXPECT_EQ(ended.err, "") << call;
  }
}

TEST(Streams, WhicheverAreClosedTheResultHoldsTheDocumentAndNothingElse) {
  for (const char* closed : {"<&-", ">&-", "2>&-", "<&- >&-", "<&- 2>&-", ">&- 2>&-", "<&- >&- 2>&-"}) {
    const std::string output = freshFolder() + "/a.krb";
    const Ended ended = bash("$KR0 --verbose convert $1 $2 -m $3 " + std::string(closed),
                             {libraryXmi(), output, libraryEcore()});
    EXPECT_EQ(ended.code, 0) << closed;
    EXPECT_EQ(readFile(output), readFile(libraryKrb())) << closed;
  }
}

TEST(Streams, AClosedOneThatIsNeededIsTold) {
  EXPECT_EQ(bash("$KR0 info - <&-").err, "kr0: standard input: cannot be read, Bad file descriptor\n");
  for (const char* call : {"info $1", "man", "--version", "convert $1 - --to xmi -m $2"}) {
    const Ended ended = bash("$KR0 " + std::string(call) + " >&-", {libraryKrb(), libraryEcore()});
    EXPECT_EQ(ended.code, 1) << call;
    EXPECT_EQ(ended.err, "kr0: cannot write standard output: Bad file descriptor\n") << call;
  }
}

TEST(Streams, FilesOfAnyNameAreReadAndWritten) {
  for (const std::string& name : kOddNames) {
    const std::string folder = freshFolder(), path = folder + "/" + name;
    ASSERT_EQ(kr0({"convert", libraryXmi(), path, "-m", libraryEcore()}).code, 0) << name;
    EXPECT_EQ(filesIn(folder), std::vector<std::string>{name});
    EXPECT_EQ(readFile(path), readFile(libraryKrb()));
    for (const std::vector<std::string>& call :
         {std::vector<std::string>{"info", path}, {"info", path, "--json"}, {"inspect", path, "--json"}}) {
      const Ended ended = kr0(call);
      EXPECT_EQ(ended.code, 0) << ended.err;
      EXPECT_THAT(ended.out, Not(HasSubstr("\x1b")));
    }
    const Ended missing = kr0({"info", path + "x", path});
    EXPECT_EQ(missing.code, 1);
    EXPECT_TRUE(isOneLine(missing.err)) << missing.err;
  }
}

TEST(Streams, ANameThatLooksLikeAnOptionIsGivenAsAPath) {
  const Ended ended = bash("cd $1; cp $2 ./-x.krb; $KR0 convert ./-x.krb ./-y.xmi -m $3 && ls",
                           {freshFolder(), libraryKrb(), libraryEcore()});
  EXPECT_EQ(ended.out, "-x.krb\n-y.xmi\n") << ended.err;
}

TEST(Streams, MarksThatTurnTheDirectionOfATextAreShownAndNotObeyed) {
  const std::string folder = freshFolder();
  writeFile(folder + "/a.xmi",
            "<chain:Node xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" xmlns:chain=\"urn:chain\" "
            "name=\"a\u202Eb\u2066c\u2069d\u200Fe\u061Cf\u200Bg\u20AC\"/>");
  for (const char* manner : {"--json", "--events", "--stable"})
    EXPECT_THAT(kr0({"cat", folder + "/a.xmi", "-m", chainEcore(), manner}).out,
                HasSubstr("a\\u202eb\\u2066c\\u2069d\\u200fe\\u061cf\u200Bg\u20AC"))
        << manner;
  EXPECT_THAT(kr0({"info", folder + "/\u202Ebrk.a"}).err, Not(HasSubstr("\u202E")));
}

namespace {

// Few machines have them all. To make one takes seconds.
bool makeLanguage(const std::string& name, const std::string& folder) {
  if (std::getenv("KR0_MOMENTS") == nullptr) return false;
  return bash("localedef -i $1 -f UTF-8 $2/$1.UTF-8", {name, folder}).code == 0;
}

}  // namespace

// The tool never asks for the user's language; what it writes is data.
TEST(Languages, OfTheUserChangeNothing) {
  const std::string script =
      "cd $1; KR0=\"env LOCPATH=$1 LC_ALL=$4 $KR0\"; for form in krb xmi json; do $KR0 convert $2 out.$form "
      "-m $3; "
      "cat out.$form; done; $KR0 info $2 -m $3; $KR0 stats $2 -m $3; $KR0 cat $2 -m $3; $KR0 info gone";
  const std::string folder = freshFolder();
  const Ended usual = bash(script, {folder, libraryKrb(), libraryEcore(), "C"});
  EXPECT_THAT(usual.err, HasSubstr("No such file or directory"));
  for (const std::string language : {"de_DE", "tr_TR"}) {
    if (!makeLanguage(language, folder)) GTEST_SKIP() << "the long run makes languages, where it can";
    const Ended other = bash(script, {folder, libraryKrb(), libraryEcore(), language + ".UTF-8"});
    EXPECT_EQ(other.out, usual.out) << language;
    EXPECT_EQ(other.err, usual.err) << language;
  }
}

// In Turkish an "i" has no upper case in ASCII.
TEST(Languages, OfAProgramChangeNoSentence) {
  const std::string folder = freshFolder();
  if (!makeLanguage("tr_TR", folder)) GTEST_SKIP() << "the long run makes languages, where it can";
  meta::MetaRegistry registry;
  const auto mapping = ecore::loadMetaModels({chainEcore()}, registry);
  const auto refusal = [&] {
    try {
      ecore::readXmi(R"(<?xml version="1.0" encoding="klingon"?><a/>)", "a.xmi", *mapping);
    } catch (const Error& error) {
      return std::string(error.what());
    }
    return std::string("nothing was refused");
  };
  const std::string usual = refusal();
  EXPECT_THAT(usual, HasSubstr("KLINGON"));
  setenv("LOCPATH", folder.c_str(), 1);
  ASSERT_NE(std::setlocale(LC_ALL, "tr_TR.UTF-8"), nullptr);
  const std::string other = refusal();
  std::setlocale(LC_ALL, "C");
  unsetenv("LOCPATH");
  EXPECT_EQ(other, usual);
}

namespace {

/// Dots between thousands and a comma before the fraction, as a program of the country would print numbers.
class Grouping final : public std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  char do_decimal_point() const override { return ','; }
  std::string do_grouping() const override { return "\1"; }
};

/// What the library makes of the example, in all forms.
std::vector<std::string> writtenForms() {
  meta::MetaRegistry registry;
  const auto mapping = ecore::loadMetaModels({libraryEcore()}, registry);
  const Model model = ecore::readXmiFile(libraryXmi(), *mapping);
  const std::string folder = freshFolder();
  std::vector<std::string> forms = {ecore::writeXmi(model, *mapping)};
  for (const char* name : {"/a.krb", "/a.krt"}) {
    io::saveModel(model, folder + name);
    forms.push_back(readFile(folder + name));
    const Model again = io::loadModel(folder + name, registry);
    forms.push_back(ecore::writeXmi(again, *mapping));
  }
  std::string archived;
  archive::writeArchive(model, archived);
  forms.push_back(archived);
  return forms;
}

}  // namespace

TEST(Languages, OfAProgramAroundTheLibraryChangeNothing) {
  const std::vector<std::string> usual = writtenForms();
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
  const std::vector<std::string> grouped = writtenForms();
  std::locale::global(before);
  EXPECT_EQ(grouped, usual);
}

}  // namespace kr::zero::test::streams
