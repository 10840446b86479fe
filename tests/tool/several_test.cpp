// Several documents in one call, and how the tool talks.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tool.h"

namespace kr::zero::test {

namespace {

using testing::HasSubstr;
using testing::StartsWith;

const std::vector<std::string> kCalls = {"1", "2", "7"};

TEST(Several, DocumentsAreToldInTheirOrderHoweverManyAreLookedAtSideBySide) {
  const std::string one = kr0({"info", libraryXmi(), "-m", libraryEcore()}).out;
  for (const std::string& jobs : kCalls) {
    const Ended ended =
        kr0({"info", libraryXmi(), libraryKrb(), libraryXmi(), "-m", libraryEcore(), "-j", jobs});
    EXPECT_EQ(ended.code, 0) << ended.err;
    EXPECT_THAT(ended.out, StartsWith(libraryXmi() + ":\n" + one + libraryKrb() + ":\nformat: krb\n"));
    EXPECT_THAT(ended.out, testing::EndsWith(libraryXmi() + ":\n" + one));
  }
}

TEST(Several, ABadDocumentIsToldAndTheOthersAreLookedAt) {
  for (const std::string& jobs : kCalls) {
    const Ended ended = kr0({"cat", "missing.xmi", libraryXmi(), "-m", libraryEcore(), "-j", jobs});
    EXPECT_EQ(ended.code, 1);
    EXPECT_EQ(ended.err, "kr0: missing.xmi: cannot be read, No such file or directory\n");
    EXPECT_THAT(ended.out, StartsWith(libraryXmi() + ":\nlibrary.Library #1\n"));
  }
}

TEST(Several, TheWorstEndingIsTheExitCode) {
  // Without a meta model: the first is bad, the second takes one, the third is fine.
  const std::string tagged = freshFolder() + "/library.krt";
  ASSERT_EQ(kr0({"convert", libraryXmi(), tagged, "-m", libraryEcore()}).code, 0);
  const Ended ended = kr0({"cat", "missing.xmi", libraryXmi(), tagged});
  EXPECT_EQ(ended.code, 2);
  EXPECT_THAT(ended.err, HasSubstr("kr0: missing.xmi: cannot be read"));
  EXPECT_THAT(ended.err, HasSubstr("takes the meta model"));
  EXPECT_THAT(ended.out, StartsWith(tagged + ":\nlibrary.Library #1\n"));
}

// Every verb that looks takes several documents, and tells of each what it tells of it alone.
TEST(Several, EveryVerbThatLooksTakesThem) {
  for (const std::string verb : {"info", "cat", "inspect", "check", "stats", "digest"}) {
    const Ended one = kr0({verb, libraryKrb(), "-m", libraryEcore()});
    const Ended two = kr0({verb, libraryKrb(), libraryKrb(), "-m", libraryEcore(), "-j", "2"});
    EXPECT_EQ(two.code, 0) << two.err;
    std::size_t found = 0;
    for (std::size_t at = two.out.find(one.out); at != two.out.npos; at = two.out.find(one.out, at + 1))
      ++found;
    EXPECT_EQ(found, 2u) << verb;
  }
}

TEST(Several, AJobCountThatMakesNoSenseIsRefused) {
  for (const char* jobs : {"0", "-1", "257", "many"})
    EXPECT_EQ(kr0({"info", libraryKrb(), "-j", jobs}).code, 2) << jobs;
}

TEST(Manner, VerboseTellsTheStepsOnStandardError) {
  const Ended ended = kr0({"info", libraryXmi(), "-m", libraryEcore(), "--verbose"});
  EXPECT_EQ(ended.code, 0);
  EXPECT_THAT(ended.err, testing::ContainsRegex("kr0: [0-9.]+ s: reading " + libraryXmi() + "\n"));
  EXPECT_THAT(ended.err, testing::ContainsRegex("kr0: [0-9.]+ s: loading the meta models\n"));
}

}  // namespace

}  // namespace kr::zero::test
