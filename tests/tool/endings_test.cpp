// Whatever ends the tool while it writes: the old file is there or the new one, whole, and nothing else that
// stays.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

using Clock = std::chrono::steady_clock;

const std::vector<std::string> kForms = {"krb", "krt", "krz", "xmi", "json"};
constexpr int kNodes = 2'000;

std::string chainFile(int nodes) {
  const std::string path = temporaryPath("chain" + std::to_string(nodes) + ".xmi");
  if (!std::filesystem::exists(path)) writeFile(path, chainXmi(nodes));
  return path;
}

/// A document that is converted again and again in a folder that holds nothing else.
class Save {
 public:
  explicit Save(const std::string& form, int nodes = kNodes)
      : output_(folder_ + "/out." + form), call_({"convert", chainFile(nodes), output_, "-m", chainEcore()}) {
    const auto begin = Clock::now();
    EXPECT_EQ(kr0(call_).code, 0);
    duration_ = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
    whole_ = readFile(output_);
  }

  /// With an old file in the place of the output.
  Ended again(const Trouble& trouble) const {
    writeFile(output_, kOld);
    return kr0(trouble, call_);
  }
  bool isOld() const { return readFile(output_) == kOld; }
  bool isWhole() const { return readFile(output_) == whole_; }
  std::size_t files() const { return filesIn(folder_).size(); }
  std::chrono::microseconds duration() const { return duration_; }

 private:
  static constexpr const char* kOld = "old";
  const std::string folder_ = freshFolder();
  const std::string output_;
  const std::vector<std::string> call_;
  std::chrono::microseconds duration_{};
  std::string whole_;
};

class Endings : public testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(Endings, ByASignalThatIsHandledLeaveTheOldFileOrTheNewOneAlone) {
  const Save save(GetParam());
  int early = 0;
  for (const int signal : {SIGTERM, SIGINT})
    for (int i = 0; i < moments(); ++i) {
      const Ended ended = save.again({.signal = signal, .moment = save.duration() * i / moments()});
      early += ended.code != 0;
      EXPECT_TRUE(ended.code == 128 + signal ? save.isOld() || save.isWhole() : save.isWhole()) << ended.code;
      EXPECT_EQ(save.files(), 1u);
    }
  EXPECT_GT(early, 2);
}

TEST_P(Endings, ByAKillLeaveTheOldFileOrTheNewOneAndWhatTheNextSaveRemoves) {
  const Save save(GetParam());
  for (int i = 0; i < moments(); ++i) {
    const Ended ended = save.again({.signal = SIGKILL, .moment = save.duration() * i / moments()});
    EXPECT_TRUE(ended.code == 128 + SIGKILL ? save.isOld() || save.isWhole() : save.isWhole()) << ended.code;
    EXPECT_LE(save.files(), 2u);
  }
  EXPECT_EQ(save.again({}).code, 0);
  EXPECT_TRUE(save.isWhole());
  EXPECT_EQ(save.files(), 1u);
}

TEST_P(Endings, OfTwoSavesAtOnceLeaveOneOfTheDocumentsWhole) {
  const std::string folder = freshFolder(), output = folder + "/out." + GetParam();
  std::vector<std::string> documents;
  for (const int nodes : {kNodes, kNodes / 2}) {
    ASSERT_EQ(kr0({"convert", chainFile(nodes), output, "-m", chainEcore()}).code, 0);
    documents.push_back(readFile(output));
  }
  for (int i = 0; i < moments() / 2; ++i) {
    const Ended ended = bash("$KR0 convert $1 $3 -m $4 & $KR0 convert $2 $3 -m $4 && wait $!",
                             {chainFile(kNodes), chainFile(kNodes / 2), output, chainEcore()});
    EXPECT_EQ(ended.code, 0) << ended.err;
    EXPECT_THAT(documents, testing::Contains(readFile(output)));
    EXPECT_EQ(filesIn(folder).size(), 1u);
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, Endings, testing::ValuesIn(kForms),
                         [](const auto& form) { return form.param; });

// Nothing changes on the disk but by calls, so these are all the moments that there are.
TEST(Endings, JustBeforeAnyCallForFilesLeaveTheOldFileOrTheNewOne) {
  if (isSanitized()) GTEST_SKIP() << "faults need a program without a sanitizer";
  const Save save("krb", 10);
  const std::string hit = temporaryPath("hit");
  for (const int signal : {SIGHUP, SIGKILL}) {
    int at = 0;
    for (bool wasHit = true; wasHit; wasHit = std::filesystem::remove(hit)) {
      const std::string number = std::to_string(signal);
      const Ended ended = save.again({.variables = faults({"CALL=file", "AT=" + std::to_string(++at),
                                                           "SIGNAL=" + number, "HIT=" + hit})});
      EXPECT_TRUE(save.isOld() || save.isWhole()) << at;
      EXPECT_EQ(ended.code, std::filesystem::exists(hit) ? 128 + signal : 0) << at;
      EXPECT_LE(save.files(), signal == SIGKILL ? 2u : 1u) << at;
    }
    EXPECT_GT(at, 10) << "so few calls cannot be all";
    EXPECT_TRUE(save.isWhole());
    EXPECT_EQ(save.files(), 1u) << "the last one removes what others left";
  }
}

}  // namespace kr::zero::test
