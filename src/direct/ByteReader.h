/// @file
/// Internal: reads the units of the direct format, each checked against the end of the input.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "direct/DirectFormat.h"
#include "fl/i18n/converter.h"
#include "fl/i18n/utf8.h"
#include "kr/zero/log/Span.h"
#include "kr/zero/ustring.h"
#include "values/PrimitiveDecoding.h"

namespace kr::zero::io {

/// Each operation reads one unit and moves the position behind it, or raises CorruptInput with a detail
/// on the span and leaves the position where the unit began.
class ByteReader : public values::ParseState {
 public:
  /// @param bytes and span must outlive the reader.
  ByteReader(ParseProcessor& target, const std::vector<std::uint8_t>& bytes, const log::Span& span)
      : ParseState{&target, bytes.data(), bytes.data() + bytes.size()}, begin_(bytes.data()), span_(span) {}

  std::size_t getOffset() const noexcept { return static_cast<std::size_t>(position - begin_); }
  std::size_t getRemaining() const noexcept { return static_cast<std::size_t>(end - position); }

  std::uint64_t readNumber() {
    if (position != end && *position < direct::kMoreGroups) return *position++;
    return readLongNumber();
  }
  /// A number of items that follow. Every item takes a byte at least, so a count that is larger than
  /// what remains is refused.
  std::uint64_t readCount();
  std::uint8_t readByte() {
    if (position == end) failCorrupt("Byte cut short");
    return *position++;
  }
  /// Length and bytes; the view points into the input.
  std::string_view readText() {
    const std::uint8_t* const start = position;
    const std::uint64_t size = readNumber();
    if (size > getRemaining()) failTextCutShort(start);
    const std::string_view text(reinterpret_cast<const char*>(position), static_cast<std::size_t>(size));
    position += size;
    return text;
  }
  /// A text as UTF-16, into a string that keeps its memory.
  void readUtf16(ustring& text) { toUtf16(readText(), text); }
  /// @throws Error<kr0::io::CorruptInput> for bytes that are not well-formed UTF-8.
  void toUtf16(std::string_view utf8, ustring& text) const {
    if (!converter_.convert(utf8, text)) failIllFormed();
  }

  /// @throws Error<kr0::io::CorruptInput> for bytes that are not well-formed UTF-8.
  void requireWellFormed(std::string_view utf8) const {
    if (!isShortAscii(utf8) && !fl::i18n::isWellFormedUtf8(utf8)) failIllFormed();
  }

  [[noreturn]] void failCorrupt(const char* detail) const;
  /// Says on the span what exactly is wrong, for a failure whose exception does not.
  void noteDetail(const std::string& detail) const;
  /// Says on the span in which property's value reading failed, and of what type that should be.
  void noteProperty(const std::string& name, const std::string& type) const;

 private:
  /// Whether a text has up to 16 bytes, as most have, and all are ASCII: two loads that may overlap tell.
  static bool isShortAscii(std::string_view text) noexcept {
    const auto ends = [text]<class Word>(Word word) {
      Word last;
      std::memcpy(&word, text.data(), sizeof word);
      std::memcpy(&last, text.data() + text.size() - sizeof last, sizeof last);
      return std::uint64_t{word | last};
    };
    if (text.size() > 16) return false;
    if (text.size() < 4) return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
    const std::uint64_t bits = text.size() >= 8 ? ends(std::uint64_t{}) : ends(std::uint32_t{});
    return (bits & 0x8080808080808080) == 0;
  }

  std::uint64_t readLongNumber();
  [[noreturn]] void failIllFormed() const;
  [[noreturn]] void failTextCutShort(const std::uint8_t* start);

  const std::uint8_t* begin_;
  const log::Span& span_;
  fl::i18n::codecvt_string_to_ustring converter_{"UTF8", true};
};

}  // namespace kr::zero::io
