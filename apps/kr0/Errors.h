/// @file
/// Internal: the ways in which a call of the tool can end other than well.
#pragma once

#include <stdexcept>

namespace kr::zero::tool {

/// Exit codes of the program.
enum ExitCode : int { exitDone = 0, exitBadInput = 1, exitWrongCall = 2 };

/// The call itself is at fault.
class WrongCall : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The answer is no: what was asked for is printed, and there is nothing to complain about. Exit code 1.
class AnsweredNo : public std::exception {
 public:
  const char* what() const noexcept override { return "the answer is no"; }
};

/// Whoever read the tool's output has seen enough; not an error.
class ReaderGone : public std::exception {
 public:
  const char* what() const noexcept override { return "the output's reader is gone"; }
};

}  // namespace kr::zero::tool
