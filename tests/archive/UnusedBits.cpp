#include "archive/UnusedBits.h"

#include <bit>
#include <cstdint>
#include <stdexcept>

namespace kr::zero::test {

namespace {

constexpr std::size_t kMagic = 4;
constexpr std::size_t kBlockHead = 3;

class Finder {
 public:
  explicit Finder(std::string_view frame) : frame_(frame) {}

  std::set<BitPlace> find() {
    unused_.insert({kMagic, 4});
    std::size_t at = kMagic + 1 + headFieldBytes();
    for (bool isLast = false; !isLast;) {
      const std::uint64_t head = numberAt(at, kBlockHead);
      isLast = (head & 1) != 0;
      const std::size_t size = head >> 3;
      constexpr unsigned kCompressed = 2;
      if ((head >> 1 & 3) == kCompressed) visitSequences(visitLiterals(at + kBlockHead));
      at += kBlockHead + size;
    }
    return unused_;
  }

 private:
  std::uint64_t numberAt(std::size_t at, std::size_t bytes) const {
    std::uint64_t number = 0;
    for (std::size_t i = bytes; i-- > 0;) number = number << 8 | static_cast<std::uint8_t>(frame_.at(at + i));
    return number;
  }
  unsigned byteAt(std::size_t at) const { return static_cast<unsigned>(numberAt(at, 1)); }

  /// 3.1.1.1: window descriptor and content size; our frames have no dictionary.
  std::size_t headFieldBytes() const {
    const unsigned descriptor = byteAt(kMagic);
    const bool isSingleSegment = (descriptor >> 5 & 1) != 0;
    const std::size_t sizes[] = {isSingleSegment ? 1u : 0u, 2, 4, 8};
    return (isSingleSegment ? 0 : 1) + sizes[descriptor >> 6];
  }

  /// 3.1.1.3.1.
  /// @return where the sequences begin.
  std::size_t visitLiterals(std::size_t at) {
    const unsigned type = byteAt(at) & 3;
    const unsigned format = byteAt(at) >> 2 & 3;
    constexpr unsigned kRaw = 0;
    constexpr unsigned kWithTree = 2;
    if (type < kWithTree) {
      const std::size_t head = format == 1 ? 2 : format == 3 ? 3 : 1;
      const std::size_t literals = numberAt(at, head) >> (head == 1 ? 3 : 4);
      return at + head + (type == kRaw ? literals : 1);
    }
    const std::size_t heads[] = {3, 3, 4, 5};
    const unsigned widths[] = {10, 10, 14, 18};
    const std::size_t size =
        numberAt(at, heads[format]) >> (4 + widths[format]) & ((std::uint64_t{1} << widths[format]) - 1);
    at += heads[format];
    constexpr unsigned kFirstDirectWeights = 128;
    if (type == kWithTree && byteAt(at) < kFirstDirectWeights) visitTable(at + 1);
    return at + size;
  }

  /// 3.1.1.3.2.
  void visitSequences(std::size_t at) {
    const unsigned count = byteAt(at);
    if (count == 0) return;
    at += count < 128 ? 1 : count < 255 ? 2 : 3;
    const unsigned modes = byteAt(at);
    for (const unsigned bit : {0u, 1u}) unused_.insert({at, bit});
    ++at;
    constexpr unsigned kOneSymbol = 1;
    constexpr unsigned kTable = 2;
    for (const unsigned shift : {6u, 4u, 2u}) {
      const unsigned mode = modes >> shift & 3;
      if (mode == kOneSymbol) ++at;
      if (mode == kTable) at = visitTable(at);
    }
  }

  /// 4.1.1.
  /// @return what comes behind it.
  std::size_t visitTable(std::size_t begin) {
    std::size_t used = 0;
    const auto take = [&](unsigned bits) {
      const std::uint64_t taken = bitsAt(begin, used, bits);
      used += bits;
      return taken;
    };
    std::uint64_t left = std::uint64_t{1} << (take(4) + 5);
    while (left > 0) {
      const auto width = static_cast<unsigned>(std::bit_width(left + 1));
      const std::uint64_t small = (std::uint64_t{1} << width) - 2 - left;  // values with a bit less
      std::uint64_t value = bitsAt(begin, used, width);
      const std::uint64_t low = value & ((std::uint64_t{1} << (width - 1)) - 1);
      if (low < small) {
        value = low;
        used += width - 1;
      } else {
        if (value != low) value -= small;
        used += width;
      }
      left -= value == 0 ? 1 : value - 1;
      if (value == 1)
        while (take(2) == 3) {
        }
    }
    const std::size_t end = begin + (used + 7) / 8;
    for (std::size_t bit = used; bit < (end - begin) * 8; ++bit)
      unused_.insert({begin + bit / 8, static_cast<unsigned>(bit % 8)});
    return end;
  }

  std::uint64_t bitsAt(std::size_t begin, std::size_t offset, unsigned bits) const {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < bits; ++i) {
      const std::size_t at = offset + i;
      value |= std::uint64_t{byteAt(begin + at / 8) >> at % 8 & 1} << i;
    }
    return value;
  }

  std::string_view frame_;
  std::set<BitPlace> unused_;
};

}  // namespace

std::set<BitPlace> unusedBitsOf(std::string_view frame) { return Finder(frame).find(); }

}  // namespace kr::zero::test
