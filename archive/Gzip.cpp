#include "Gzip.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

#include "Zstandard.h"

namespace kr::zero::archive {

namespace {

constexpr int kGzipWindow = MAX_WBITS + 16;  // 16 asks for gzip's head and end instead of zlib's
constexpr int kMemory = 8;

/// One of zlib's streams, and what goes in and comes out of it.
template <int (*kEnd)(z_stream*)>
class Stream {
 public:
  explicit Stream(std::string_view input) : input_(input), piece_(kPieceBytes) {}
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() { kEnd(&stream_); }

  z_stream& raw() { return stream_; }

  /// Hands on more input once what was there is used; zlib counts it in 32 bits.
  void give() {
    if (stream_.avail_in != 0) return;
    const std::size_t given = std::min<std::size_t>(input_.size(), std::numeric_limits<uInt>::max());
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input_.data()));  // zlib only reads it
    stream_.avail_in = static_cast<uInt>(given);
    input_.remove_prefix(given);
  }
  bool isGiven() const { return input_.empty(); }
  /// What is left of the input, or the part of it that zlib has.
  std::string_view rest() {
    give();
    return {reinterpret_cast<const char*>(stream_.next_in), stream_.avail_in};
  }

  /// Lets zlib work until a piece is full or there is no more to do, and passes the piece on.
  template <class Work>
  int step(Work work, const TakePiece& take) {
    give();
    stream_.next_out = reinterpret_cast<Bytef*>(piece_.data());
    stream_.avail_out = static_cast<uInt>(piece_.size());
    const int result = work(&stream_);
    if (result == Z_MEM_ERROR) throw std::bad_alloc();
    take({piece_.data(), piece_.size() - stream_.avail_out});
    return result;
  }

 private:
  std::string_view input_;
  std::vector<char> piece_;
  z_stream stream_{};
};

void requireMemory(int result) {
  if (result != Z_OK) throw std::bad_alloc();
}

[[noreturn]] void failDamaged(const z_stream& stream) {
  throw std::runtime_error(stream.msg == nullptr ? "it is damaged" : stream.msg);
}

}  // namespace

void compressGzip(std::string_view bytes, int level, const TakePiece& take) {
  Stream<deflateEnd> stream(bytes);
  requireMemory(deflateInit2(&stream.raw(), level, Z_DEFLATED, kGzipWindow, kMemory, Z_DEFAULT_STRATEGY));
  const auto work = [&](z_stream* raw) { return deflate(raw, stream.isGiven() ? Z_FINISH : Z_NO_FLUSH); };
  while (stream.step(work, take) != Z_STREAM_END) {
  }
}

void decompressGzip(std::string_view bytes, const TakePiece& take) {
  Stream<inflateEnd> stream(bytes);
  requireMemory(inflateInit2(&stream.raw(), kGzipWindow));
  const auto work = [](z_stream* raw) { return inflate(raw, Z_NO_FLUSH); };
  while (!stream.rest().empty()) {
    if (!stream.rest().starts_with(kGzipMagic)) throw std::runtime_error("there is more behind its end");
    int result = Z_OK;
    while (result == Z_OK) result = stream.step(work, take);
    if (result == Z_BUF_ERROR) throw std::runtime_error("it is cut short");
    if (result != Z_STREAM_END) failDamaged(stream.raw());
    inflateReset(&stream.raw());
  }
}

}  // namespace kr::zero::archive
