#include "kr/zero/archive/Packing.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "Gzip.h"
#include "Zstandard.h"
#include "kr/zero/archive/Archive.h"

namespace kr::zero::archive {

namespace {

constexpr int kHighestGzipLevel = 9;

constexpr std::array<std::pair<std::string_view, Packing>, 2> kSuffixes{
    {{".gz", Packing::gzip}, {".zst", Packing::zstandard}}};

/// Collects what was unpacked, up to the limit.
class Collector {
 public:
  explicit Collector(const UnpackOptions& options) : options_(options) {}
  void take(std::string_view piece) {
    if (piece.size() > options_.limit - bytes_.size())
      throw Error(ErrorCode::overLimit,
                  {.file = options_.name,
                   .problem = "it unpacks to more than " + std::to_string(options_.limit) + " bytes"});
    bytes_.insert(bytes_.end(), piece.begin(), piece.end());
  }
  std::vector<std::uint8_t> result() && { return std::move(bytes_); }

 private:
  const UnpackOptions& options_;
  std::vector<std::uint8_t> bytes_;
};

void decompressAll(std::string_view bytes, Packing packing, const TakePiece& take) {
  if (packing == Packing::gzip)
    decompressGzip(bytes, take);
  else if (packing == Packing::zstandard)
    decompressFrames(bytes, take);
  else
    throw Error(ErrorCode::misuse, "a file that is not packed cannot be unpacked");
}

}  // namespace

Packing packingOf(std::string_view beginning) {
  if (beginning.starts_with(kGzipMagic)) return Packing::gzip;
  if (looksLikeArchive(beginning)) return Packing::none;
  return beginsFrame(beginning) ? Packing::zstandard : Packing::none;
}

Packing packingOfName(std::string_view path) {
  for (const auto& [suffix, packing] : kSuffixes)
    if (path.ends_with(suffix)) return packing;
  return Packing::none;
}

std::string_view unpackedName(std::string_view path) {
  for (const auto& [suffix, packing] : kSuffixes)
    if (path.ends_with(suffix)) return path.substr(0, path.size() - suffix.size());
  return path;
}

std::vector<std::uint8_t> unpack(std::string_view bytes, Packing packing, const UnpackOptions& options) {
  try {
    Collector collector(options);
    decompressAll(bytes, packing, [&](std::string_view piece) { collector.take(piece); });
    return std::move(collector).result();
  } catch (const Error&) {
    rethrowAsError({.file = options.name});
  } catch (const std::runtime_error& error) {
    const std::string kind = packing == Packing::gzip ? "gzip" : "zstd";
    throw Error(ErrorCode::damaged,
                {.file = options.name, .problem = "the " + kind + " file is damaged: " + error.what()});
  } catch (...) {
    rethrowAsError({.file = options.name});
  }
}

std::string pack(std::string_view bytes, Packing packing, int level) {
  try {
    if (packing == Packing::none) return std::string(bytes);
    std::string packed;
    const TakePiece take = [&](std::string_view piece) { packed += piece; };
    if (packing == Packing::gzip)
      compressGzip(bytes, std::min(level, kHighestGzipLevel), take);
    else
      Compressor(level).compress({&bytes, 1}, take);
    return packed;
  } catch (...) {
    rethrowAsError({});
  }
}

}  // namespace kr::zero::archive
