/// @file
/// Stream buffers that behave badly: hand out bytes in small pieces, or fail in the middle.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

namespace kr::zero::test {

/// What a failing buffer throws.
class BufferFailure : public std::runtime_error {
 public:
  BufferFailure() : std::runtime_error("the buffer failed") {}
};

/// Gives its bytes a few at a time, cannot be positioned and does not say how many are left.
class PieceBuf : public std::streambuf {
 public:
  PieceBuf(const std::vector<std::uint8_t>& bytes, std::size_t piece)
      : text_(bytes.begin(), bytes.end()), piece_(piece) {}

 protected:
  int_type underflow() override;

 private:
  std::string text_;
  std::size_t piece_;
  std::size_t given_ = 0;
};

/// Gives the first `good` bytes one at a time and then fails.
class FailingInputBuf : public std::streambuf {
 public:
  enum class Mode {
    throws,        ///< underflow throws BufferFailure
    saysBad,       ///< underflow ends the data and the stream that `onFailure` names gets its bad bit
    failsAtSync,   ///< all bytes come; sync reports failure
    throwsAtSync,  ///< all bytes come; sync throws
  };
  FailingInputBuf(const std::vector<std::uint8_t>& bytes, std::size_t good, Mode mode)
      : text_(bytes.begin(), bytes.end()), good_(good), mode_(mode) {}

  /// The stream that reads from this; only saysBad needs it.
  void attach(std::basic_ios<char>& stream) { stream_ = &stream; }

 protected:
  int_type underflow() override;
  int sync() override;

 private:
  std::string text_;
  std::size_t good_;
  Mode mode_;
  std::basic_ios<char>* stream_ = nullptr;
  std::size_t given_ = 0;
};

/// Takes the first `good` bytes and then fails.
class FailingOutputBuf : public std::streambuf {
 public:
  enum class Mode {
    refuses,       ///< overflow says that there is no room
    throws,        ///< overflow throws BufferFailure
    failsAtSync,   ///< all bytes are taken; sync reports failure
    throwsAtSync,  ///< all bytes are taken; sync throws
  };
  FailingOutputBuf(std::size_t good, Mode mode) : good_(good), mode_(mode) {}

  const std::vector<std::uint8_t>& getTaken() const { return taken_; }

 protected:
  int_type overflow(int_type c) override;
  int sync() override;

 private:
  std::size_t good_;
  Mode mode_;
  std::vector<std::uint8_t> taken_;
};

}  // namespace kr::zero::test
