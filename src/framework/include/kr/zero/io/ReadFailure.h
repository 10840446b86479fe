/// @file
/// What a failure to read a document means for the one who wanted to read it.
#pragma once

#include <string>
#include <string_view>

#include "kr/zero/Error.h"
#include "kr/zero/export.h"
#include "kr/zero/ustring.h"

namespace kr::zero::io {

class Parser;

/// Whether a document looks like XML, from its first bytes (byte-order marks and blanks allowed).
KR0_FRAMEWORK_API bool looksLikeXml(std::string_view beginning);

/// What is said of a file that the system does not give: "cannot be read, No such file or directory".
KR0_FRAMEWORK_API std::string unreadableFor(std::string_view reason);
/// The same for one of the system's numbers of errors.
/// @throws std::bad_alloc where it says that there is no memory: the file may well be readable.
KR0_FRAMEWORK_API std::string unreadableFor(int error);

/// A document whose reading failed.
struct FailedDocument {
  std::string name;       ///< what errors call it
  std::string_view head;  ///< its first bytes; IOFormatProvider::kMostBeginning tell all that can be told
  ustring format;         ///< a name of IOFormatProvider: what it was read as
};

/// Makes an Error of the exception that is being handled, with that exception nested in it, and throws it. To
/// be called in a catch block by whoever reads with a parser, or an assembler, of their own; loadModel and
/// readModel do.
/// @param known where reading had come to; a problem that is known in more detail than the exception tells.
[[noreturn]] KR0_FRAMEWORK_API void rethrowReadFailure(const FailedDocument& document, ErrorDetails known);

/// The same for what a parser knows of its failure.
[[noreturn]] KR0_FRAMEWORK_API void rethrowReadFailure(const FailedDocument& document, const Parser& parser);

/// Throws the Error of a document that a parser refused without an exception.
[[noreturn]] KR0_FRAMEWORK_API void throwRefusal(const FailedDocument& document, const Parser& parser);

}  // namespace kr::zero::io
