#include "sylvan/StreamBytes.h"

#include <istream>

#include "errors/MessageIds.h"
#include "errors/Raise.h"

namespace kr::zero::io::tagged {

void StreamBytes::attach(BinaryAssembler::Source& source, bool isShared) {
  source_ = &source;
  state_ = &source.stream();
  isShared_ = isShared;
  load();
}

void StreamBytes::finish() noexcept {
  release();
  offset_ = getOffset();
  source_ = nullptr;
  state_ = nullptr;
  begin_ = next_ = end_ = nullptr;
}

void StreamBytes::forget(const char* detail) noexcept {
  offset_ = 0;
  detail_ = detail;
}

// A stream that is not good hands nothing out, whatever its buffer has, if it has one.
void StreamBytes::load() {
  begin_ = next_ = end_ = nullptr;
  if (!state_->good()) return;
  const std::streambuf& buffer = *state_->rdbuf();
  begin_ = next_ = GetArea::getNext(buffer);
  end_ = next_ + std::min<std::size_t>(GetArea::getSize(buffer), INT_MAX);
}

bool StreamBytes::isEmptySlowly() {
  commit();
  return source_->isEmpty();
}

unsigned char StreamBytes::takeSlowly(const char* cut) {
  if (isEmptySlowly()) fail(cut);
  // The buffer may keep nothing in memory, and may have made its own stream fail: get() knows what to do.
  const int byte = source_->stream().get();
  ++offset_;
  load();
  return static_cast<unsigned char>(byte);
}

void StreamBytes::append(std::string& to, std::uint64_t count, const char* cut) {
  while (count != 0) {
    const auto piece =
        static_cast<std::size_t>(std::min<std::uint64_t>(static_cast<std::uint64_t>(end_ - next_), count));
    if (piece == 0) {
      to += static_cast<char>(take(cut));
      --count;
      continue;
    }
    to.append(takeReady(piece), piece);
    count -= piece;
  }
}

void StreamBytes::fail(const char* detail) {
  detail_ = detail;
  errors::raise<kr0::io::CorruptInput>(errors::corruptInput());
}

}  // namespace kr::zero::io::tagged
