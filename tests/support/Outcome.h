/// @file
/// How a parse ended: success, a refusal with a reason, or one of the documented exceptions.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>

#include "kr/zero/io/Parser.h"

namespace kr::zero::test {

enum class Ending : std::size_t {
  success,
  refused,              ///< false, with at least one problem
  corruptInput,         ///< kr0:io:CorruptInput
  incompatibleTypes,    ///< kr0:messages:CannotCastIncompatibleTypes
  stringNotSupported,   ///< kr0:io:StringNotSupportedByParser
  ustringNotSupported,  ///< kr0:io:UstringNotSupportedByParser
  fileNotFound,         ///< kr0:io:FileNotFound
  unknownProperty,      ///< std::out_of_range with the fixed text
  numberCutShort,       ///< std::runtime_error with the fixed text
  valueError,           ///< kr::zero::io::ValueError
  badLexicalCast,       ///< boost::bad_lexical_cast
  grammarError,         ///< modeling::sylvan::grammar::GrammarException
  streamFailed,         ///< std::ios_base::failure
  tooLong,              ///< std::length_error
  outOfMemory,          ///< std::bad_alloc
  undocumented,         ///< anything else; `text` says what
};
constexpr std::size_t endingCount = static_cast<std::size_t>(Ending::undocumented) + 1;

const char* nameOf(Ending ending);
std::ostream& operator<<(std::ostream& out, Ending ending);

struct Outcome {
  Ending ending;
  std::string text;  ///< the problems, or the exception's text

  friend bool operator==(const Outcome&, const Outcome&) = default;
};
std::ostream& operator<<(std::ostream& out, const Outcome& outcome);

/// Runs a parse and says how it ended. A `false` without a problem counts as undocumented.
Outcome outcomeOf(io::Parser& parser, const std::function<bool()>& parse);
Outcome parseBytes(io::Parser& parser, const std::vector<std::uint8_t>& bytes);

/// Whether damaged bytes of the direct format may end a parse like this.
bool isDocumentedForBytes(Ending ending);
/// The same for the tagged format.
bool isDocumentedForTagged(Ending ending);

}  // namespace kr::zero::test
