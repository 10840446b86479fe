// What `kr0 info` tells of a document.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

using testing::HasSubstr;
using testing::Not;

std::string info(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "info");
  const Ended ended = kr0(arguments);
  EXPECT_EQ(ended.code, 0) << ended.err;
  return ended.out;
}

}  // namespace

TEST(Info, ABinaryDocumentTellsItsHeaderWithoutAMetaModel) {
  const std::string bytes = std::to_string(std::filesystem::file_size(libraryKrb()));
  EXPECT_EQ(info({libraryKrb()}), "format: krb\nversion: 1\nbytes: " + bytes +
                                      "\npackages: 1\n  http://www.example.org/library\n"
                                      "elements: give the meta model with -m to count them\n");
}

TEST(Info, AMetaModelLetsElementsBeCountedByClassMostFirst) {
  EXPECT_THAT(info({libraryKrb(), "-m", libraryEcore()}), HasSubstr("elements: 37\n"
                                                                    "       9  library.Book\n"
                                                                    "       8  library.Author\n"
                                                                    "       8  library.Chapter\n"
                                                                    "       5  library.Loan\n"
                                                                    "       4  library.Member\n"
                                                                    "       1  library.Address\n"
                                                                    "       1  library.AudioBook\n"
                                                                    "       1  library.Library\n"));
}

TEST(Info, AnXmiDocumentTellsItsVersionWithoutAMetaModel) {
  const std::string text = info({libraryXmi()});
  EXPECT_THAT(text, HasSubstr("format: xmi\nversion: 2.0\n"));
  EXPECT_THAT(text, Not(HasSubstr("packages")));
}

TEST(Info, AnXmiDocumentWithAMetaModelTellsTheSameContentAsTheBinaryOne) {
  const auto fromPackages = [](const std::string& text) { return text.substr(text.find("packages")); };
  EXPECT_EQ(fromPackages(info({libraryXmi(), "-m", libraryEcore()})),
            fromPackages(info({libraryKrb(), "-m", libraryEcore()})));
}

// A document of many times the example's roots. Beyond one nobody minds that identities are there twice.
std::string manyRoots(std::size_t count) {
  const std::string bytes = readFile(libraryKrb());
  const std::size_t at = bytes.find("library.Library") - 3;  // 00, 00 and the length stand in front
  std::string many = bytes.substr(0, at);
  many.reserve(at + count * (bytes.size() - at));
  for (std::size_t i = 0; i < count; ++i) many.append(bytes, at);
  return many;
}

// What a call takes at most, in MiB, as the system counts it.
const std::string kPeak =
    "python3 -c 'import resource, subprocess, sys; subprocess.run(sys.argv[1:], check=True); "
    "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss // 1024)' ";

TEST(Info, ALargeDocumentTakesLittleMemory) {
  if (KR0_SANITIZED) GTEST_SKIP() << "sanitizers keep memory of their own";
  const std::string folder = freshFolder();
  constexpr std::size_t kRoots = 30'000;  // 97 MB
  writeFile(folder + "/large.krb", manyRoots(kRoots));
  for (const char* path : {"large.krb", "large.krb.zst", "-"}) {
    const Ended ended = bash("cd $1; [ -e large.krb.zst ] || zstd -q large.krb; " + kPeak +
                                 "$KR0 info $3 -m $2 < large.krb | sed -n '/elements/p; $p'",
                             {folder, libraryEcore(), path});
    EXPECT_EQ(ended.code, 0) << ended.err;
    const std::size_t end = ended.out.find('\n');
    EXPECT_EQ(ended.out.substr(0, end), "elements: " + std::to_string(kRoots * 37)) << path;
    EXPECT_LE(std::stoi(ended.out.substr(end)), 64) << path;
  }
}

}  // namespace kr::zero::test
