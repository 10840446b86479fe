// Any bytes as an archive, or as a file that is packed as a whole. What an archive gives can be archived
// again, and is then the same.
#include "kr/zero/archive/Archive.h"

#include <optional>
#include <string>

#include "common/MemoryUse.h"
#include "common/Refusals.h"
#include "kr/zero/archive/Packing.h"

namespace kr::zero::fuzz {

namespace {

using archive::ArchiveBytes;
using archive::LoadedArchive;

constexpr archive::ArchiveLimits kLimits{.bytes = std::uint64_t{1} << 20};
// The limit for each of the two parts, twice as they grow by doubling, what a decompressor keeps, and a model
// of a document at the limit.
constexpr MemoryBound kBound{
    .floor = std::size_t{64} << 20, .largest = std::size_t{16} << 20, .largestPerByte = 0};

std::optional<LoadedArchive> loadMeasured(std::string_view bytes) {
  std::optional<LoadedArchive> loaded;
  std::string refusal;
  const MemoryUse use;
  succeeds([&] { loaded = archive::loadArchive(ArchiveBytes{bytes}, kLimits); }, &refusal);
  // The tagged format reserves the length that a text claims before its bytes are read.
  const bool isReserved =
      refusal.ends_with("not enough memory for this document") || refusal.ends_with("string cut short");
  MemoryBound bound = kBound;
  if (isReserved) bound.reserved = use.getLargestRequest();
  use.requireBounded(bytes.size(), bound);
  return loaded;
}

// Each part by itself, whatever the others are.
void examineParts(std::string_view bytes) {
  succeeds([&] {
    archive::ArchiveReader reader(ArchiveBytes{bytes}, kLimits);
    for (const archive::ArchivePart& part : reader.getParts())
      require(part.offset <= bytes.size() && part.bytes <= bytes.size(), "every part lies in the archive");
    succeeds([&] { reader.getManifestText(); });
    succeeds([&] { reader.readMetaModel(); });
    succeeds([&] { require(reader.readDocument().size() <= kLimits.bytes, "no part is over the limit"); });
    succeeds([&] {
      require(reader.readPartialDocument().bytes.size() <= kLimits.bytes, "no part is over the limit");
    });
    succeeds([&] { reader.readModel(); });
  });
}

void examineRoundTrip(const LoadedArchive& loaded) {
  std::string bytes;
  const archive::ArchiveOptions options{.mapping = loaded.mapping.get(), .level = archive::kFastestLevel};
  // A dangling number of the document may be an element's in the one that would be written.
  if (!succeeds([&] { archive::writeArchive(loaded.model, bytes, options); })) return;
  requireSuccess("what was archived can be loaded", [&] {
    const LoadedArchive again = archive::loadArchive(ArchiveBytes{bytes});
    const auto difference = findDifference(loaded.model, again.model);
    require(!difference, "what was archived is the model", difference.value_or("").c_str());
  });
}

void examinePacking(std::string_view bytes) {
  const archive::Packing packing = archive::packingOf(bytes);
  if (packing == archive::Packing::none) return;
  succeeds([&] {
    const auto unpacked = archive::unpack(bytes, packing, {.limit = kLimits.bytes});
    require(unpacked.size() <= kLimits.bytes, "what is unpacked is not over the limit");
  });
}

}  // namespace

void examine(Input input) {
  const std::string_view bytes(reinterpret_cast<const char*>(input.data()), input.size());
  if (const auto loaded = loadMeasured(bytes)) examineRoundTrip(*loaded);
  examineParts(bytes);
  examinePacking(bytes);
}

}  // namespace kr::zero::fuzz
