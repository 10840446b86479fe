/// @file
/// Stream buffers without copies, for libraries that only know streams: std::stringstream would copy the
/// document once more, which is not those libraries' fault.
#pragma once

#include <streambuf>
#include <string>

namespace kr::zero::bench {

/// Appends to a string, which is emptied first and keeps its capacity.
class OutputBuffer final : public std::streambuf {
 public:
  explicit OutputBuffer(std::string& bytes) : bytes_(bytes) { bytes_.clear(); }

 protected:
  std::streamsize xsputn(const char* data, std::streamsize count) override {
    bytes_.append(data, static_cast<std::size_t>(count));
    return count;
  }
  int_type overflow(int_type next) override {
    if (!traits_type::eq_int_type(next, traits_type::eof())) bytes_ += traits_type::to_char_type(next);
    return traits_type::not_eof(next);
  }

 private:
  std::string& bytes_;
};

/// Reads a string in place.
class InputBuffer final : public std::streambuf {
 public:
  explicit InputBuffer(std::string& bytes) { setg(bytes.data(), bytes.data(), bytes.data() + bytes.size()); }
};

/// Takes everything and keeps nothing.
class NullBuffer final : public std::streambuf {
 protected:
  std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
  int_type overflow(int_type next) override { return traits_type::not_eof(next); }
};

}  // namespace kr::zero::bench
