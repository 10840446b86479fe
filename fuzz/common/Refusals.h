/// @file
/// What may come of input that promises to throw kr::zero::Error and nothing else. Any other exception ends
/// the process.
#pragma once

#include <string>

#include "common/Fuzzing.h"
#include "kr/zero/Error.h"

namespace kr::zero::fuzz {

/// Whether `action` succeeds. An error says what it is, in words.
/// @param refusal gets the words.
template <class Action>
bool succeeds(const Action& action, std::string* refusal = nullptr) {
  try {
    action();
    return true;
  } catch (const Error& error) {
    require(error.getCode() != ErrorCode::unknown, "every error was foreseen", error.what());
    require(*error.what() != '\0', "every error says something");
    if (refusal != nullptr) *refusal = error.what();
    return false;
  }
}

/// The same for what must succeed.
template <class Action>
void requireSuccess(const char* rule, const Action& action) {
  try {
    action();
  } catch (const Error& error) {
    require(false, rule, error.what());
  }
}

}  // namespace kr::zero::fuzz
