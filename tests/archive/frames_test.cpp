// Archives whose frames are not those of an archive, or not what the manifest says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include "archive/ArchiveTesting.h"
#include "archive/GoldenArchives.h"
#include "archive/MallocMeter.h"
#include "support/Paths.h"

namespace kr::zero::test {

namespace {

using archive::ArchiveReader;
using archive::loadArchive;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::size_t kMiB = std::size_t{1} << 20;

ArchiveParts golden() { return ArchiveParts(goldenArchives().front().join()); }

std::string put(const std::string& bytes) {
  const std::string path = temporaryPath("frames.krz");
  writeFile(path, bytes);
  return path;
}

std::string loadingOf(const std::string& bytes) {
  const std::string path = put(bytes);
  return refusalOf([&] { loadArchive(path); });
}

bool isGolden(const std::string& bytes) {
  return findDifference(loadArchive(put(bytes)).model, goldenArchiveModel()) == std::nullopt;
}

/// The golden archive with another place in its manifest, whose checksum fits.
std::string withManifest(std::string_view what, std::string_view by) {
  ArchiveParts parts = golden();
  parts.manifest = replaced(parts.manifest, what, by);
  return parts.join();
}

/// The golden archive with another text of the meta model, and a manifest that fits it.
std::string withMetaModel(const std::string& text) {
  ArchiveParts parts = golden();
  const std::string before = decompressed(parts.metaModel);
  parts.metaModel = compressed(text);
  parts.manifest = replaced(parts.manifest, digitsOf(before), digitsOf(text));
  for (int i = 0; i < 2; ++i)
    parts.manifest = replaced(parts.manifest, "\"bytes\":" + std::to_string(before.size()),
                              "\"bytes\": " + std::to_string(text.size()));
  return parts.join();
}

std::string withDocument(const std::string& bytes) {
  ArchiveParts parts = golden();
  const std::string before = decompressed(parts.document);
  parts.document = compressed(bytes);
  parts.manifest = replaced(parts.manifest, digitsOf(before), digitsOf(bytes));
  parts.manifest = replaced(parts.manifest, "\"bytes\":" + std::to_string(before.size()),
                            "\"bytes\":" + std::to_string(bytes.size()));
  return parts.join();
}

/// A frame of blocks that each stand for 128 KiB of one letter, in four bytes.
std::string bombOf(std::uint64_t content) {
  constexpr std::size_t kBlock = std::size_t{1} << 17;
  std::string frame = lowFirst(0xFD2FB528, 4);
  frame += static_cast<char>(0xC4);  // content size in eight bytes, checksum
  frame += static_cast<char>(0x38);  // window of 128 KiB
  frame += lowFirst(content, 8);
  for (std::uint64_t left = content; left > 0; left -= kBlock)
    frame += lowFirst(kBlock << 3 | 1 << 1 | (left == kBlock ? 1 : 0), 3) + "x";
  return frame + lowFirst(0, 4);
}

/// What a reading takes at most, whatever it ends with.
template <class Action>
std::size_t peakOf(Action action) {
  const MallocMeter meter;
  action();
  return meter.getPeakBytes();
}

}  // namespace

// --- Order and number of frames

TEST(ArchiveFrames, TheManifestMustStandFirst) {
  const ArchiveParts parts = golden();
  EXPECT_THAT(loadingOf(parts.metaModelFrame() + parts.manifestFrame() + parts.document),
              EndsWith("frames.krz, byte 0: this does not begin like an archive"));
  EXPECT_THAT(loadingOf(parts.document), StartsWith("foreign: "));
}

TEST(ArchiveFrames, TheMetaModelMustStandBeforeTheDocument) {
  const ArchiveParts parts = golden();
  EXPECT_THAT(loadingOf(parts.manifestFrame() + parts.document + parts.metaModelFrame()),
              EndsWith("the meta model of the archive is damaged: its frame is missing"));
}

TEST(ArchiveFrames, APartThatIsThereTwiceIsRefused) {
  const ArchiveParts parts = golden();
  EXPECT_THAT(loadingOf(parts.manifestFrame() + parts.join()), EndsWith(": the manifest is there twice"));
  EXPECT_THAT(
      loadingOf(parts.manifestFrame() + parts.metaModelFrame() + parts.metaModelFrame() + parts.document),
      EndsWith(": the meta model is there twice"));
  EXPECT_THAT(loadingOf(parts.join() + parts.document),
              EndsWith("the document of the archive is damaged: there is more behind its end"));
}

TEST(ArchiveFrames, APartThatIsMissingIsNamed) {
  const ArchiveParts parts = golden();
  EXPECT_THAT(loadingOf(parts.metaModelFrame() + parts.document), StartsWith("foreign: "));
  EXPECT_THAT(loadingOf(parts.manifestFrame() + parts.document), HasSubstr("the meta model"));
  EXPECT_THAT(loadingOf(parts.manifestFrame() + parts.metaModelFrame()),
              EndsWith("the archive ends before its document"));
}

TEST(ArchiveFrames, UnknownSkippableFramesBeforeTheDocumentArePassedOver) {
  const ArchiveParts parts = golden();
  for (unsigned number = 2; number < 16; ++number) {
    const std::string unknown = skippableFrame(number, "something else");
    EXPECT_TRUE(isGolden(parts.manifestFrame() + unknown + parts.metaModelFrame() + unknown + unknown +
                         parts.document))
        << number;
  }
}

TEST(ArchiveFrames, NothingMayFollowTheDocument) {
  const ArchiveParts parts = golden();
  for (const std::string& more :
       {skippableFrame(7, "something else"), skippableFrame(7, ""), std::string("\0", 1)})
    EXPECT_THAT(loadingOf(parts.join() + more), EndsWith("damaged: there is more behind its end"));
}

TEST(ArchiveFrames, AFrameThatReachesBeyondTheFileIsRefused) {
  const ArchiveParts parts = golden();
  const std::string head = lowFirst(0x184D2A51, 4) + lowFirst(0xFFFFFFFF, 4);
  EXPECT_THAT(loadingOf(parts.manifestFrame() + head + parts.document),
              EndsWith("a frame is longer than the file where the meta model should begin"));
}

// --- What the manifest says

TEST(ArchiveManifest, SizesThatAreNotThoseOfThePartsAreRefused) {
  EXPECT_THAT(loadingOf(withManifest("\"bytes\":981", "\"bytes\":982")),
              EndsWith("the document of the archive is damaged: it is shorter than the manifest says"));
  EXPECT_THAT(loadingOf(withManifest("\"bytes\":981", "\"bytes\":980")),
              EndsWith("the document of the archive is damaged: it is longer than the manifest says"));
  EXPECT_THAT(loadingOf(withManifest("{\"bytes\":1727,\"files\"", "{\"bytes\":1726,\"files\"")),
              EndsWith("the manifest of the archive is damaged: its files are longer than the meta model"));
  EXPECT_THAT(loadingOf(withManifest("{\"bytes\":1727,\"files\"", "{\"bytes\":1728,\"files\"")),
              EndsWith("the manifest of the archive is damaged: its files are shorter than the meta model"));
}

TEST(ArchiveManifest, AnotherHashOfThePartIsRefused) {
  const ArchiveParts parts = golden();
  EXPECT_THAT(loadingOf(withManifest(digitsOf(decompressed(parts.document)), std::string(32, '0'))),
              EndsWith("the document of the archive is damaged: the manifest has another hash for it"));
  EXPECT_THAT(loadingOf(withManifest(digitsOf(decompressed(parts.metaModel)), std::string(32, '0'))),
              EndsWith("the meta model of the archive is damaged: the manifest has another hash for it"));
}

TEST(ArchiveManifest, WhatIsNoManifestIsRefusedWithAReason) {
  struct Case {
    const char* what;
    const char* by;
    const char* why;
  };
  const Case cases[] = {
      {"{\"document\"", "[\"document\"", "it is no JSON"},
      {"\"kr0\":1", "\"kr0\":2", "the archive has the version 2, and only 1 is known here"},
      {"\"kr0\":1", "\"kr1\":1", "it lacks \"kr0\""},
      {"\"kr0\":1", "\"kr0\":-1", "its \"kr0\" is no natural number"},
      {"\"bytes\":981", "\"bytes\":-1", "its \"bytes\" is no natural number"},
      {"\"bytes\":981", "\"bytes\":1e300", "its \"bytes\" is no natural number"},
      {"\"bytes\":981", "\"bytes\":\"981\"", "its \"bytes\" is no natural number"},
      {"\"format\":\"krb\"", "\"format\":\"zip\"", "the document is in a format that is not known here"},
      {"\"format\":\"krb\"", "\"format\":7", "its \"format\" is no text"},
      {"\"metaModel\":{", "\"metaModel\":[[[[[[[[[]]]]]]]]],\"other\":{", "its values are nested too deep"},
      {"\"packages\":[{", "\"packages\":7,\"other\":[{", "its \"packages\" is no list"},
      {"\"name\":\"golden\"", "\"nome\":\"golden\"", "it lacks \"name\""},
  };
  for (const Case& each : cases)
    EXPECT_THAT(loadingOf(withManifest(each.what, each.by)),
                EndsWith(std::string("the manifest of the archive is damaged: ") + each.why));
}

TEST(ArchiveManifest, OneOfMoreThan4MiBIsRefused) {
  ArchiveParts parts = golden();
  parts.manifest.insert(1, 4 * kMiB, ' ');
  EXPECT_THAT(loadingOf(parts.join()),
              EndsWith("the manifest of the archive is damaged: it has more than 4194304 bytes"));
}

TEST(ArchiveManifest, APackageThatTheMetaModelDoesNotBringIsRefused) {
  EXPECT_THAT(
      loadingOf(withManifest("urn:golden", "urn:silver")),
      EndsWith("the meta model of the archive has no package \"urn:silver\" with the fingerprint that the "
               "manifest says"));
}

// --- Content

TEST(ArchiveContent, AMetaModelThatIsNoneIsRefusedByName) {
  EXPECT_THAT(loadingOf(withMetaModel("<nothing/>")),
              HasSubstr("the meta model of the archive: golden.ecore"));
}

TEST(ArchiveContent, ADocumentThatIsNoneIsRefusedByName) {
  EXPECT_THAT(loadingOf(withDocument("hello, world")), HasSubstr("frames.krz: the document of the archive"));
}

TEST(ArchiveContent, AMetaModelOfNothingHasTheHashOfNothing) {
  std::string bytes;
  archive::writeArchive(Model(goldenArchiveRegistry()), bytes);
  ArchiveParts parts(bytes);
  parts.manifest = replaced(parts.manifest, digitsOf(""), digitsOf("else"));
  EXPECT_THAT(loadingOf(parts.join()),
              EndsWith("the meta model of the archive is damaged: the manifest has another hash for it"));
}

TEST(ArchiveContent, APartWithoutAChecksumIsRefused) {
  ArchiveParts parts = golden();
  parts.document = compressed(decompressed(parts.document), false);
  EXPECT_THAT(loadingOf(parts.join()),
              EndsWith("the document of the archive is damaged: it has no checksum"));
  parts = golden();
  parts.metaModel = compressed(decompressed(parts.metaModel), false);
  EXPECT_THAT(loadingOf(parts.join()),
              EndsWith("the meta model of the archive is damaged: it has no checksum"));
}

TEST(ArchiveContent, AWindowOfMoreThan8MiBIsRefused) {
  ArchiveParts parts = golden();
  parts.document = bombOf(16 * kMiB);
  parts.document[5] = 0x70;  // 16 MiB
  parts.manifest = replaced(parts.manifest, "\"bytes\":981", "\"bytes\":16777216");
  const std::string path = put(parts.join());
  EXPECT_LT(peakOf([&] {
              EXPECT_THAT(
                  refusalOf([&] { loadArchive(path); }),
                  HasSubstr("the document of the archive is damaged: Frame requires too much memory"));
            }),
            20 * kMiB);
}

// --- Bombs

TEST(ArchiveBomb, ContentIsRefusedAtTheLimit) {
  ArchiveParts parts = golden();
  constexpr std::uint64_t kTenGigabytes = std::uint64_t{10} << 30;
  parts.document = bombOf(kTenGigabytes);
  const std::string claim = "\"bytes\":" + std::to_string(kTenGigabytes);
  const std::string why =
      " unpacks to more than 16777216 bytes, which is the limit; ArchiveLimits::bytes sets it";
  for (const char* const said : {"honest", "small"}) {
    ArchiveParts bomb = parts;
    if (said == std::string("honest")) bomb.manifest = replaced(bomb.manifest, "\"bytes\":981", claim);
    if (said == std::string("small")) bomb.manifest[0] = '!';  // no manifest: nothing is claimed
    const std::string path = put(bomb.join());
    const std::size_t peak = peakOf([&] {
      EXPECT_THAT(refusalOf([&] { ArchiveReader(path, {16 * kMiB}).readDocument(); }),
                  EndsWith("the document of the archive" + why));
    });
    EXPECT_LT(peak, 16 * kMiB + 64 * kMiB) << said;
  }
  parts = golden();
  parts.metaModel = bombOf(kTenGigabytes);
  for (int i = 0; i < 2; ++i) parts.manifest = replaced(parts.manifest, "\"bytes\":1727", claim);
  EXPECT_THAT(refusalOf([&] { ArchiveReader(put(parts.join()), {16 * kMiB}).readMetaModel(); }),
              EndsWith("the meta model of the archive" + why));
}

TEST(ArchiveBomb, TheLimitIs4GiBUnlessSaidOtherwise) {
  EXPECT_EQ(archive::ArchiveLimits().bytes, std::uint64_t{4} << 30);
  EXPECT_THAT(loadingOf(withManifest("\"bytes\":981", "\"bytes\":4294967297")), StartsWith("overLimit: "));
}

TEST(ArchiveBomb, AManifestThatLiesTakesNoMemory) {
  if (!MallocMeter::isWatching()) GTEST_SKIP() << "the meter sees no requests in this build";
  const std::string path = put(withManifest("\"bytes\":981", "\"bytes\":4000000000"));
  std::size_t peak = peakOf([&] {
    EXPECT_THAT(refusalOf([&] { loadArchive(path); }), HasSubstr("it is shorter than the manifest says"));
  });
  EXPECT_LT(peak, kMiB);
}

// --- What is whole can be had

TEST(ArchiveRescue, TheDocumentWithoutAManifest) {
  ArchiveParts parts = golden();
  const std::string document = decompressed(parts.document);
  std::string bytes = parts.join();
  bytes[20] ^= 1;
  ArchiveReader reader(put(bytes));
  EXPECT_THAT(refusalOf([&] { reader.getManifest(); }),
              EndsWith("the manifest of the archive is damaged: its checksum is another"));
  EXPECT_THAT(refusalOf([&] { reader.readMetaModel(); }), HasSubstr("the manifest"));
  const std::vector<std::uint8_t> rescued = reader.readDocument();
  EXPECT_EQ(std::string(rescued.begin(), rescued.end()), document);
  const Model model = io::readModel(rescued, {.registry = &goldenArchiveRegistry()});
  EXPECT_EQ(findDifference(model, goldenArchiveModel()), std::nullopt);
}

TEST(ArchiveRescue, TheDocumentWithoutAMetaModel) {
  ArchiveParts parts = golden();
  for (const std::string& metaModel : {std::string("no frame"), std::string()}) {
    parts.metaModel = metaModel;
    const std::string path = put(parts.join());
    EXPECT_THAT(refusalOf([&] { loadArchive(path); }), HasSubstr("the meta model of the archive is damaged"));
    EXPECT_EQ(findDifference(loadArchive(path, goldenArchiveRegistry()), goldenArchiveModel()), std::nullopt);
  }
}

TEST(ArchiveRescue, ManifestAndMetaModelWithoutTheDocument) {
  const std::string whole = golden().join();
  const std::size_t documentAt = whole.size() - golden().document.size();
  for (const std::size_t cut : {whole.size() - 1, documentAt + 1, documentAt}) {
    ArchiveReader reader(put(whole.substr(0, cut)));
    EXPECT_EQ(reader.getManifest().packages.at(0).uri, "urn:golden") << cut;
    EXPECT_EQ(reader.readMetaModel().at(0).text, decompressed(golden().metaModel)) << cut;
    EXPECT_THAT(refusalOf([&] { reader.readDocument(); }), HasSubstr("document")) << cut;
  }
}

TEST(ArchiveRescue, TheManifestWithoutAnythingElse) {
  ArchiveReader reader(put(golden().manifestFrame() + "no frame"));
  EXPECT_EQ(reader.getManifest().bytes, 981u);
  EXPECT_EQ(reader.getManifestText(), golden().manifest);
  EXPECT_THAT(refusalOf([&] { reader.readMetaModel(); }),
              EndsWith("there is no frame of an archive where the meta model should begin"));
}

}  // namespace kr::zero::test
