/// @file
/// Internal: texts of any content as parts of source code.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kr::zero::cpp {

/// Parts of code, joined.
template <class... Parts>
std::string join(const Parts&... parts) {
  std::string text;
  (text.append(std::string_view(parts)), ...);
  return text;
}

/// "{\"caf\\303\\251\", 5}": characters and length, of which a string_view is made.
std::string asView(std::string_view text);

/// Appends a text as lines of a documentation comment. Whatever it holds, it neither ends the comment nor
/// goes on in the next line, and it hides nothing: what controls the direction of writing becomes a blank.
/// @param indent how many blanks stand in front.
/// @param text UTF-8; nothing is appended for an empty one.
void appendComment(std::string& out, std::size_t indent, std::string_view text);

}  // namespace kr::zero::cpp
