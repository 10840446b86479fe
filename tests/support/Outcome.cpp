#include "support/Outcome.h"

#include <array>
#include <boost/lexical_cast.hpp>
#include <ios>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string_view>

#include "foundation/core/except.h"
#include "modeling/sylvan/grammar/GrammarException.h"

namespace kr::zero::test {

namespace {

using foundation::core::except::IMsgIDException;

constexpr std::string_view unknownPropertyText = "invalid unordered_map<K, T> key";
constexpr std::string_view numberCutShortText = "Invalid input of decodePrimitiveFromBinaryInLittleEndian";

Ending endingOf(const IMsgIDException& e) {
  const std::string id = IMsgIDException::get_error_id(e.GetMsgID());
  if (id == "kr0:io:CorruptInput") return Ending::corruptInput;
  if (id == "kr0:messages:CannotCastIncompatibleTypes") return Ending::incompatibleTypes;
  if (id == "kr0:io:StringNotSupportedByParser") return Ending::stringNotSupported;
  if (id == "kr0:io:UstringNotSupportedByParser") return Ending::ustringNotSupported;
  if (id == "kr0:io:FileNotFound") return Ending::fileNotFound;
  return Ending::undocumented;
}

Outcome outcomeOfFalse(const io::Parser& parser) {
  std::string problems;
  for (const std::string& problem : parser.getProblems()) problems += problem + "\n";
  if (problems.empty()) return {Ending::undocumented, "false without a problem"};
  return {Ending::refused, problems};
}

Outcome outcomeOfRuntimeError(const std::runtime_error& e) {
  if (dynamic_cast<const io::ValueError*>(&e) != nullptr) return {Ending::valueError, e.what()};
  if (dynamic_cast<const std::ios_base::failure*>(&e) != nullptr) return {Ending::streamFailed, e.what()};
  const bool cut = e.what() == numberCutShortText;
  return {cut ? Ending::numberCutShort : Ending::undocumented, e.what()};
}

}  // namespace

const char* nameOf(Ending ending) {
  static constexpr std::array<const char*, endingCount> names = {"success",
                                                                 "refused",
                                                                 "CorruptInput",
                                                                 "CannotCastIncompatibleTypes",
                                                                 "StringNotSupportedByParser",
                                                                 "UstringNotSupportedByParser",
                                                                 "FileNotFound",
                                                                 "unknown property",
                                                                 "number cut short",
                                                                 "ValueError",
                                                                 "bad_lexical_cast",
                                                                 "GrammarException",
                                                                 "stream failed",
                                                                 "length_error",
                                                                 "out of memory",
                                                                 "UNDOCUMENTED"};
  return names.at(static_cast<std::size_t>(ending));
}

std::ostream& operator<<(std::ostream& out, Ending ending) { return out << nameOf(ending); }

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
  return out << outcome.ending << " (" << outcome.text << ")";
}

Outcome outcomeOf(io::Parser& parser, const std::function<bool()>& parse) {
  try {
    return parse() ? Outcome{Ending::success, {}} : outcomeOfFalse(parser);
  } catch (const IMsgIDException& e) {
    return {endingOf(e), e.what()};
  } catch (const std::out_of_range& e) {
    const bool known = e.what() == unknownPropertyText;
    return {known ? Ending::unknownProperty : Ending::undocumented, e.what()};
  } catch (const std::length_error& e) {
    return {Ending::tooLong, e.what()};
  } catch (const modeling::sylvan::grammar::GrammarException& e) {
    return {Ending::grammarError, e.what()};
  } catch (const std::runtime_error& e) {
    return outcomeOfRuntimeError(e);
  } catch (const boost::bad_lexical_cast& e) {
    return {Ending::badLexicalCast, e.what()};
  } catch (const std::bad_alloc& e) {
    return {Ending::outOfMemory, e.what()};
  } catch (const std::exception& e) {
    return {Ending::undocumented, e.what()};
  }
}

Outcome parseBytes(io::Parser& parser, const std::vector<std::uint8_t>& bytes) {
  return outcomeOf(parser, [&] { return parser.parseByteSequence(bytes); });
}

bool isDocumentedForBytes(Ending ending) {
  switch (ending) {
    case Ending::success:
    case Ending::refused:
    case Ending::corruptInput:
    case Ending::incompatibleTypes:
    case Ending::unknownProperty:
    case Ending::numberCutShort:
    case Ending::valueError:
    case Ending::badLexicalCast:
      return true;
    default:
      return false;
  }
}

bool isDocumentedForTagged(Ending ending) {
  switch (ending) {
    case Ending::success:
    case Ending::refused:
    case Ending::corruptInput:
    case Ending::valueError:
    case Ending::grammarError:
    case Ending::tooLong:
    case Ending::outOfMemory:
      return true;
    default:
      return false;
  }
}

}  // namespace kr::zero::test
