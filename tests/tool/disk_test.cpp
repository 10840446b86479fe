// A disk, or another device, that does not do what it is told: one sentence, the old file, and nothing else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <tuple>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

using testing::HasSubstr;

/// A conversion of one document to a file that is there, in a folder that holds nothing else.
struct Conversion {
  std::string folder = freshFolder();
  std::string output = folder + "/out.krb";
  std::string hit = temporaryPath("fault");

  /// @return nothing, where the fault was not met any more.
  std::optional<Ended> runWith(std::vector<std::string> plan, int at) const {
    writeFile(output, "old");
    plan.insert(plan.end(), {"AT=" + std::to_string(at), "HIT=" + hit});
    Ended ended = kr0({.variables = faults(plan)}, {"convert", libraryXmi(), output, "-m", libraryEcore()});
    EXPECT_EQ(filesIn(folder), std::vector<std::string>{"out.krb"}) << plan.front() << ", " << at;
    if (!std::filesystem::remove(hit)) return std::nullopt;
    return ended;
  }
};

/// What a fault comes to.
enum class Outcome { told, toldButThere, notNoticed };

Outcome outcomeOf(const Ended& ended, const std::string& content, const std::string& reason) {
  if (ended.code == 0) {
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(content, readFile(libraryKrb()));
    return Outcome::notNoticed;
  }
  EXPECT_EQ(ended.code, 1);
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  EXPECT_THAT(ended.err, HasSubstr(reason));
  if (content == "old") return Outcome::told;
  EXPECT_EQ(content, readFile(libraryKrb()));
  EXPECT_THAT(ended.err, HasSubstr("but cannot synchronise its folder"));
  return Outcome::toldButThere;
}

struct Fault {
  std::string call;
  int error;
  std::string reason;
  std::vector<Outcome> outcomes;  ///< of the first such call, the second ...
};

using enum Outcome;

// Only what has to do with the output may be noticed.
const Fault kFaults[] = {
    {"write", ENOSPC, "No space left on device", {told}},
    {"write", EIO, "Input/output error", {told}},
    {"write", EDQUOT, "Disk quota exceeded", {told}},
    {"fsync", EIO, "Input/output error", {told, toldButThere}},
    {"fsync", EINVAL, "Invalid argument", {told, notNoticed}},
    {"rename", EIO, "Input/output error", {told}},
    {"rename", EACCES, "Permission denied", {told}},
};

}  // namespace

TEST(Disk, AFaultOfACallThatWritesIsToldAndLeavesTheOldFile) {
  if (isSanitized()) GTEST_SKIP() << "faults need a program without a sanitizer";
  const Conversion conversion;
  for (const Fault& fault : kFaults) {
    std::vector<Outcome> outcomes;
    while (const auto ended =
               conversion.runWith({"CALL=" + fault.call, "ERROR=" + std::to_string(fault.error)},
                                  static_cast<int>(outcomes.size()) + 1))
      outcomes.push_back(outcomeOf(*ended, readFile(conversion.output), fault.reason));
    EXPECT_EQ(outcomes, fault.outcomes) << fault.call << ", " << fault.reason;
  }
}

TEST(Disk, AFaultOfAnyOtherCallIsToldAndLeavesTheOldFileOrDoesNoHarm) {
  if (isSanitized()) GTEST_SKIP() << "faults need a program without a sanitizer";
  const Conversion conversion;
  for (const auto& [call, error, reason] :
       {std::tuple("open", EMFILE, "Too many open files"), std::tuple("access", EPERM, "not permitted"),
        std::tuple("close", EIO, "Input/output error"), std::tuple("read", EIO, "Input/output error")}) {
    int told = 0, at = 0;
    while (const auto ended =
               conversion.runWith({std::string("CALL=") + call, "ERROR=" + std::to_string(error)}, ++at))
      told += outcomeOf(*ended, readFile(conversion.output), reason) != Outcome::notNoticed;
    EXPECT_GT(told, 0) << call;
    EXPECT_GT(at, 2) << call;
  }
}

TEST(Disk, CallsThatDoALittleOrAreInterruptedAreRepeated) {
  if (isSanitized()) GTEST_SKIP() << "faults need a program without a sanitizer";
  const Conversion conversion;
  for (const char* call : {"write", "read"}) {
    const auto ended = conversion.runWith({std::string("CALL=") + call, "SHORT=1", "REST="}, 1);
    ASSERT_TRUE(ended.has_value()) << call;
    EXPECT_EQ(outcomeOf(*ended, readFile(conversion.output), ""), Outcome::notNoticed) << call;
  }
  for (const char* call : {"write", "read", "open", "fsync", "close"}) {
    int at = 0;
    while (const auto ended =
               conversion.runWith({std::string("CALL=") + call, "ERROR=" + std::to_string(EINTR)}, ++at))
      EXPECT_EQ(outcomeOf(*ended, readFile(conversion.output), ""), Outcome::notNoticed) << call << at;
    EXPECT_GT(at, 1) << call;
  }
}

TEST(Disk, AStandardOutputThatIsFullIsToldByEveryVerbThatPrints) {
  if (!std::filesystem::is_character_file("/dev/full")) GTEST_SKIP() << "there is no /dev/full here";
  const std::vector<std::string> calls = {"--help",
                                          "--version",
                                          "convert --help",
                                          "schema --help",
                                          "man",
                                          "man schema diff",
                                          "completion bash",
                                          "completion fish",
                                          "info $1",
                                          "cat $1 -m $2",
                                          "cat --json $1 -m $2",
                                          "cat --events $1 -m $2",
                                          "inspect $1",
                                          "stats $1 -m $2",
                                          "digest $1 -m $2",
                                          "check --json $1 -m $2",
                                          "schema show $2",
                                          "schema show $2 --json",
                                          "convert $1 - --to json -m $2",
                                          "convert $1 /dev/stdout --to json -m $2"};
  std::string script;
  for (const std::string& call : calls) script += "$KR0 " + call + " > /dev/full; echo $? >&2\n";
  const Ended ended = bash(script, {libraryKrb(), libraryEcore()});
  std::string expected;
  for (const std::string& call : calls)
    expected += "kr0: cannot write " +
                std::string(call.find("/dev/stdout") == call.npos ? "standard output" : "\"/dev/stdout\"") +
                ": No space left on device\n1\n";
  EXPECT_EQ(ended.err, expected);
}

}  // namespace kr::zero::test
