/// @file
/// Files that are compressed as a whole, by gzip or zstd. How one is packed is told by its content when it is
/// read, and by its name when it is written.
///
///     std::vector<std::uint8_t> file = ...;
///     if (const Packing packing = packingOf(asText(file)); packing != Packing::none)
///       file = unpack(asText(file), packing, {.name = "books.xmi.gz"});
///
/// Threads: each call is on its own.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/archive/Archive.h"
#include "kr/zero/archive/export.h"

namespace kr::zero::archive {

/// How a file is compressed as a whole.
enum class Packing {
  none,      ///< not at all; archives count as that, although they are frames of Zstandard
  gzip,      ///< one member or several (RFC 1952)
  zstandard  ///< one frame or several, skippable ones among them (RFC 8878)
};

/// How a file is packed, from its content.
/// @param beginning as much of it as there is; see looksLikeArchive.
KR0_ARCHIVE_API Packing packingOf(std::string_view beginning);

/// How a file of that name is to be packed: .gz, .zst, anything else.
KR0_ARCHIVE_API Packing packingOfName(std::string_view path);

/// The name of what is in a packed file: "books.xmi" of "books.xmi.gz"; any other name as it is.
KR0_ARCHIVE_API std::string_view unpackedName(std::string_view path);

/// How a packed file is read.
struct UnpackOptions {
  std::string name = "the document";            ///< what errors call it
  std::uint64_t limit = ArchiveLimits{}.bytes;  ///< bytes that it may unpack to
};

/// Unpacks a file as a whole: all of its members or frames, one behind the other. Memory grows with what was
/// really unpacked, and not beyond the limit.
/// @param packing gzip or zstandard, as packingOf tells it.
/// @throws Error and nothing else: ErrorCode::damaged for content that is damaged, cut short or followed by
///   something else; overLimit; misuse for Packing::none.
KR0_ARCHIVE_API std::vector<std::uint8_t> unpack(std::string_view bytes, Packing packing,
                                                 const UnpackOptions& options = {});

/// The same piece by piece.
/// @param take called with what comes next; what it throws passes through.
KR0_ARCHIVE_API void unpackPieces(std::string_view bytes, Packing packing,
                                  const std::function<void(std::string_view)>& take,
                                  const UnpackOptions& options = {});

/// Packs a file as a whole, without times and names in it: the same bytes and level give the same result with
/// the same release of the compressor.
/// @param packing none gives the bytes as they are.
/// @param level from 1, fast, to 19, small; gzip's own end at 9, and more means that.
/// @throws Error and nothing else, for want of memory.
KR0_ARCHIVE_API std::string pack(std::string_view bytes, Packing packing, int level);

}  // namespace kr::zero::archive
