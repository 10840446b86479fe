#include "tool/Archives.h"

#define XXH_INLINE_ALL
#include <gtest/gtest.h>
#include <xxhash.h>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

constexpr std::size_t kHeadBytes = 8;  // of a skippable frame: magic and size
constexpr std::size_t kChecksumBytes = 8;

std::string littleEndian(std::uint64_t number, std::size_t bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes; ++i) text += static_cast<char>(number >> (8 * i) & 0xFF);
  return text;
}

/// The content of the skippable frame there.
PartPlace frameAt(const std::string& archive, std::size_t offset) {
  std::size_t size = 0;
  for (std::size_t i = kHeadBytes; i-- > kHeadBytes / 2;)
    size = size << 8 | static_cast<unsigned char>(archive.at(offset + i));
  return {offset + kHeadBytes, size};
}

}  // namespace

std::string libraryKrz() {
  static const std::string path = [] {
    const std::string made = freshFolder() + "/library.krz";
    const Ended ended = kr0({"convert", libraryXmi(), made, "-m", libraryEcore()});
    EXPECT_EQ(ended.code, 0) << ended.err;
    return made;
  }();
  return path;
}

std::string libraryArchive() { return readFile(libraryKrz()); }

PartPlace manifestOf(const std::string& archive) { return frameAt(archive, 0); }

PartPlace metaModelOf(const std::string& archive) {
  const PartPlace before = manifestOf(archive);
  return frameAt(archive, before.offset + before.size);
}

PartPlace documentOf(const std::string& archive) {
  const PartPlace before = metaModelOf(archive);
  return {before.offset + before.size, archive.size() - before.offset - before.size};
}

std::string damaged(std::string archive, PartPlace part) {
  archive.at(part.offset + part.size - 1) ^= 1;
  return archive;
}

std::string withManifest(const std::string& archive, const std::function<void(nlohmann::json&)>& change) {
  const PartPlace place = manifestOf(archive);
  nlohmann::json manifest =
      nlohmann::json::parse(archive.substr(place.offset + kChecksumBytes, place.size - kChecksumBytes));
  change(manifest);
  const std::string text = manifest.dump();
  return archive.substr(0, kHeadBytes / 2) + littleEndian(text.size() + kChecksumBytes, kHeadBytes / 2) +
         littleEndian(XXH3_64bits(text.data(), text.size()), kChecksumBytes) + text +
         archive.substr(place.offset + place.size);
}

}  // namespace kr::zero::test
