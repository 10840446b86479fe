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

void unpackPieces(std::string_view bytes, Packing packing, const std::function<void(std::string_view)>& take,
                  const UnpackOptions& options) {
  std::uint64_t left = options.limit;
  const TakePiece takeWithinLimit = [&](std::string_view piece) {
    if (piece.size() > left)
      throw Error(ErrorCode::overLimit,
                  {.file = options.name,
                   .problem = "it unpacks to more than " + std::to_string(options.limit) + " bytes"});
    left -= piece.size();
    take(piece);
  };
  try {
    decompressAll(bytes, packing, takeWithinLimit);
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

std::vector<std::uint8_t> unpack(std::string_view bytes, Packing packing, const UnpackOptions& options) {
  std::vector<std::uint8_t> unpacked;
  const auto take = [&](std::string_view piece) {
    unpacked.insert(unpacked.end(), piece.begin(), piece.end());
  };
  unpackPieces(bytes, packing, take, options);
  return unpacked;
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
