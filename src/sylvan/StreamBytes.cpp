#include "sylvan/StreamBytes.h"

#include "errors/MessageIds.h"
#include "errors/Raise.h"

namespace kr::zero::io::tagged {

unsigned char StreamBytes::takeSlowly(const char* cut) {
  if (source_->isEmpty()) fail(cut);
  if (countReady() != 0) return take(cut);
  // A buffer that keeps nothing in memory, or a stream that its own buffer made fail.
  const int byte = source_->stream().get();
  ++offset_;
  return static_cast<unsigned char>(byte);
}

void StreamBytes::append(std::string& to, std::uint64_t count, const char* cut) {
  while (count != 0) {
    std::size_t piece = countReady();
    if (piece == 0) {
      to += static_cast<char>(take(cut));
      --count;
      continue;
    }
    piece = static_cast<std::size_t>(std::min<std::uint64_t>({piece, count, INT_MAX}));
    to.append(GetArea::getNext(*state_->rdbuf()), piece);
    skip(piece);
    count -= piece;
  }
}

void StreamBytes::fail(const char* detail) {
  detail_ = detail;
  errors::raise<kr0::io::CorruptInput>(errors::corruptInput());
}

}  // namespace kr::zero::io::tagged
