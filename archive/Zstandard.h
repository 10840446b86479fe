/// @file
/// Internal: Zstandard frames, piece by piece, in little memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

struct ZSTD_CCtx_s;

namespace kr::zero::archive {

/// What is unpacked and read from files at a time, in bytes.
inline constexpr std::size_t kPieceBytes = std::size_t{1} << 17;

/// Takes the next piece of a result.
using TakePiece = std::function<void(std::string_view)>;
/// Gives the next piece of an input; an empty one at its end.
using GivePiece = std::function<std::string_view()>;

/// Makes frames of one level, one after another. The same bytes and level give the same frame with the same
/// release of libzstd. Takes less than 4 MiB at every level.
class Compressor {
 public:
  /// @param level 1 to 19.
  explicit Compressor(int level);

  /// Compresses texts, one behind the other, to one frame with content size and checksum.
  void compress(std::span<const std::string_view> texts, const TakePiece& take);

 private:
  struct Free {
    void operator()(ZSTD_CCtx_s* context) const;
  };
  int level_;
  std::unique_ptr<ZSTD_CCtx_s, Free> context_;
};

/// What a frame must be to be decompressed.
struct FrameRules {
  int largestWindowLog = 27;  ///< so many bytes a decompressor keeps of what came before, as a power of two
  bool provesItself = false;  ///< whether it must say its size and bring a checksum
};

/// Decompresses one frame, which is all of the input.
/// @throws std::runtime_error that says what is wrong: a frame that is damaged or cut, is against the rules,
///   or is not the end. What take throws passes through.
void decompress(const GivePiece& give, const TakePiece& take, const FrameRules& rules = {});

/// Decompresses one frame, which is all of the input, into memory of its size: quicker than piece by piece.
/// @return whether all went well. If not, the memory holds anything, and decompress() says what is wrong.
bool decompressAtOnce(std::string_view frame, std::span<std::uint8_t> into, const FrameRules& rules);

/// Whether a frame begins here, a skippable one or one of data.
bool beginsFrame(std::string_view bytes);

/// Decompresses all frames of a file, and passes over skippable ones.
/// @throws std::runtime_error that says what is wrong. What take throws passes through.
void decompressFrames(std::string_view bytes, const TakePiece& take);

}  // namespace kr::zero::archive
