// Archives take the memory of the document and 4 MiB beside the model, saving and loading.
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include <bit>

#include "archive/ArchiveTesting.h"
#include "archive/MallocMeter.h"
#include "support/Paths.h"
#include "support/Random.h"

namespace kr::zero::test::memory {

namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;
constexpr std::size_t kMostBeside = 4 * kMiB;

/// What an action has asked for at most, libraries in C included, at one time.
template <class Action>
std::size_t peakOf(Action action) {
  const MallocMeter meter;
  action();
  return meter.getPeakBytes();
}

/// Elements with texts that do not repeat much, so that a document is larger than any window. The buffer of
/// the direct format grows by doubling, and what of it is not written to takes no memory: this document fills
/// it.
Model makeLarge() {
  Model model(goldenArchiveRegistry());
  Random random(7);
  Element root = model.createRoot("golden.Node");
  for (int i = 0; i < 20000; ++i) {
    Element node = root.create("children");
    std::string name = "number ";
    for (int word = 0; word < 12; ++word) name += std::to_string(random.below(100000)) + ' ';
    node.set("name", name);
    node.set("size", i);
  }
  return model;
}

std::size_t documentBytes(const Model& model, bool tagged) {
  std::string document;
  io::writeModel(model, document,
                 {.format = tagged ? io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN
                                   : io::IOFormatProvider::FORMAT_BINARY});
  return document.size();
}

}  // namespace

TEST(ArchiveMemory, SavingTakesTheDocumentAnd4MiB) {
  if (!MallocMeter::isWatching()) GTEST_SKIP() << "the meter sees no requests in this build";
  const Model model = makeLarge();
  const std::string path = temporaryPath("memory.krz");
  for (const bool tagged : {false, true}) {
    const std::size_t document = documentBytes(model, tagged);
    if (!tagged) {
      ASSERT_LT(std::bit_ceil(document) - document, kMiB / 16);
    }
    for (const int level : {1, 3, archive::kDefaultLevel, 12, 13, archive::kSmallestLevel}) {
      const std::size_t taken =
          peakOf([&] { archive::saveArchive(model, path, {.tagged = tagged, .level = level}); });
      EXPECT_GT(taken, document);  // it was measured at all
      EXPECT_LE(taken, document + kMostBeside) << "level " << level << (tagged ? ", tagged" : "");
    }
  }
}

TEST(ArchiveMemory, ReadingADocumentTakesTheDocumentAnd4MiB) {
  if (!MallocMeter::isWatching()) GTEST_SKIP() << "the meter sees no requests in this build";
  const Model model = makeLarge();
  const std::size_t document = documentBytes(model, false);
  for (const int level : {1, archive::kDefaultLevel, archive::kSmallestLevel}) {
    const std::string path = temporaryPath("memory.krz");
    archive::saveArchive(model, path, {.level = level});
    const std::size_t taken = peakOf([&] { archive::ArchiveReader(path).readDocument(); });
    EXPECT_GT(taken, document);
    EXPECT_LE(taken, document + kMostBeside) << "level " << level;
  }
}

TEST(ArchiveMemory, LoadingTakesTheDocumentAnd4MiBBesideTheModel) {
  if (!MallocMeter::isWatching()) GTEST_SKIP() << "the meter sees no requests in this build";
  const std::string path = temporaryPath("memory.krz");
  const Model model = makeLarge();
  archive::saveArchive(model, path);
  std::vector<std::uint8_t> document;
  io::writeModel(model, document);
  // What reading takes by itself: the model, and what it needs until the references are resolved.
  const std::size_t ofModel =
      peakOf([&] { io::readModel(document, {.registry = &goldenArchiveRegistry()}); });
  for (const bool own : {false, true}) {
    const std::size_t taken = peakOf([&] {
      if (own)
        archive::loadArchive(path);
      else
        archive::loadArchive(path, goldenArchiveRegistry());
    });
    EXPECT_GT(taken, ofModel + document.size());
    EXPECT_LE(taken, ofModel + document.size() + kMostBeside);
  }
}

}  // namespace kr::zero::test::memory
