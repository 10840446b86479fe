#include "Zstandard.h"

#include <zstd.h>

#include <stdexcept>
#include <vector>

#include "Frames.h"

namespace kr::zero::archive {

namespace {

// What a decompressor has to keep of what came before: with more, frames become a little smaller and take
// more memory on both sides.
constexpr int kWindowLog = 21;
constexpr int kLargestWindowLog = 27;
constexpr std::size_t kPiece = std::size_t{1} << 17;

struct Free {
  void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
  void operator()(ZSTD_DCtx* context) const { ZSTD_freeDCtx(context); }
};

template <class Context>
std::unique_ptr<Context, Free> owned(Context* context) {
  if (context == nullptr) throw std::bad_alloc();
  return std::unique_ptr<Context, Free>(context);
}

std::size_t require(std::size_t result) {
  if (ZSTD_isError(result) != 0) throw std::runtime_error(ZSTD_getErrorName(result));
  return result;
}

void set(ZSTD_CCtx* context, ZSTD_cParameter parameter, int value) {
  require(ZSTD_CCtx_setParameter(context, parameter, value));
}

}  // namespace

void compress(std::string_view bytes, int level, const TakePiece& take) {
  const auto context = owned(ZSTD_createCCtx());
  set(context.get(), ZSTD_c_compressionLevel, level);
  set(context.get(), ZSTD_c_checksumFlag, 1);
  if (bytes.size() > (std::size_t{1} << kWindowLog)) set(context.get(), ZSTD_c_windowLog, kWindowLog);
  require(ZSTD_CCtx_setPledgedSrcSize(context.get(), bytes.size()));
  std::vector<char> piece(ZSTD_CStreamOutSize());
  ZSTD_inBuffer in{bytes.data(), bytes.size(), 0};
  for (std::size_t left = 1; left != 0;) {
    ZSTD_outBuffer out{piece.data(), piece.size(), 0};
    left = require(ZSTD_compressStream2(context.get(), &out, &in, ZSTD_e_end));
    take({piece.data(), out.pos});
  }
}

void decompress(const GivePiece& give, const TakePiece& take) {
  const auto context = owned(ZSTD_createDCtx());
  require(ZSTD_DCtx_setParameter(context.get(), ZSTD_d_windowLogMax, kLargestWindowLog));
  std::vector<char> piece(kPiece);
  bool isWhole = false;
  for (std::string_view given = give(); !given.empty(); given = give()) {
    ZSTD_inBuffer in{given.data(), given.size(), 0};
    // A full buffer may hide more that is already decompressed.
    for (bool isFull = false; in.pos < in.size || isFull;) {
      if (isWhole) throw std::runtime_error("there is more behind its end");
      ZSTD_outBuffer out{piece.data(), piece.size(), 0};
      isWhole = require(ZSTD_decompressStream(context.get(), &out, &in)) == 0;
      isFull = !isWhole && out.pos == out.size;
      take({piece.data(), out.pos});
    }
  }
  if (!isWhole) throw std::runtime_error("it is cut short");
}

bool beginsFrame(std::string_view bytes) {
  if (bytes.size() < kMagicBytes) return false;
  const std::uint64_t magic = fromLittleEndian(bytes.substr(0, kMagicBytes));
  return magic == kDataMagic || (magic >= kFirstSkippableMagic && magic <= kLastSkippableMagic);
}

void decompressFrames(std::string_view bytes, const TakePiece& take) {
  const auto context = owned(ZSTD_createDCtx());
  require(ZSTD_DCtx_setParameter(context.get(), ZSTD_d_windowLogMax, kLargestWindowLog));
  std::vector<char> piece(kPiece);
  ZSTD_inBuffer in{bytes.data(), bytes.size(), 0};
  while (in.pos < in.size) {
    if (!beginsFrame(bytes.substr(in.pos))) throw std::runtime_error("there is more behind its end");
    for (std::size_t left = 1; left != 0;) {
      ZSTD_outBuffer out{piece.data(), piece.size(), 0};
      left = require(ZSTD_decompressStream(context.get(), &out, &in));
      take({piece.data(), out.pos});
      // Room that was left says that nothing waits inside.
      if (left != 0 && in.pos == in.size && out.pos < out.size) throw std::runtime_error("it is cut short");
    }
  }
}

}  // namespace kr::zero::archive
