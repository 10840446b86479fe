// What `kr0 generate cpp` leaves behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string contentOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::string write(const std::string& name, const std::string& text) {
  const std::string path = freshFolder() + "/" + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

void expectRefused(const Ended& ended, int code, const std::string& part) {
  EXPECT_EQ(ended.code, code);
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  EXPECT_THAT(ended.err, HasSubstr(part));
  EXPECT_EQ(ended.out, "");
}

}  // namespace

TEST(Generate, WritesAHeaderPerPackageAndTheRegistration) {
  const std::string folder = freshFolder() + "/new/deeper";
  const Ended ended = kr0({"generate", "cpp", libraryEcore(), "-o", folder});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.out, "");
  EXPECT_THAT(filesIn(folder), testing::UnorderedElementsAre("library.kr0.h", "meta_models.kr0.cpp"));
  EXPECT_THAT(contentOf(folder + "/library.kr0.h"), HasSubstr("\nnamespace models::library {\n"));
}

TEST(Generate, TheNamespaceCanBeChosen) {
  const std::string folder = freshFolder();
  EXPECT_EQ(kr0({"generate", "cpp", libraryEcore(), "-o", folder, "--namespace", "acme::data"}).code, 0);
  EXPECT_THAT(contentOf(folder + "/library.kr0.h"), HasSubstr("\nnamespace acme::data::library {\n"));
  for (const char* wrong : {"", "1x", "a::", "std::x", "class", "a-b", "kr"})
    expectRefused(kr0({"generate", "cpp", libraryEcore(), "-o", folder, "--namespace", wrong}), 2,
                  "--namespace");
}

TEST(Generate, GivesTheSameFilesEachTime) {
  const std::string first = freshFolder(), second = freshFolder();
  for (const std::string& folder : {first, second, second})
    ASSERT_EQ(kr0({"generate", "cpp", libraryEcore(), "-o", folder}).code, 0);
  for (const char* name : {"/library.kr0.h", "/meta_models.kr0.cpp"}) {
    EXPECT_EQ(contentOf(first + name), contentOf(second + name));
    EXPECT_THAT(contentOf(first + name), testing::Not(HasSubstr(first)))
        << "a file names the folder it is in";
  }
}

TEST(Generate, ABadMetaModelIsRefusedAndNothingIsWritten) {
  const std::string folder = freshFolder() + "/never";
  expectRefused(kr0({"generate", "cpp", write("no.ecore", "<no"), "-o", folder}), 1, "no.ecore");
  expectRefused(kr0({"generate", "cpp", "/nowhere/at.ecore", "-o", folder}), 1, "/nowhere/at.ecore");
  EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST(Generate, AFolderThatCannotBeWrittenIsNamed) {
  const std::string file = write("taken", "text");
  expectRefused(kr0({"generate", "cpp", libraryEcore(), "-o", file}), 1, file + ": cannot be made a folder");
  expectRefused(kr0({"generate", "cpp", libraryEcore(), "-o", file + "/below"}), 1, file + "/below");
  expectRefused(kr0({"generate", "cpp", libraryEcore(), "-o", "/proc/none"}), 1, "/proc/none");
  EXPECT_EQ(contentOf(file), "text");
}

TEST(Generate, AFileIsReplacedAsAWholeOrNotAtAll) {
  const std::string folder = freshFolder();
  ASSERT_EQ(kr0({"generate", "cpp", libraryEcore(), "-o", folder}).code, 0);
  const std::string before = contentOf(folder + "/library.kr0.h");
  // Of the files that the limit lets through none is begun and left.
  const Ended ended =
      bash("ulimit -f 8; exec \"$KR0\" generate cpp \"$1\" -o \"$2\"", {libraryEcore(), folder});
  EXPECT_EQ(ended.code, 1) << ended.err;
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  EXPECT_EQ(contentOf(folder + "/library.kr0.h"), before);
  EXPECT_EQ(filesIn(folder).size(), 2u);
}

TEST(Generate, SaysWhatItNeeds) {
  expectRefused(kr0({"generate"}), 2, "generate cpp");
  expectRefused(kr0({"generate", "cpp", libraryEcore()}), 2, "--output");
  expectRefused(kr0({"generate", "cpp", "-o", freshFolder()}), 2, "META");
}

}  // namespace kr::zero::test
