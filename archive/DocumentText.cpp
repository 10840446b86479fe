#include "DocumentText.h"

#include <algorithm>
#include <ostream>
#include <streambuf>
#include <vector>

#include "kr/zero/io/BinaryKRSylvanSerializer.h"
#include "kr/zero/io/BinarySerializer.h"

namespace kr::zero::archive {

namespace {

/// Keeps what is written to it in pieces of one size: what grows by moving would be there twice.
class PieceBuffer : public std::streambuf {
 public:
  /// As far as something was written; ends the writing.
  std::vector<std::string_view> finish() {
    std::vector<std::string_view> views;
    for (const auto& piece : pieces_) views.emplace_back(piece.get(), kPiece);
    if (!views.empty()) views.back() = {pbase(), static_cast<std::size_t>(pptr() - pbase())};
    return views;
  }

 protected:
  int_type overflow(int_type byte) override {
    pieces_.push_back(std::make_unique_for_overwrite<char[]>(kPiece));
    setp(pieces_.back().get(), pieces_.back().get() + kPiece);
    return traits_type::eq_int_type(byte, traits_type::eof()) ? traits_type::not_eof(byte)
                                                              : sputc(traits_type::to_char_type(byte));
  }
  std::streamsize xsputn(const char* bytes, std::streamsize count) override {
    for (std::streamsize left = count; left > 0;) {
      if (pptr() == epptr()) overflow(traits_type::eof());
      const std::streamsize taken = std::min<std::streamsize>(left, epptr() - pptr());
      std::copy_n(bytes, taken, pptr());
      pbump(static_cast<int>(taken));
      bytes += taken;
      left -= taken;
    }
    return count;
  }

 private:
  // With what malloc puts before it, a piece fills its pages.
  static constexpr std::size_t kPiece = (std::size_t{1} << 18) - 64;
  std::vector<std::unique_ptr<char[]>> pieces_;
};

}  // namespace

struct DocumentText::Impl {
  io::BinarySerializer direct;  // holds the document that it wrote
  PieceBuffer tagged;
  std::vector<std::string_view> pieces;

  void writeDirect(const Model& model, const io::Progress& progress) {
    direct.setProgress(progress);
    const std::span<const std::uint8_t> bytes = direct.serializeInPlace(model);
    pieces.emplace_back(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  }

  void writeTagged(const Model& model, const io::Progress& progress) {
    io::BinaryKRSylvanSerializer serializer;
    serializer.setProgress(progress);
    std::ostream stream(&tagged);
    stream.exceptions(std::ios::badbit | std::ios::failbit);  // memory that runs out must not go unseen
    serializer.serialize(model, io::SerializationOutput::toStream(stream));
    pieces = tagged.finish();
  }
};

DocumentText::DocumentText(const Model& model, bool tagged, const io::Progress& progress)
    : impl_(std::make_unique<Impl>()) {
  if (tagged)
    impl_->writeTagged(model, progress);
  else
    impl_->writeDirect(model, progress);
}

DocumentText::~DocumentText() = default;

std::span<const std::string_view> DocumentText::pieces() const { return impl_->pieces; }

}  // namespace kr::zero::archive
