// Files that are packed as a whole, and archives in memory.
#include "kr/zero/archive/Packing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include "kr/zero/archive/Archive.h"
#include "support/Paths.h"

namespace kr::zero::archive::packing {

namespace {

using testing::HasSubstr;

constexpr Packing kPackings[] = {Packing::gzip, Packing::zstandard};
constexpr int kLevel = 6;

std::string asText(const std::vector<std::uint8_t>& bytes) { return {bytes.begin(), bytes.end()}; }

std::string sample() { return test::readFile(std::string(KR0_SOURCE_DIR) + "/examples/library/library.xmi"); }

/// More than a piece of any of the loops, and nothing that packs to nearly nothing.
std::string largeSample() {
  std::string text;
  for (unsigned state = 1; text.size() < 500'000; state = state * 1664525U + 1013904223U)
    text += std::to_string(state >> 20) + ' ';
  return text;
}

std::string unpacked(const std::string& packed, const UnpackOptions& options = {}) {
  return asText(unpack(packed, packingOf(packed), options));
}

/// A skippable frame, as other programs put them in front.
std::string note(const std::string& text) {
  return std::string("\x50\x2A\x4D\x18", 4) + static_cast<char>(text.size()) + std::string(3, '\0') + text;
}

std::string refusalOf(const std::string& packed, const UnpackOptions& options = {}) {
  try {
    unpacked(packed, options);
  } catch (const Error& error) {
    return std::string(nameOf(error.getCode())) + ": " + error.what();
  }
  return "nothing was refused";
}

std::string archiveBytes() {
  meta::MetaRegistry registry;
  meta::MetaModelBuilder package("urn:small", "small");
  package.classType("Node").property("name", "String");
  package.registerIn(registry);
  Model model(registry);
  model.createRoot("small.Node").set("name", "first");
  std::string bytes;
  writeArchive(model, bytes);
  return bytes;
}

}  // namespace

TEST(Packing, WhatWasPackedComesBackAndIsToldByContent) {
  for (const std::string& text : {sample(), largeSample(), std::string(), std::string(3'000'000, 'a')}) {
    const std::string gzip = pack(text, Packing::gzip, kLevel), zst = pack(text, Packing::zstandard, kLevel);
    EXPECT_EQ(packingOf(gzip), Packing::gzip);
    EXPECT_EQ(packingOf(zst), Packing::zstandard);
    EXPECT_TRUE(unpacked(gzip) == text);
    EXPECT_TRUE(unpacked(zst) == text);
  }
}

TEST(Packing, NoneGivesTheBytesAsTheyAre) { EXPECT_EQ(pack("abc", Packing::none, kLevel), "abc"); }

TEST(Packing, SameBytesGiveSameBytes) {
  for (const Packing packing : kPackings)
    EXPECT_EQ(pack(sample(), packing, kLevel), pack(sample(), packing, kLevel));
}

TEST(Packing, EveryLevelIsTaken) {
  for (const Packing packing : kPackings)
    for (const int level : {1, 9, 10, 19}) EXPECT_TRUE(unpacked(pack(sample(), packing, level)) == sample());
}

TEST(Packing, NamesTellPackingsAndWhatIsInside) {
  EXPECT_EQ(packingOfName("a.xmi.gz"), Packing::gzip);
  EXPECT_EQ(packingOfName("a.xmi.zst"), Packing::zstandard);
  EXPECT_EQ(packingOfName("a.gz.xmi"), Packing::none);
  EXPECT_EQ(packingOfName("gz"), Packing::none);
  EXPECT_EQ(unpackedName("a.b/c.d.xmi.gz"), "a.b/c.d.xmi");
  EXPECT_EQ(unpackedName("a.gz.zst"), "a.gz");
  EXPECT_EQ(unpackedName("a.xmi"), "a.xmi");
}

TEST(Packing, SeveralMembersOrFramesAreReadWhole) {
  for (const Packing packing : kPackings) {
    const std::string one = pack("one", packing, kLevel), two = pack("two", packing, kLevel);
    EXPECT_EQ(unpacked(one + two), "onetwo");
    EXPECT_EQ(unpacked(one + pack("", packing, kLevel) + two), "onetwo");
  }
}

TEST(Packing, SkippableFramesArePassedOver) {
  const std::string one = pack("one", Packing::zstandard, kLevel);
  for (const std::string& packed :
       {note("1234") + one, note("") + one, one + note("x"), note("1234") + one + note("1234") + one})
    EXPECT_THAT(unpacked(packed), testing::AnyOf("one", "oneone"));
}

TEST(Packing, AnArchiveIsNotPackedAlthoughItIsFrames) {
  std::string bytes = archiveBytes();
  EXPECT_TRUE(looksLikeArchive(bytes));
  EXPECT_EQ(packingOf(bytes), Packing::none);
  EXPECT_EQ(packingOf(bytes.substr(0, 64)), Packing::none);
  bytes[16] = 'x';  // the manifest's first character
  EXPECT_EQ(packingOf(bytes), Packing::none);
}

TEST(Packing, WhatIsNeitherIsNotPacked) {
  for (const std::string text : {"", "<?xml", "\x01\x02kr", "\x1F", "\x28\xB5\x2F"})
    EXPECT_EQ(packingOf(text), Packing::none);
}

TEST(Packing, EveryCutIsRefused) {
  for (const Packing packing : kPackings) {
    const std::string whole = pack(sample(), packing, kLevel);
    for (std::size_t size = 4; size < whole.size(); ++size)
      EXPECT_THAT(refusalOf(whole.substr(0, size)), HasSubstr("file is damaged: it is cut short")) << size;
  }
}

// Gzip's head has bits that say nothing of the content.
TEST(Packing, EveryByteThatIsAnotherIsNoticedOrChangesNothing) {
  for (const Packing packing : kPackings) {
    const std::string whole = pack(sample(), packing, kLevel);
    std::size_t noticed = 0;
    for (std::size_t i = 4; i < whole.size(); ++i) {
      std::string damaged = whole;
      damaged[i] = static_cast<char>(damaged[i] ^ 0x55);
      try {
        EXPECT_TRUE(unpacked(damaged) == sample()) << i;
      } catch (const Error& error) {
        EXPECT_EQ(error.getCode(), ErrorCode::damaged);
        ++noticed;
      }
    }
    EXPECT_GE(noticed, whole.size() - 16);
  }
}

TEST(Packing, WhatFollowsIsRefused) {
  for (const Packing packing : kPackings) {
    const std::string kind = packing == Packing::gzip ? "gzip" : "zstd";
    for (const std::string& more : {std::string("x"), std::string(20, '\0'), std::string("hello, world")})
      EXPECT_EQ(refusalOf(pack("abc", packing, kLevel) + more, {.name = "a.xmi"}),
                "damaged: a.xmi: the " + kind + " file is damaged: there is more behind its end");
  }
}

TEST(Packing, MoreThanTheLimitIsRefusedBeforeItIsUnpacked) {
  const std::string zeros(30'000'000, '\0');
  for (const Packing packing : kPackings) {
    const std::string bomb = pack(zeros, packing, kLevel);
    EXPECT_LT(bomb.size(), 40'000u);
    EXPECT_EQ(refusalOf(bomb, {.name = "bomb", .limit = 1'000'000}),
              "overLimit: bomb: it unpacks to more than 1000000 bytes");
    EXPECT_TRUE(unpacked(bomb, {.limit = zeros.size()}) == zeros);
  }
}

TEST(Packing, WhatIsNotPackedCannotBeUnpacked) {
  EXPECT_THAT(refusalOf("hello, world"), HasSubstr("misuse: the document: "));
}

TEST(ArchiveInMemory, IsReadAsOneInAFile) {
  const std::string bytes = archiveBytes();
  const LoadedArchive loaded = loadArchive(ArchiveBytes{bytes});
  EXPECT_EQ(loaded.model.getRoots().front().getText("name"), "first");
  const Model again = loadArchive(ArchiveBytes{bytes}, *loaded.registry);
  EXPECT_EQ(findDifference(again, loaded.model), std::nullopt);
  const std::string path = test::temporaryPath("memory.krz");
  saveArchive(loaded.model, path, {.mapping = loaded.mapping.get()});
  std::string written;
  writeArchive(loaded.model, written, {.mapping = loaded.mapping.get()});
  EXPECT_EQ(test::readFile(path), written);
}

TEST(ArchiveInMemory, IsCalledByItsName) {
  try {
    loadArchive(ArchiveBytes{"hello, world", "here"});
    FAIL() << "nothing was refused";
  } catch (const Error& error) {
    EXPECT_EQ(std::string(error.what()), "here, byte 0: this does not begin like an archive");
  }
}

TEST(ArchiveInMemory, PartsAreThereInTheirOrderWithTheirSizes) {
  const std::string bytes = archiveBytes();
  const std::vector<ArchivePart> parts = ArchiveReader(ArchiveBytes{bytes}).getParts();
  ASSERT_EQ(parts.size(), 3u);
  EXPECT_EQ(parts[0].name + ", " + parts[1].name + ", " + parts[2].name, "manifest, meta model, document");
  EXPECT_EQ(parts[0].bytes + parts[1].bytes + parts[2].bytes + 2 * 8, bytes.size());
}

}  // namespace kr::zero::archive::packing
