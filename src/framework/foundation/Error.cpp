#include "kr/zero/Error.h"

#include <array>
#include <exception>
#include <new>
#include <system_error>
#include <type_traits>
#include <utility>

namespace kr::zero {

namespace {

std::string placeOf(const ErrorDetails& details) {
  std::string place = details.file;
  const auto add = [&place](const std::string& part) { place += (place.empty() ? "" : ", ") + part; };
  if (details.line) add("line " + std::to_string(*details.line));
  if (details.byteOffset) add("byte " + std::to_string(*details.byteOffset));
  if (!details.path.empty()) add(details.path);
  return place;
}

std::string sentenceOf(const ErrorDetails& details) {
  std::string sentence = placeOf(details);
  if (!sentence.empty()) sentence += ": ";
  sentence += details.problem;
  if (details.problems.size() > 1)
    sentence += " (and " + std::to_string(details.problems.size() - 1) + " more)";
  return sentence;
}

}  // namespace

std::string_view nameOf(ErrorCode code) noexcept {
  constexpr std::array<std::string_view, 12> kNames{
      "misuse",     "badMetaModel",  "unreadable", "unwritable", "foreign",     "damaged",
      "doesNotFit", "inexpressible", "overLimit",  "cancelled",  "outOfMemory", "unknown"};
  return kNames[static_cast<std::size_t>(code)];
}

Error::Error(ErrorCode code, ErrorDetails details)
    : std::runtime_error(sentenceOf(details)),
      code_(code),
      details_(std::make_shared<const ErrorDetails>(std::move(details))) {}

Error::Error(ErrorCode code, const std::string& problem) : Error(code, ErrorDetails{.problem = problem}) {}

Error::~Error() = default;
Error::Error(const Error&) noexcept = default;
Error& Error::operator=(const Error&) noexcept = default;

namespace {

/// What `known` adds to an error's own details; nothing where it adds nothing.
std::optional<ErrorDetails> merge(const ErrorDetails& own, const ErrorDetails& known) {
  ErrorDetails merged = own;
  bool isNew = false;
  const auto take = [&isNew](auto& into, const auto& from) {
    using Part = std::remove_reference_t<decltype(into)>;
    if (into != Part() || from == Part()) return;
    into = from;
    isNew = true;
  };
  take(merged.file, known.file);
  take(merged.line, known.line);
  take(merged.byteOffset, known.byteOffset);
  take(merged.path, known.path);
  take(merged.problems, known.problems);
  return isNew ? std::optional(std::move(merged)) : std::nullopt;
}

[[noreturn]] void throwAround(ErrorCode code, ErrorDetails details, std::string problem) {
  details.problem = std::move(problem);
  std::throw_with_nested(Error(code, std::move(details)));
}

}  // namespace

void rethrowAsError(ErrorDetails known, ErrorCode code) {
  try {
    throw;
  } catch (const Error& error) {
    if (auto merged = merge(error.getDetails(), known))
      std::throw_with_nested(Error(error.getCode(), *std::move(merged)));
    throw;
  } catch (const std::bad_alloc&) {
    throwAround(ErrorCode::outOfMemory, std::move(known), "there is not enough memory for it");
  } catch (const std::exception& error) {
    const auto* const system = dynamic_cast<const std::system_error*>(&error);
    if (system != nullptr && system->code() == std::errc::not_enough_memory) code = ErrorCode::outOfMemory;
    throwAround(code, std::move(known), error.what());
  } catch (...) {
    throwAround(ErrorCode::unknown, std::move(known), "an exception of an unknown type");
  }
}

}  // namespace kr::zero
