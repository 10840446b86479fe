/// @file
/// Internal: how the parts of an archive lie in its file. See docs/formats/archive.md.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kr::zero::archive {

// Skippable frames of Zstandard, which its own tools pass over.
inline constexpr std::uint32_t kManifestMagic = 0x184D2A50;
inline constexpr std::uint32_t kMetaModelMagic = 0x184D2A51;
inline constexpr std::uint32_t kFirstSkippableMagic = 0x184D2A50;
inline constexpr std::uint32_t kLastSkippableMagic = 0x184D2A5F;
inline constexpr std::uint32_t kDataMagic = 0xFD2FB528;
inline constexpr std::size_t kMagicBytes = 4;
inline constexpr std::size_t kFrameHeadBytes = 8;  // magic and size
inline constexpr std::size_t kChecksumBytes = 8;

/// A number of that many bytes, the low ones first.
std::string littleEndian(std::uint64_t number, std::size_t bytes);
std::uint64_t fromLittleEndian(std::string_view bytes);

/// A skippable frame.
/// @throws std::length_error for content of 4 GiB and more.
std::string frame(std::uint32_t magic, std::string_view content);

}  // namespace kr::zero::archive
