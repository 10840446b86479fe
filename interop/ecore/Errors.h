/// @file
/// Internal: how texts of errors are put together.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "kr/zero/ecore/Ecore.h"

namespace kr::zero::ecore {

/// Parts of a sentence, joined.
template <class... Parts>
std::string join(const Parts&... parts) {
  std::string text;
  (text.append(std::string_view(parts)), ...);
  return text;
}

/// A text in quotation marks. What a document says may be long: messages show its beginning.
inline std::string inQuotes(std::string_view text) {
  constexpr std::size_t kLongest = 100;
  if (text.size() <= kLongest) return join("\"", text, "\"");
  std::size_t end = kLongest;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return join("\"", text.substr(0, end), "...\"");
}

/// "books.xmi, line 12: what is wrong"
[[noreturn]] inline void failAt(std::string_view document, std::size_t line, std::string_view what,
                                ErrorCode code = ErrorCode::doesNotFit) {
  throw EcoreError(code, {.file = std::string(document), .line = line, .problem = std::string(what)});
}

/// "books.xmi: what is wrong"
[[noreturn]] inline void failIn(std::string_view document, std::string_view what,
                                ErrorCode code = ErrorCode::doesNotFit) {
  throw EcoreError(code, {.file = std::string(document), .problem = std::string(what)});
}

/// What Ecore or XMI has no form for. "/library/books[3].title: what is wrong"
/// @param path empty: it is not a matter of one place.
[[noreturn]] inline void failToExpress(std::string path, std::string problem) {
  throw EcoreError(ErrorCode::inexpressible, {.path = std::move(path), .problem = std::move(problem)});
}

}  // namespace kr::zero::ecore
