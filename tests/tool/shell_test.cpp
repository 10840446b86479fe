// What the tool does for those who type: guesses, manual pages, completion.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test::shell {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

bool isThere(const std::string& program) { return bash("command -v " + program, {}).code == 0; }

std::string outOf(const std::vector<std::string>& arguments) {
  const Ended ended = kr0(arguments);
  EXPECT_EQ(ended.code, 0) << ended.err;
  return ended.out;
}

TEST(Spelling, AWordThatIsLikeAKnownOneIsGuessed) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> calls = {
      {{"cnovert"}, "did you mean convert?"},
      {{"inf"}, "did you mean info?"},
      {{"schema", "shwo"}, "did you mean show?"},
      {{"info", "x.krb", "--jsn"}, "did you mean --json?"},
      {{"cat", "x.krb", "--mteas"}, "did you mean --meta?"},
      {{"cat", "x.krb", "--verbos"}, "did you mean --verbose?"}};
  for (const auto& [call, guess] : calls) {
    const Ended ended = kr0(call);
    EXPECT_EQ(ended.code, 2);
    EXPECT_THAT(ended.err, HasSubstr(guess));
  }
}

TEST(Spelling, AWordThatIsLikeNothingIsNot) {
  for (const char* word : {"polish", "x", "--frobnicate", ""})
    EXPECT_THAT(kr0({word}).err, Not(HasSubstr("did you mean"))) << word;
}

TEST(Manual, APageTellsArgumentsOptionsAndExamples) {
  EXPECT_THAT(
      outOf({"man", "schema", "diff"}),
      AllOf(StartsWith(".TH KR0-SCHEMA-DIFF 1 "), HasSubstr(".SH NAME\nkr0\\-schema\\-diff \\- Tell every"),
            HasSubstr("\\fB\\-\\-format\\fR \\fIkrb|krt|xmi|krz\\fR"),
            HasSubstr("kr0 schema diff 2025/library.ecore \\-\\- library.ecore")));
}

TEST(Manual, ThePageOfAllNamesEveryVerb) {
  const std::string page = outOf({"man"});
  for (const char* verb :
       {"convert", "info", "cat", "unpack", "migrate", "schema", "generate", "completion", "man"})
    EXPECT_THAT(page, HasSubstr(std::string("\\fBkr0 ") + verb + "\\fR\n"));
}

TEST(Manual, EveryPageIsWellFormed) {
  if (!isThere("groff")) GTEST_SKIP() << "no groff";
  const Ended ended = bash(
      "set -e; $KR0 man -o $1; for page in $1/*; do groff -man -Tutf8 -ww -rCHECKSTYLE=3 -z $page; done 2>&1",
      {freshFolder()});
  EXPECT_EQ(ended.code, 0);
  EXPECT_EQ(ended.out, "");
}

TEST(Manual, AVerbThatThereIsNotIsAWrongCall) {
  const Ended ended = kr0({"man", "schema", "polish"});
  EXPECT_EQ(ended.code, 2);
  EXPECT_EQ(ended.err, "kr0: there is no verb \"schema polish\"\n");
}

// What bash offers for the last of some words.
std::string offered(const std::string& words, const std::string& folder = ".") {
  const Ended ended = bash(
      "cd $2; source <($KR0 completion bash); eval \"COMP_WORDS=($1)\"; COMP_CWORD=$((${#COMP_WORDS[@]} - "
      "1)); "
      "_kr0; echo ${COMPREPLY[*]}",
      {words, folder});
  EXPECT_EQ(ended.code, 0) << ended.err;
  return ended.out;
}

TEST(Completion, BashOffersVerbsOptionsValuesAndFiles) {
  EXPECT_EQ(offered("kr0 conv"), "convert\n");
  EXPECT_EQ(offered("kr0 schema ''"), "diff lock check pin draw show\n");
  EXPECT_EQ(offered("kr0 schema diff --re"), "--rename\n");
  EXPECT_EQ(offered("kr0 convert a.xmi --to kr"), "krb krt krz\n");
  EXPECT_EQ(offered("kr0 info --jo"), "--jobs\n");
  EXPECT_EQ(offered("kr0 info --quie"), "--quiet\n");
  const std::string folder = freshFolder();
  writeFile(folder + "/books.krb", "");
  EXPECT_EQ(offered("kr0 info bo", folder), "books.krb\n");
}

TEST(Completion, TheOtherShellsTakeTheirScripts) {
  for (const std::string shell : {"bash", "zsh", "fish"}) {
    const std::string script = outOf({"completion", shell});
    EXPECT_THAT(script, AllOf(HasSubstr("Completion of kr0 for " + shell), HasSubstr("convert")));
    if (!isThere(shell)) continue;
    const Ended ended = bash("$KR0 completion $1 > $2/script; $1 -n $2/script 2>&1", {shell, freshFolder()});
    EXPECT_EQ(ended.out, "") << shell;
    EXPECT_EQ(ended.code, 0) << shell;
  }
}

TEST(Completion, FishKnowsTheFormatsOfConvert) {
  const std::string script = outOf({"completion", "fish"});
  EXPECT_THAT(
      script,
      HasSubstr(
          "complete -c kr0 -n '__fish_seen_subcommand_from convert' -l to -x -a 'krb krt xmi krz json"));
}

}  // namespace

}  // namespace kr::zero::test::shell
