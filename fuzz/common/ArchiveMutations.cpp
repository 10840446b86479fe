// Changes to archives that go through their checksums: a part is unpacked, changed and packed again, and the
// manifest says its new size and hash. One change in four knows nothing.
#include <zstd.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

#include "archive/ArchiveTesting.h"
#include "common/Fuzzing.h"
#include "support/Random.h"

/// libFuzzer's own changes, which know nothing of any format.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* bytes, std::size_t size, std::size_t room);

namespace kr::zero::fuzz {

namespace {

using test::ArchiveParts;

constexpr std::size_t kFrameHead = 8;
constexpr std::size_t kManifestChecksum = 8;
constexpr std::size_t kMostContent = std::size_t{1} << 16;

// Where the skippable frame at `at` ends, if it is there as a whole with `least` bytes in it.
std::optional<std::size_t> endOfFrame(std::string_view bytes, std::size_t at, std::size_t least) {
  if (at > bytes.size() || bytes.size() - at < kFrameHead) return std::nullopt;
  std::size_t size = 0;
  for (std::size_t i = 4; i-- > 0;) size = size << 8 | static_cast<std::uint8_t>(bytes[at + 4 + i]);
  if (size < least || size > bytes.size() - at - kFrameHead) return std::nullopt;
  return at + kFrameHead + size;
}

std::optional<ArchiveParts> partsOf(std::string_view bytes) {
  const auto manifestEnd = endOfFrame(bytes, 0, kManifestChecksum);
  if (!manifestEnd || !endOfFrame(bytes, *manifestEnd, 0)) return std::nullopt;
  return ArchiveParts(bytes);
}

std::optional<std::string> contentOf(const std::string& frame) {
  const unsigned long long size = ZSTD_getFrameContentSize(frame.data(), frame.size());
  if (size > kMostContent) return std::nullopt;  // or not known
  std::string content(static_cast<std::size_t>(size), '\0');
  const std::size_t got = ZSTD_decompress(content.data(), content.size(), frame.data(), frame.size());
  if (ZSTD_isError(got) != 0 || got != content.size()) return std::nullopt;
  return content;
}

void changeText(std::string& text) {
  std::string room = text;
  room.resize(text.size() + 64);
  auto* const bytes = reinterpret_cast<std::uint8_t*>(room.data());
  room.resize(LLVMFuzzerMutate(bytes, text.size(), room.size()));
  text = room;
}

void replaceAll(std::string& text, const std::string& what, const std::string& by) {
  for (std::size_t at = text.find(what); at != text.npos; at = text.find(what, at + by.size()))
    text.replace(at, what.size(), by);
}

bool changeFrame(std::string& frame, std::string& manifest) {
  const auto before = contentOf(frame);
  if (!before) return false;
  std::string content = *before;
  changeText(content);
  frame = test::compressed(content);
  replaceAll(manifest, test::digitsOf(*before), test::digitsOf(content));
  replaceAll(manifest, "\"bytes\":" + std::to_string(before->size()),
             "\"bytes\":" + std::to_string(content.size()));
  return true;
}

bool changePart(ArchiveParts& parts, test::Random& random) {
  switch (random.below(3)) {
    case 0:
      changeText(parts.manifest);
      return true;
    case 1:
      return changeFrame(parts.metaModel, parts.manifest);
    default:
      return changeFrame(parts.document, parts.manifest);
  }
}

}  // namespace

}  // namespace kr::zero::fuzz

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* bytes, std::size_t size, std::size_t room,
                                               unsigned seed) {
  kr::zero::test::Random random(std::uint64_t{seed});
  auto parts = kr::zero::fuzz::partsOf({reinterpret_cast<const char*>(bytes), size});
  if (parts && !random.percent(25) && kr::zero::fuzz::changePart(*parts, random)) {
    const std::string whole = parts->join();
    if (whole.size() <= room) {
      std::memcpy(bytes, whole.data(), whole.size());
      return whole.size();
    }
  }
  return LLVMFuzzerMutate(bytes, size, room);
}
