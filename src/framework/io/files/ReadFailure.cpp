#include "kr/zero/io/ReadFailure.h"

#include <cerrno>
#include <exception>
#include <new>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "foundation/core/except.h"
#include "kr/zero/io/IOFormatProvider.h"
#include "kr/zero/io/Parser.h"
#include "modeling/sylvan/grammar/GrammarException.h"

namespace kr::zero::io {

namespace {

using modeling::sylvan::grammar::GrammarException;

/// A sentence of a catalog or of a reader as a part of ours: no full stop, and no capital that is only there
/// because it begins.
std::string asPart(std::string text) {
  if (text.ends_with('.')) text.pop_back();
  const auto isBetween = [](char c, char low, char high) { return low <= c && c <= high; };
  if (text.size() > 1 && isBetween(text[0], 'A', 'Z') && (text[1] == ' ' || isBetween(text[1], 'a', 'z')))
    text[0] = static_cast<char>(text[0] - 'A' + 'a');
  return text;
}

/// The last line: the lines before name the processors of the grammar that a failure came through.
std::string lastLine(const std::string& text) { return text.substr(text.rfind('\n') + 1); }

std::string suffixOf(const ustring& format) {
  const std::string suffix = IOFormatProvider::getFormat(format).suffix;
  return suffix.starts_with('.') ? suffix.substr(1) : toUtf8(format);
}

/// What else a document looks like; an empty text for nothing.
std::string describeHead(const FailedDocument& document) {
  if (looksLikeXml(document.head)) return "XML";
  const ustring format = IOFormatProvider::findByContent(document.head);
  return format.empty() || format == document.format ? std::string() : suffixOf(format);
}

/// Whether a document does not begin as all of its format do. One that ends before that can be told does not
/// count.
bool isForeign(const FailedDocument& document) {
  if (document.format.empty()) return false;
  const std::string beginning = IOFormatProvider::getFormat(document.format).beginning;
  return !beginning.starts_with(document.head.substr(0, beginning.size()));
}

[[noreturn]] void throwError(ErrorCode code, const FailedDocument& document, ErrorDetails details) {
  if (code == ErrorCode::damaged && document.head.empty()) {
    code = ErrorCode::foreign;
    details.problem = "the document is empty";
    details.byteOffset.reset();
  } else if (code == ErrorCode::damaged && isForeign(document)) {
    code = ErrorCode::foreign;
    const std::string looks = describeHead(document);
    details.problem = "this does not begin like a document in the format " + suffixOf(document.format) +
                      (looks.empty() ? "" : " (it looks like " + looks + ")") + ": " + details.problem;
  }
  details.file = document.name;
  std::throw_with_nested(Error(code, std::move(details)));
}

[[noreturn]] void throwError(ErrorCode code, const FailedDocument& document, ErrorDetails details,
                             std::string problem) {
  if (details.problem.empty()) details.problem = std::move(problem);
  details.problem = asPart(std::move(details.problem));
  // Whether the bytes are at fault or the meta model, which may be another than the writer's, the reader sees
  // by what should stand there.
  if (code == ErrorCode::damaged && !details.expected.empty())
    details.problem += " while a value of type " + details.expected + " was read";
  throwError(code, document, std::move(details));
}

/// An error's own words are better than what a reader noted beside it.
ErrorDetails merge(ErrorDetails own, const ErrorDetails& known) {
  if (!own.byteOffset) own.byteOffset = known.byteOffset;
  if (own.path.empty()) own.path = known.path;
  return own;
}

ErrorDetails detailsOf(const Parser& parser) {
  const Parser::Failure failure = parser.getFailure();
  const std::string property = failure.property.empty() ? std::string() : "." + failure.property;
  return {.byteOffset = failure.byteOffset,
          .path = failure.path + property,
          .problem = failure.detail,
          .expected = failure.type};
}

/// "/library/books[3]: what is wrong" as path and problem.
void splitProblem(ErrorDetails& details) {
  const std::string& whole = details.problems.front();
  const std::size_t end = whole.starts_with('/') ? whole.find(": ") : whole.npos;
  if (end == whole.npos) {
    details.problem = whole;
  } else {
    details.path = whole.substr(0, end);
    details.problem = whole.substr(end + 2);
  }
  if (details.problem.ends_with(" " + details.path)) details.path.clear();  // it says where
}

}  // namespace

std::string unreadableFor(std::string_view reason) { return "cannot be read, " + std::string(reason); }

std::string unreadableFor(int error) {
  if (error == ENOMEM) throw std::bad_alloc();
  return unreadableFor(std::generic_category().message(error));
}

bool looksLikeXml(std::string_view beginning) {
  using namespace std::string_view_literals;
  // Where characters take more than one byte the others of each "<" and blank are 0.
  for (const std::string_view mark : {"\xEF\xBB\xBF"sv, "\xFF\xFE"sv, "\xFE\xFF"sv, "\0\0\xFE\xFF"sv})
    if (beginning.starts_with(mark)) {
      beginning.remove_prefix(mark.size());
      break;
    }
  const std::size_t first = beginning.find_first_not_of("\0 \t\r\n"sv);
  return first != std::string_view::npos && beginning[first] == '<';
}

void rethrowReadFailure(const FailedDocument& document, ErrorDetails known) {
  try {
    throw;
  } catch (const Error& error) {
    throwError(error.getCode(), document, merge(error.getDetails(), known));
  } catch (const std::bad_alloc&) {
    throwError(ErrorCode::outOfMemory, document, std::move(known),
               "there is not enough memory for this document");
  } catch (const std::length_error&) {
    throwError(ErrorCode::damaged, document, std::move(known), "a text is said to be longer than any can be");
  } catch (const std::out_of_range& error) {  // a number that stands for nothing here
    throwError(ErrorCode::doesNotFit, document, std::move(known), error.what());
  } catch (const GrammarException& error) {
    throwError(ErrorCode::damaged, document, std::move(known), lastLine(error.what()));
  } catch (const std::exception& error) {
    throwError(ErrorCode::damaged, document, std::move(known), error.what());
  } catch (...) {
    throwError(ErrorCode::unknown, document, std::move(known), "an exception of an unknown type");
  }
}

void rethrowReadFailure(const FailedDocument& document, const Parser& parser) {
  rethrowReadFailure(document, detailsOf(parser));
}

void throwRefusal(const FailedDocument& document, const Parser& parser) {
  ErrorDetails details = detailsOf(parser);
  details.file = document.name;
  details.problems = parser.getProblems();
  if (!details.problems.empty()) splitProblem(details);
  throw Error(ErrorCode::doesNotFit, std::move(details));
}

}  // namespace kr::zero::io
