/// @file
/// Internal: the bytes of an XML document as checked UTF-8 text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace kr::zero::ecore {

inline bool isBlank(char c) noexcept {
  return static_cast<unsigned char>(c) <= ' ' && (c == ' ' || c == '\t' || c == '\r' || c == '\n');
}

/// Offset of the first blank, or the size of the text.
inline std::size_t findBlank(std::string_view text) noexcept {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  std::size_t i = 0;
  for (; text.size() - i >= sizeof kOnes; i += sizeof kOnes) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, text.data() + i, sizeof bytes);
    // Not 0 where some byte is up to ' '.
    if (((bytes - kOnes * (' ' + 1)) & ~bytes & kOnes * 0x80) != 0) break;
  }
  while (i < text.size() && !isBlank(text[i])) ++i;
  return i;
}

/// Whether a text is nothing but blanks.
inline bool isBlank(std::string_view text) noexcept {
  for (const char c : text)
    if (!isBlank(c)) return false;
  return true;
}

inline std::string_view trimmed(std::string_view text) noexcept {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

/// Finds the line of a position in a text.
class LineTable {
 public:
  explicit LineTable(std::string_view text);
  ///@{
  /// Counted from 1; columns in bytes.
  std::size_t lineOf(std::size_t offset) const;
  std::size_t columnOf(std::size_t offset) const;
  ///@}

 private:
  std::vector<std::size_t> starts_;  // of every line but the first
};

/// The bytes of a file.
/// @param path UTF-8.
/// @throws EcoreError with the path and the system's reason.
std::string readFile(const std::filesystem::path& path);

/// The encoding that a document's XML declaration names; empty where there is none. Views into `text`.
std::string_view declaredEncoding(std::string_view text);

/// An XML document in any encoding as UTF-8 without byte-order mark. The byte-order mark decides, then
/// the XML declaration, then UTF-8 is assumed.
/// @throws EcoreError for an encoding that is not known, or bytes that are not in it.
std::string decodeXml(std::string bytes, std::string_view name);

/// Refuses what the XML parser behind would let through: characters and references that XML does not
/// have, entities that nobody declared, text outside the root element, a second root element.
/// @returns whether the root holds comments, CDATA sections or processing instructions, so that character
///   data may come in pieces.
/// @throws EcoreError with the line.
bool checkXml(std::string_view text, const LineTable& lines, std::string_view name);

}  // namespace kr::zero::ecore
