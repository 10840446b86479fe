/// @file
/// Internal: Zstandard frames, piece by piece, in little memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace kr::zero::archive {

/// Takes the next piece of a result.
using TakePiece = std::function<void(std::string_view)>;
/// Gives the next piece of an input; an empty one at its end.
using GivePiece = std::function<std::string_view()>;

/// Compresses to one frame with content size and checksum. The same bytes and level give the same frame with
/// the same release of the compressor.
void compress(std::string_view bytes, int level, const TakePiece& take);

/// Decompresses one frame, which is all of the input.
/// @throws std::runtime_error that says what is wrong: a frame that is damaged or cut, has no checksum, asks
/// for
///   more memory than our frames do, or is not the end. What take throws passes through.
void decompress(const GivePiece& give, const TakePiece& take);

/// Whether a frame begins here, a skippable one or one of data.
bool beginsFrame(std::string_view bytes);

/// Decompresses all frames of a file, and passes over skippable ones.
/// @throws std::runtime_error that says what is wrong. What take throws passes through.
void decompressFrames(std::string_view bytes, const TakePiece& take);

}  // namespace kr::zero::archive
