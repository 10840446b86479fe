/// @file
/// Internal: JSON text in pieces for whoever takes them.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace kr::zero::json {

/// How many elements are read or written between two looks at how far it has come.
inline constexpr std::uint64_t kProgressStep = 4096;

/// What takes text piece by piece; good until the call returns.
class PieceTaker {
 public:
  virtual ~PieceTaker() = default;
  virtual void take(std::string_view piece) = 0;
};

/// Puts text, quoted text and numbers one behind the other.
class JsonText {
 public:
  explicit JsonText(PieceTaker& taker) : taker_(taker) {}

  JsonText& operator<<(std::string_view text) {
    if (text.size() > kCapacity / 2) return putLarge(text);
    if (text.empty()) return *this;  // its data may be null
    std::memcpy(room(text.size()), text.data(), text.size());
    size_ += text.size();
    return *this;
  }
  JsonText& operator<<(char c) {
    *room(1) = c;
    ++size_;
    return *this;
  }
  void quoted(std::string_view text) {
    *this << '"';
    inside(text);
    *this << '"';
  }
  /// What stands between quotes.
  void inside(std::string_view text) {
    for (; text.size() > kChunk; text.remove_prefix(kChunk)) escapeChunk(text.substr(0, kChunk));
    escapeChunk(text);
  }
  template <class Number, class... Base>
  void number(Number value, Base... base) {
    char* const begin = room(kMostDigits);
    size_ += static_cast<std::size_t>(std::to_chars(begin, begin + kMostDigits, value, base...).ptr - begin);
  }
  /// Hands over what is still here.
  void finish() {
    if (size_ != 0) taker_.take({data_.get(), size_});
    size_ = 0;
  }

 private:
  static constexpr std::size_t kCapacity = std::size_t{1} << 16;
  static constexpr std::size_t kChunk = kCapacity / 16;  // of a text; each byte may become 6
  static constexpr std::size_t kMostDigits = 32;

  char* room(std::size_t size) {
    if (kCapacity - size_ < size) finish();
    return data_.get() + size_;
  }

  JsonText& putLarge(std::string_view text) {
    finish();
    taker_.take(text);
    return *this;
  }

  void escapeChunk(std::string_view text) {
    char* out = room(6 * text.size());
    const char* from = text.data();
    const char* const end = from + text.size();
    // Most texts hold nothing to escape: eight bytes are looked at and copied at once.
    for (; end - from >= 8; from += 8) {
      std::uint64_t eight;
      std::memcpy(&eight, from, sizeof eight);
      if (mayNeedEscape(eight)) {
        for (int i = 0; i < 8; ++i) out = escape(from[i], out);
      } else {
        std::memcpy(out, &eight, sizeof eight);
        out += 8;
      }
    }
    for (; from != end; ++from) out = escape(*from, out);
    size_ = static_cast<std::size_t>(out - data_.get());
  }

  /// Whether one of eight bytes is a control character, a quote or a backslash.
  static bool mayNeedEscape(std::uint64_t bytes) {
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    constexpr std::uint64_t kHighs = kOnes << 7;
    const std::uint64_t quote = bytes ^ kOnes * '"';
    const std::uint64_t backslash = bytes ^ kOnes * '\\';
    return (((bytes - kOnes * 0x20) & ~bytes) | ((quote - kOnes) & ~quote) |
            ((backslash - kOnes) & ~backslash)) &
           kHighs;
  }

  static char* escape(char c, char* out) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && c != '"' && c != '\\') {
      *out = c;
      return out + 1;
    }
    out[0] = '\\';
    if (byte >= 0x20 || c == '\n' || c == '\t') {
      out[1] = c == '\n' ? 'n' : c == '\t' ? 't' : c;
      return out + 2;
    }
    std::memcpy(out + 1, "u00", 3);
    out[4] = kDigits[byte >> 4];
    out[5] = kDigits[byte & 15];
    return out + 6;
  }

  PieceTaker& taker_;
  std::unique_ptr<char[]> data_{new char[kCapacity]};
  std::size_t size_ = 0;
};

}  // namespace kr::zero::json
