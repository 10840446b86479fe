/// @file
/// The one family of errors: what is wrong, and where, as a sentence and as data.
///
///     try {
///       kr::zero::Model model = kr::zero::io::loadModel("books.krb");
///     } catch (const kr::zero::Error& error) {
///       std::cerr << error.what() << '\n';  // books.krb, byte 39989, /library/books[42]: text cut short
///     }
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/export.h"

namespace kr::zero {

/// What kind of thing went wrong, for programs that act on it.
enum class ErrorCode {
  misuse,         ///< a call that a model or its meta model does not allow
  badMetaModel,   ///< a meta model that contradicts itself, or is none
  unreadable,     ///< a file that cannot be opened or read
  unwritable,     ///< a file that cannot be written
  foreign,        ///< bytes that begin like no document of the format
  damaged,        ///< bytes that begin like a document and go on like none of its meta model
  doesNotFit,     ///< a document that does not fit the meta models: an unknown name, a value of another type
  inexpressible,  ///< a model that the format cannot express
  overLimit,      ///< more than a limit that the caller set
  cancelled,      ///< the caller's progress function said to stop
  outOfMemory,    ///< there was no memory for it, or the document asks for more than can be
  unknown         ///< an exception that nobody foresaw
};

/// The code in words, for logs ("doesNotFit").
KR0_FRAMEWORK_API std::string_view nameOf(ErrorCode code) noexcept;

/// What is known of an error; what is not known is empty. Texts are UTF-8.
struct ErrorDetails {
  std::string file = {};                         ///< name of the document
  std::optional<std::uint64_t> line = {};        ///< from 1, of a text
  std::optional<std::uint64_t> byteOffset = {};  ///< from 0, where reading had come to
  std::string path = {};                         ///< in the model: "/library/books[42].title"
  std::string problem = {};                      ///< what is wrong
  std::string expected = {};                     ///< what would have been right
  std::string found = {};                        ///< what was there instead
  /// All problems where there are several, each a sentence of its own; `problem` is the first.
  std::vector<std::string> problems = {};
};

/// Anything that this library refuses. what() is one sentence: "file, line, byte, path: problem".
/// Copies share their details. An error that was caused by an exception holds it (std::rethrow_if_nested).
class KR0_FRAMEWORK_API Error : public std::runtime_error {
 public:
  ///@{
  /// From what is wrong, with all that is known of its place or without.
  Error(ErrorCode code, ErrorDetails details);
  Error(ErrorCode code, const std::string& problem);
  ///@}
  ~Error() override;
  Error(const Error&) noexcept;
  Error& operator=(const Error&) noexcept;

  /// What kind of thing went wrong.
  ErrorCode getCode() const noexcept { return code_; }
  /// What what() says, in parts; lives as long as the error or a copy of it.
  const ErrorDetails& getDetails() const noexcept { return *details_; }

 private:
  ErrorCode code_;
  std::shared_ptr<const ErrorDetails> details_;
};

/// Makes an Error of the exception that is being handled, and throws it: an Error gets what it lacks of the
/// details, anything else is nested in one. To be called in a catch block.
/// @param known details that the exception does not have; its own text is the problem.
/// @param code of what is no Error and no lack of memory.
[[noreturn]] KR0_FRAMEWORK_API void rethrowAsError(ErrorDetails known, ErrorCode code = ErrorCode::unknown);

}  // namespace kr::zero
