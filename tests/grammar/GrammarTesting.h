/// @file
/// Events in one letter each, so that a test shows a document in a line.
///
///     D d  start and end of the document      Q q  of a sequence
///     S s  of a struct                        M m  of metadata
///     N n  of a named entry                   P    a primitive
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/io/grammar/KRGrammar.h"
#include "modeling/sylvan/grammar/GrammarException.h"
#include "modeling/sylvan/grammar/ProcessorManager.h"

namespace kr::zero::test {

using modeling::sylvan::SylvanEventCode;
using modeling::sylvan::SylvanPrimitive;
using modeling::sylvan::grammar::GrammarException;
using modeling::sylvan::grammar::ProcessorStack;
using modeling::sylvan::grammar::TracingException;

/// In the order of the codes.
constexpr std::string_view eventLetters = "DdSsNnQqMmP";

inline SylvanEventCode codeOf(char letter) { return static_cast<SylvanEventCode>(eventLetters.find(letter)); }

/// A document of no objects, and its parts: up to the objects, and after them.
constexpr std::string_view emptyDocument = "DMNPnNQqnmQqd";
constexpr std::string_view beforeObjects = "DMNPnNQPqnmQ";
constexpr std::string_view afterObjects = "qd";
/// An object with an identity and, inside, an empty value, a list, a datatype, a child and a reference.
constexpr std::string_view richObject = "MNPnNQPPqnmSNPnNQPPqnNSNPnsnNMNPnmSsnNSNPnNQPPqnsns";

inline std::string makeRichDocument() {
  return std::string(beforeObjects).append(richObject).append(richObject).append(afterObjects);
}

/// Feeds the events; returns the index of the one that was refused, or their number.
inline std::size_t feed(ProcessorStack& checker, std::string_view events) {
  for (std::size_t i = 0; i < events.size(); ++i) {
    try {
      checker.process(codeOf(events[i]));
    } catch (const GrammarException&) {
      return i;
    }
  }
  return events.size();
}

/// What the first failure says; empty for none.
inline std::string failureOf(ProcessorStack& checker, std::string_view events) {
  try {
    for (char event : events) checker.process(codeOf(event));
  } catch (const std::exception& failure) {
    return failure.what();
  }
  return {};
}

inline std::vector<std::string> splitLines(const std::string& text) {
  std::vector<std::string> lines(1);
  for (char c : text)
    if (c == '\n')
      lines.emplace_back();
    else
      lines.back() += c;
  return lines;
}

}  // namespace kr::zero::test
