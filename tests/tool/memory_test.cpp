// Memory that runs out anywhere: an exit code that is documented, a sentence that says so, and the old file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

using testing::HasSubstr;

/// A call that prints, or writes to a file that is there before.
struct Call {
  std::vector<std::string> arguments;
  std::string output = {};
};

class Failing {
 public:
  explicit Failing(Call call) : call_(std::move(call)) {
    const std::string count = temporaryPath("count");
    usual_ = kr0({.variables = faults({"CALL=malloc", "AT=1000000000", "COUNT=" + count})}, call_.arguments);
    EXPECT_EQ(usual_.code, 0) << usual_.err;
    allocations_ = std::stoi(readFile(count));
    if (!call_.output.empty()) whole_ = readFile(call_.output);
  }

  int allocations() const { return allocations_; }

  /// @return whether the lack was noticed.
  bool expectSense(int at, bool forEver) const {
    if (!call_.output.empty()) writeFile(call_.output, "old");
    std::vector<std::string> plan = {"CALL=malloc", "ERROR=12", "AT=" + std::to_string(at)};
    if (forEver) plan.push_back("REST=");
    const Ended ended = kr0({.variables = faults(plan)}, call_.arguments);
    const std::string where = call_.arguments.front() + ", allocation " + std::to_string(at) + ": ";
    if (ended.code == 0) {
      EXPECT_EQ(ended.out, usual_.out) << where;
    } else {
      EXPECT_EQ(ended.code, 1) << where << ended.err;
      EXPECT_TRUE(isOneLine(ended.err)) << where << ended.err;
      EXPECT_THAT(ended.err, HasSubstr("memory")) << where;
    }
    expectFile(ended.code == 0, where);
    return ended.code != 0;
  }

 private:
  void expectFile(bool isDone, const std::string& where) const {
    if (call_.output.empty()) return;
    EXPECT_EQ(filesIn(std::filesystem::path(call_.output).parent_path()).size(), 1u) << where;
    const std::string content = readFile(call_.output);
    EXPECT_TRUE(content == whole_ || (!isDone && content == "old")) << where;
  }

  Call call_;
  Ended usual_;
  int allocations_ = 0;
  std::string whole_;
};

std::vector<Call> calls() {
  std::vector<Call> calls;
  for (const char* form : {"krb", "krt", "krz", "xmi", "json"}) {
    const std::string output = freshFolder() + "/out." + form;
    calls.push_back({{"convert", libraryXmi(), output, "-m", libraryEcore()}, output});
  }
  calls.push_back({{"cat", libraryKrb(), "-m", libraryEcore(), "--json"}});
  calls.push_back({{"info", libraryKrb()}});
  calls.push_back({{"schema", "show", libraryEcore()}});
  calls.push_back({{"convert", "--help"}});
  return calls;
}

}  // namespace

TEST(Memory, AnyAllocationThatFailsIsToldAndLeavesTheOldFile) {
  if (isSanitized()) GTEST_SKIP() << "faults need a program without a sanitizer";
  const int tries = moments() * 2 / 5;
  int noticed = 0;
  for (const Call& call : calls()) {
    const Failing failing(call);
    for (int i = 0; i < tries; ++i)
      for (const bool forEver : {false, true})
        // More of them near the beginning, where nothing is set up yet.
        noticed += failing.expectSense(1 + failing.allocations() / (tries * tries) * i * i, forEver);
  }
  EXPECT_GT(noticed, tries * 9);
}

// Whole texts, and what parsers take at once: all of these, one by one.
TEST(Memory, AnyLargeAllocationThatFailsIsToldAndNotTakenForABadDocument) {
  if (isSanitized()) GTEST_SKIP() << "faults need a program without a sanitizer";
  const std::string folder = freshFolder(), output = freshFolder() + "/out.krb", hit = temporaryPath("lack");
  writeFile(folder + "/long.xmi", chainXmi(2'000));
  int noticed = 0;
  for (int at = 1;; ++at) {
    writeFile(output, "old");
    const Ended ended =
        kr0({.variables =
                 faults({"CALL=malloc", "SIZE=16384", "ERROR=12", "AT=" + std::to_string(at), "HIT=" + hit})},
            {"convert", folder + "/long.xmi", output, "-m", chainEcore()});
    if (!std::filesystem::remove(hit)) break;
    if (ended.code == 0) continue;  // one that can be done without
    ++noticed;
    EXPECT_EQ(ended.code, 1) << at;
    EXPECT_THAT(ended.err, HasSubstr("not enough memory")) << at;
    EXPECT_EQ(readFile(output), "old") << at;
  }
  EXPECT_GT(noticed, 4);
}

// Below some size the system cannot even load the program, which is not the program's to tell.
TEST(Memory, ALimitOnTheAddressSpaceIsToldOrIsEnough) {
  if (isSanitized()) GTEST_SKIP() << "sanitizers need more address space than there is";
  const std::string folder = freshFolder();
  writeFile(folder + "/deep.xmi", chainXmi(20'000));
  const Ended ended = bash(
      "for ((limit = 60000; limit > 8000; limit -= 52000 / $3)); do (ulimit -v $limit; exec $KR0 convert "
      "$1/deep.xmi $1/deep.krb -m $2) 2> $1/err; echo \"$? $(< $1/err)\"; done",
      {folder, chainEcore(), std::to_string(moments())});
  std::istringstream lines(ended.out);
  int told = 0, all = 0;
  for (std::string line; std::getline(lines, line) && !line.starts_with("127 "); ++all) {
    const bool isTold = line.starts_with("1 kr0: ") && line.find("not enough memory") != line.npos;
    told += isTold;
    EXPECT_TRUE(isTold || line == "0 ") << line;
  }
  EXPECT_GT(told, 0);
  EXPECT_LT(told, all) << "no limit was enough";
}

}  // namespace kr::zero::test
