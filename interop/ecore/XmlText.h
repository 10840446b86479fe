/// @file
/// Internal: the bytes of an XML document as checked UTF-8 text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kr::zero::ecore {

/// Finds the line of a position in a text.
class LineTable {
 public:
  explicit LineTable(std::string_view text);
  /// Counted from 1.
  std::size_t lineOf(std::size_t offset) const;

 private:
  std::vector<std::size_t> starts_;  // of every line but the first
};

/// The encoding that a document's XML declaration names; empty where there is none. Views into `text`.
std::string_view declaredEncoding(std::string_view text);

/// An XML document in any encoding as UTF-8 without byte-order mark. The byte-order mark decides, then
/// the XML declaration, then UTF-8 is assumed.
/// @throws EcoreError for an encoding that is not known, or bytes that are not in it.
std::string decodeXml(std::string bytes, std::string_view name);

/// Refuses what the XML parser behind would let through: characters and references that XML does not
/// have, entities that nobody declared, text outside the root element, a second root element.
/// @throws EcoreError with the line.
void checkXml(std::string_view text, const LineTable& lines, std::string_view name);

}  // namespace kr::zero::ecore
