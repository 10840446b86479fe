// What can be had of a damaged document in an archive.
#include <gtest/gtest.h>

#include "archive/ArchiveTesting.h"
#include "support/Random.h"

namespace kr::zero::test {

namespace {

constexpr std::size_t kRawBlock = std::size_t{1} << 17;

std::string texts(std::size_t bytes) {
  std::string text;
  Random random(1);
  while (text.size() < bytes) text += std::to_string(random.below(1000000)) + ' ';
  text.resize(bytes);
  return text;
}

/// A frame that holds its content as it is: raw blocks (RFC 8878, 3.1.1.2), size and checksum.
std::string stored(std::string_view content) {
  const std::string sound = compressed(content);
  std::string frame = sound.substr(0, 4) + '\xa4' + lowFirst(content.size(), 4);
  for (std::size_t at = 0; at < content.size(); at += kRawBlock) {
    const std::string_view block = content.substr(at, kRawBlock);
    const bool isLast = at + block.size() == content.size();
    frame += lowFirst(block.size() << 3 | (isLast ? 1u : 0u), 3) + std::string(block);
  }
  return frame + sound.substr(sound.size() - 4);
}

archive::PartialDocument readPartial(const std::string& document) {
  std::string bytes;
  archive::writeArchive(goldenArchiveModel(), bytes);
  ArchiveParts parts(bytes);
  parts.document = document;
  parts.manifest = "{}";  // it has to do without
  const std::string archive = parts.join();
  archive::ArchiveReader reader(archive::ArchiveBytes{archive});
  return reader.readPartialDocument();
}

}  // namespace

TEST(PartialDocument, AWholeOneIsWhole) {
  const std::string content = texts(300000);
  for (const std::string& frame : {compressed(content), stored(content)}) {
    const archive::PartialDocument partial = readPartial(frame);
    EXPECT_EQ(partial.damage, "");
    EXPECT_EQ(std::string(partial.bytes.begin(), partial.bytes.end()), content);
  }
}

TEST(PartialDocument, AllOfAStoredOneComesWithItsChangedBytes) {
  const std::string content = texts(300000);
  std::string frame = stored(content);
  const std::size_t at = frame.find(content.substr(150000, 40));
  frame.replace(at, 16, 16, 'x');
  std::string harmed = content;
  harmed.replace(150000, 16, 16, 'x');
  const archive::PartialDocument partial = readPartial(frame);
  EXPECT_NE(partial.damage, "");
  EXPECT_EQ(std::string(partial.bytes.begin(), partial.bytes.end()), harmed);
}

TEST(PartialDocument, TheBlocksBeforeDamageComeOfACompressedOne) {
  const std::string content = texts(500000);
  std::string frame = compressed(content);
  frame.replace(frame.size() * 3 / 4, 16, 16, '\xff');
  const archive::PartialDocument partial = readPartial(frame);
  EXPECT_NE(partial.damage, "");
  ASSERT_GE(partial.bytes.size(), kRawBlock);
  EXPECT_EQ(std::string(partial.bytes.begin(), partial.bytes.begin() + kRawBlock),
            content.substr(0, kRawBlock));
}

TEST(PartialDocument, WhatWasCutOffIsMissing) {
  const std::string content = texts(300000);
  const std::string frame = stored(content);
  const archive::PartialDocument partial = readPartial(frame.substr(0, frame.size() - 1000));
  EXPECT_EQ(partial.damage, "it is cut short");
  ASSERT_GE(partial.bytes.size(), 2 * kRawBlock);
  EXPECT_EQ(std::string(partial.bytes.begin(), partial.bytes.end()), content.substr(0, partial.bytes.size()));
}

}  // namespace kr::zero::test
