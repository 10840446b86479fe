/// @file
/// Internal: the ways in which a call of the tool can end other than well.
#pragma once

#include <exception>
#include <stdexcept>

namespace kr::zero::tool {

/// Exit codes of the program.
enum ExitCode : int {
  exitDone = 0,
  exitBadInput = 1,  ///< or the answer is no
  exitWrongCall = 2,
  exitWithProblems = 3  ///< done as far as it could be done
};

/// What is said of several documents together.
ExitCode worseOf(ExitCode a, ExitCode b);

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

/// All that went wrong was said already.
class AlreadyTold : public std::exception {
 public:
  explicit AlreadyTold(ExitCode code) : code_(code) {}
  const char* what() const noexcept override { return "it was said already"; }
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

/// Whoever read the tool's output has seen enough; not an error.
class ReaderGone : public std::exception {
 public:
  const char* what() const noexcept override { return "the output's reader is gone"; }
};

/// Says what went wrong, in a line on standard error, unless it was said already.
/// @return the exit code for it.
/// @throws std::bad_alloc where there is no memory left to say it.
ExitCode complain(const std::exception_ptr& failure);

/// Says that there is no memory, and takes none.
ExitCode complainOfMemory();

}  // namespace kr::zero::tool
