/// @file
/// What a grammar says of events that do not fit it.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

#include "kr/zero/export.h"

namespace modeling::sylvan::grammar {

/// An event that the grammar does not allow where it came.
class KR0_FRAMEWORK_API GrammarException : public std::runtime_error {
 public:
  /// With that text.
  explicit GrammarException(const std::string& message);
  GrammarException(const GrammarException&);
  GrammarException& operator=(const GrammarException&);
  ~GrammarException() override;
};

/// A failure together with the processor that it came through. The text is the processor's name, a line
/// feed and the text of the failure, so failures that came through several read as a list of names,
/// outermost first, that ends in what went wrong.
class KR0_FRAMEWORK_API TracingException : public GrammarException {
 public:
  /// A failure on its way out of a processor of that name.
  TracingException(const std::string& processorName, const std::exception& inner);
  TracingException(const TracingException&);
  TracingException& operator=(const TracingException&);
  ~TracingException() override;
};

}  // namespace modeling::sylvan::grammar
