// Archives whose bytes never change, and what becomes of each bit of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include <algorithm>
#include <fstream>
#include <iostream>

#include "archive/ArchiveTesting.h"
#include "archive/GoldenArchives.h"
#include "archive/UnusedBits.h"
#include "support/Environment.h"
#include "support/Paths.h"

namespace kr::zero::test::golden {

namespace {

using testing::AnyOf;
using testing::HasSubstr;

constexpr std::size_t kFrameHead = 8;
// Each bit; with AddressSanitizer, which takes ten times as long, one of seven.
constexpr std::size_t kEvery = underAddressSanitizer() ? 7 : 1;

std::string writeTo(const std::string& name, const std::string& bytes) {
  const std::string path = temporaryPath(name);
  writeFile(path, bytes);
  return path;
}

/// A file whose bytes are changed where they are: making each of thousands anew waits for the disk.
class PatchedFile {
 public:
  PatchedFile(const std::string& name, const std::string& bytes)
      : path_(writeTo(name, bytes)),
        bytes_(bytes),
        file_(path_, std::ios::in | std::ios::out | std::ios::binary) {}

  const std::string& path() const { return path_; }
  void turn(std::size_t byte, unsigned bit) {
    bytes_[byte] = static_cast<char>(bytes_[byte] ^ (1 << bit));
    file_.seekp(static_cast<std::streamoff>(byte));
    file_.put(bytes_[byte]).flush();
  }

 private:
  std::string path_;
  std::string bytes_;
  std::fstream file_;
};

/// Bits that may turn over without a word, in the whole archive.
std::set<BitPlace> harmlessBitsOf(const GoldenArchive& golden) {
  const std::size_t metaModelAt = golden.manifest.size() + kFrameHead;
  const std::size_t documentAt = golden.manifest.size() + golden.metaModel.size();
  std::set<BitPlace> bits;
  for (const BitPlace at : unusedBitsOf(std::string_view(golden.metaModel).substr(kFrameHead)))
    bits.insert({metaModelAt + at.byte, at.bit});
  for (const BitPlace at : unusedBitsOf(golden.document)) bits.insert({documentAt + at.byte, at.bit});
  for (const BitPlace at : golden.otherSpellings) bits.insert({documentAt + at.byte, at.bit});
  return bits;
}

/// The document's frame with a window of its own: the descriptor says no single segment, and a byte for the
/// window follows it.
std::string withWindow(std::string frame, std::uint8_t window) {
  frame[4] = static_cast<char>(frame[4] & ~0x20);
  return frame.insert(5, 1, static_cast<char>(window));
}

}  // namespace

TEST(GoldenArchive, IsReadAsItWasMeant) {
  for (const GoldenArchive& golden : goldenArchives()) {
    const archive::LoadedArchive loaded = archive::loadArchive(writeTo("golden.krz", golden.join()));
    EXPECT_EQ(findDifference(loaded.model, goldenArchiveModel()), std::nullopt) << golden.name;
    archive::ArchiveReader reader(temporaryPath("golden.krz"));
    EXPECT_EQ(reader.getManifest().tagged, golden.name == "tagged");
    EXPECT_EQ(reader.readMetaModel().at(0).name, "golden.ecore");
  }
}

TEST(GoldenArchive, IsReadByAMetaModelThatIsThereAlready) {
  for (const GoldenArchive& golden : goldenArchives()) {
    const Model model = archive::loadArchive(writeTo("golden.krz", golden.join()), goldenArchiveRegistry());
    EXPECT_EQ(findDifference(model, goldenArchiveModel()), std::nullopt) << golden.name;
  }
}

// What a bit says is noticed, and the sentence names the part; or the model is the same, and RFC 8878 does
// not use the bit, or says the same by it.
TEST(GoldenArchive, EveryBitThatTurnsOverIsNoticedOrMeansNothing) {
  for (const GoldenArchive& golden : goldenArchives()) {
    const std::string whole = golden.join();
    const std::set<BitPlace> mayBeHarmless = harmlessBitsOf(golden);
    PatchedFile file("bits-" + golden.name + ".krz", whole);
    std::size_t harmless = 0;
    for (std::size_t i = 0; i < whole.size() * 8 && !HasFailure(); i += kEvery) {
      const BitPlace at{i / 8, static_cast<unsigned>(i % 8)};
      SCOPED_TRACE(golden.name + ", byte " + std::to_string(at.byte) + ", bit " + std::to_string(at.bit));
      file.turn(at.byte, at.bit);
      try {
        const archive::LoadedArchive loaded = archive::loadArchive(file.path());
        EXPECT_EQ(findDifference(loaded.model, goldenArchiveModel()), std::nullopt);
        EXPECT_TRUE(mayBeHarmless.contains(at));
        ++harmless;
      } catch (const Error& error) {
        EXPECT_EQ(error.getDetails().file, file.path());
        EXPECT_THAT(error.what(),
                    AnyOf(HasSubstr("the manifest"), HasSubstr("the meta model"), HasSubstr("the document"),
                          HasSubstr("does not begin like an archive")));
      }
      file.turn(at.byte, at.bit);
    }
    std::cout << golden.name << ": " << harmless << " of " << whole.size() * 8 / kEvery
              << " bits mean nothing\n";
    if (kEvery == 1) {
      EXPECT_GT(harmless, 0u);
    }
  }
}

TEST(GoldenArchive, EveryCutNamesThePartThatItHit) {
  for (const GoldenArchive& golden : goldenArchives()) {
    const std::string whole = golden.join();
    const std::size_t metaModelAt = golden.manifest.size();
    const std::size_t documentAt = metaModelAt + golden.metaModel.size();
    const std::string path = writeTo("cut.krz", whole);
    for (std::size_t size = whole.size(); size-- > 0;) {
      std::filesystem::resize_file(path, size);
      const char* const part = size == 0            ? "the document is empty"
                               : size < 4           ? "does not begin like an archive"
                               : size < metaModelAt ? "manifest"
                               : size < documentAt  ? "meta model"
                                                    : "document";
      EXPECT_THAT(refusalOf([&] { archive::loadArchive(path); }), HasSubstr(part)) << size;
    }
  }
}

// A decompressor may take the size of a window as it likes, as long as it is enough: only the hash tells.
TEST(GoldenArchive, BitsOfTheWindowAreNoticedOrChangeNothing) {
  const GoldenArchive& golden = goldenArchives().front();
  const std::string whole = golden.manifest + golden.metaModel + withWindow(golden.document, 0x20);
  const std::size_t windowAt = golden.manifest.size() + golden.metaModel.size() + 5;
  PatchedFile file("window.krz", whole);
  EXPECT_EQ(findDifference(archive::loadArchive(file.path()).model, goldenArchiveModel()), std::nullopt);
  for (unsigned bit = 0; bit < 8; ++bit) {
    file.turn(windowAt, bit);
    try {
      EXPECT_EQ(findDifference(archive::loadArchive(file.path()).model, goldenArchiveModel()), std::nullopt);
    } catch (const Error& error) {
      EXPECT_THAT(error.what(), HasSubstr("the document of the archive is damaged")) << bit;
    }
    file.turn(windowAt, bit);
  }
}

TEST(GoldenArchive, WritingGivesTheSameContent) {
  for (const GoldenArchive& golden : goldenArchives()) {
    const std::string path = temporaryPath("written.krz");
    archive::saveArchive(goldenArchiveModel(), path, {.tagged = golden.name == "tagged"});
    const ArchiveParts written(readFile(path));
    const ArchiveParts expected(golden.join());
    EXPECT_EQ(written.manifest, expected.manifest);
    EXPECT_EQ(decompressed(written.metaModel), decompressed(expected.metaModel));
    EXPECT_EQ(decompressed(written.document), decompressed(expected.document));
  }
}

}  // namespace kr::zero::test::golden
