// Archives are Zstandard: its own tool checks them, and gives the document inside.
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include <cstdlib>

#include "archive/ArchiveTesting.h"
#include "archive/GoldenArchives.h"
#include "support/Paths.h"

namespace kr::zero::test {

namespace {

/// Whether a command of the shell ends with 0.
bool succeeds(const std::string& command) { return std::system((command + " 2>/dev/null").c_str()) == 0; }

bool haveZstd() { return succeeds("zstd --version >/dev/null"); }

/// What `zstd -dc` gives.
std::string unpackedByTool(const std::string& path) {
  const std::string content = temporaryPath("by-tool");
  return succeeds("zstd -qdc '" + path + "' > '" + content + "'") ? readFile(content) : "zstd refuses it";
}

}  // namespace

TEST(ZstdTool, ChecksArchivesAndGivesTheDocument) {
  if (!haveZstd()) GTEST_SKIP() << "there is no zstd here";
  for (const bool tagged : {false, true}) {
    const std::string path = temporaryPath("tool.krz");
    archive::saveArchive(goldenArchiveModel(), path, {.tagged = tagged});
    EXPECT_TRUE(succeeds("zstd -qt '" + path + "'"));
    std::string document;
    io::writeModel(goldenArchiveModel(), document,
                   {.format = tagged ? io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN
                                     : io::IOFormatProvider::FORMAT_BINARY});
    EXPECT_EQ(unpackedByTool(path), document);
  }
}

TEST(ZstdTool, ReadsTheGoldenArchives) {
  if (!haveZstd()) GTEST_SKIP() << "there is no zstd here";
  for (const GoldenArchive& golden : goldenArchives()) {
    const std::string path = temporaryPath("golden.krz");
    writeFile(path, golden.join());
    EXPECT_TRUE(succeeds("zstd -qt '" + path + "'"));
    EXPECT_EQ(unpackedByTool(path), decompressed(golden.document));
  }
}

TEST(ZstdTool, RefusesADamagedDocument) {
  if (!haveZstd()) GTEST_SKIP() << "there is no zstd here";
  std::string bytes = goldenArchives().front().join();
  bytes[bytes.size() - 30] ^= 1;
  const std::string path = temporaryPath("damaged.krz");
  writeFile(path, bytes);
  EXPECT_FALSE(succeeds("zstd -qt '" + path + "'"));
}

}  // namespace kr::zero::test
