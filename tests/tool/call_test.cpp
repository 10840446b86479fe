// The command line itself: help, wrong calls, streams, progress.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

void expectWrongCall(const std::vector<std::string>& arguments, const std::string& word) {
  const Ended ended = kr0(arguments);
  EXPECT_EQ(ended.code, 2);
  EXPECT_EQ(ended.out, "");
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  EXPECT_THAT(ended.err, HasSubstr(word));
}

}  // namespace

TEST(Call, WrongCallsEndWithTwoAndOneSentence) {
  expectWrongCall({}, "say what to do: convert, info, cat, unpack, migrate, ");
  expectWrongCall({"polish"}, "polish");
  expectWrongCall({"convert", "a.xmi"}, "FILE");
  expectWrongCall({"convert", libraryXmi(), "a.krb"}, "--meta");
  expectWrongCall({"cat", libraryXmi()}, "--meta");
  expectWrongCall({"unpack", "a.krz"}, "--directory");
  expectWrongCall({"convert", libraryXmi(), "a.krz", "-m", libraryEcore(), "--level", "20"}, "--level");
  expectWrongCall({"convert", libraryXmi(), "a.krb", "-m", libraryEcore(), "--level", "3"}, "--level");
  expectWrongCall({"convert", libraryXmi(), "a.krb", "-m", libraryEcore(), "--tagged"}, "--tagged");
  expectWrongCall({"info", libraryXmi(), "--limit", "much"}, "--limit");
  expectWrongCall({"info", libraryXmi(), "--limit", "-5"}, "--limit");
  expectWrongCall({"schema"}, "schema diff, lock, check, pin, draw or show");
  expectWrongCall({"schema", "polish"}, "polish");
  expectWrongCall({"schema", "show"}, "META");
  expectWrongCall({"info", libraryXmi(), "--jsn"}, "--jsn");
  expectWrongCall({"convert", libraryXmi(), "a.krb", "-m", libraryEcore(), "--from", "yaml"}, "yaml");
}

TEST(Call, StandardOutputNeedsAFormat) {
  expectWrongCall({"convert", libraryXmi(), "-", "-m", libraryEcore()}, "--to");
}

TEST(Call, EveryVerbHasHelpWithAnExample) {
  for (const std::vector<std::string>& verb : std::vector<std::vector<std::string>>{
           {"convert"}, {"info"}, {"cat"}, {"unpack"}, {"schema"}, {"schema", "show"}}) {
    std::vector<std::string> arguments = verb;
    arguments.push_back("--help");
    const Ended ended = kr0(arguments);
    EXPECT_EQ(ended.code, 0);
    EXPECT_EQ(ended.err, "");
    EXPECT_THAT(ended.out, AllOf(HasSubstr("Example:"), HasSubstr("kr0 " + verb.front())));
  }
}

TEST(Call, HelpNamesAllVerbsAndExitCodes) {
  const Ended ended = kr0({"--help"});
  EXPECT_EQ(ended.code, 0);
  for (const char* word : {"convert", "info", "cat", "unpack", "schema", "Exit code"})
    EXPECT_THAT(ended.out, HasSubstr(word));
}

TEST(Call, VersionIsANumber) {
  const Ended ended = kr0({"--version"});
  EXPECT_EQ(ended.code, 0);
  EXPECT_THAT(ended.out, testing::MatchesRegex("kr0 [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST(Call, VerboseTellsStepsOnStandardErrorAlone) {
  const Ended quiet = kr0({"cat", libraryKrb(), "-m", libraryEcore()});
  const Ended verbose = kr0({"--verbose", "cat", libraryKrb(), "-m", libraryEcore()});
  EXPECT_EQ(quiet.err, "");
  EXPECT_THAT(verbose.err, HasSubstr("doParseByteSequence"));
  EXPECT_EQ(verbose.out, quiet.out);
}

TEST(Call, AReaderThatLeavesEarlyIsNoError) {
  const std::string folder = freshFolder();
  writeFile(folder + "/long.xmi", chainXmi(50'000));
  const Ended ended = bash("set -o pipefail; $KR0 cat $1/long.xmi -m $2 | head -n 1", {folder, chainEcore()});
  EXPECT_EQ(ended.code, 0);
  EXPECT_EQ(ended.err, "");
  EXPECT_EQ(ended.out, "chain.Node #1\n");
}

TEST(Call, AClosedStandardOutputIsReported) {
  const Ended ended = bash("$KR0 cat $1 -m $2 >&-", {libraryXmi(), libraryEcore()});
  EXPECT_EQ(ended.code, 1);
  EXPECT_THAT(ended.err, HasSubstr("standard output"));
}

TEST(Call, ClosedStreamsDoNotEndUpInTheResult) {
  const std::string output = freshFolder() + "/a.krb";
  const Ended ended =
      bash("$KR0 --verbose convert $1 $2 -m $3 <&- >&- 2>&-", {libraryXmi(), output, libraryEcore()});
  EXPECT_EQ(ended.code, 0);
  EXPECT_EQ(readFile(output), readFile(libraryKrb()));
}

// Some containers have none to give.
bool haveTerminals() { return bash("script -qec true /dev/null", {}).code == 0; }

// The input takes its time, so that the work does too.
TEST(Call, LongWorkShowsProgressOnATerminalAndWipesItOut) {
  if (!haveTerminals()) GTEST_SKIP() << "no terminal is to be had here";
  const std::string output = freshFolder() + "/a.krb";
  const Ended ended = bash(
      "export A=$1 B=$2 C=$3; script -qec '(sleep 1.5; cat $B) | $KR0 convert - $A --from xmi -m $C' "
      "/dev/null",
      {output, libraryXmi(), libraryEcore()});
  EXPECT_THAT(ended.out, HasSubstr("reading standard input"));
  EXPECT_TRUE(ended.out.ends_with("\r\033[K")) << ended.out;
}

TEST(Call, LongWorkShowsNothingWhereThereIsNoTerminal) {
  const std::string output = freshFolder() + "/a.krb";
  const Ended ended = bash("(sleep 1.5; cat $2) | $KR0 convert - $1 --from xmi -m $3",
                           {output, libraryXmi(), libraryEcore()});
  EXPECT_EQ(ended.code, 0);
  EXPECT_EQ(ended.out + ended.err, "");
}

TEST(Call, ShortWorkShowsNothingOnATerminal) {
  if (!haveTerminals()) GTEST_SKIP() << "no terminal is to be had here";
  const std::string output = freshFolder() + "/a.krb";
  const Ended ended = bash("export A=$1 B=$2 C=$3; script -qec '$KR0 convert $B $A -m $C' /dev/null",
                           {output, libraryXmi(), libraryEcore()});
  EXPECT_EQ(ended.code, 0);
  EXPECT_EQ(ended.out, "");
}

}  // namespace kr::zero::test
