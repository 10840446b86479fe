#include "support/PieceBuf.h"

#include <algorithm>
#include <ios>

namespace kr::zero::test {

PieceBuf::int_type PieceBuf::underflow() {
  if (given_ == text_.size()) return traits_type::eof();
  const std::size_t size = std::min(piece_, text_.size() - given_);
  char* begin = text_.data() + given_;
  given_ += size;
  setg(begin, begin, begin + size);
  return traits_type::to_int_type(*begin);
}

FailingInputBuf::int_type FailingInputBuf::underflow() {
  const bool fails = mode_ == Mode::throws || mode_ == Mode::saysBad;
  if (given_ == text_.size() && !(fails && given_ == good_)) return traits_type::eof();
  if (fails && given_ == good_) {
    if (mode_ == Mode::throws) throw BufferFailure();
    stream_->setstate(std::ios_base::badbit);
    return traits_type::eof();
  }
  char* begin = text_.data() + given_++;
  setg(begin, begin, begin + 1);
  return traits_type::to_int_type(*begin);
}

int FailingInputBuf::sync() {
  if (mode_ == Mode::throwsAtSync) throw BufferFailure();
  return mode_ == Mode::failsAtSync ? -1 : 0;
}

FailingOutputBuf::int_type FailingOutputBuf::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  const bool fails = mode_ == Mode::refuses || mode_ == Mode::throws;
  if (fails && taken_.size() == good_) {
    if (mode_ == Mode::throws) throw BufferFailure();
    return traits_type::eof();
  }
  taken_.push_back(static_cast<std::uint8_t>(c));
  return c;
}

int FailingOutputBuf::sync() {
  if (mode_ == Mode::throwsAtSync) throw BufferFailure();
  return mode_ == Mode::failsAtSync ? -1 : 0;
}

}  // namespace kr::zero::test
