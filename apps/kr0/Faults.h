/// @file
/// Internal: a document of which some parts may be damaged, while the others are dealt with all the same.
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "kr/zero/Error.h"

namespace kr::zero::tool {

/// Notes what is wrong with a document, to be said when all is done.
class Faults {
 public:
  explicit Faults(std::string document) : document_(std::move(document)) {}

  /// Does something with a part.
  /// @return whether that went well; otherwise the Error is noted. One that says nothing of the part (there
  ///   is a limit or no memory) passes, and so does any other exception.
  template <class Work>
  bool attempt(Work work) {
    try {
      work();
      return true;
    } catch (const Error& error) {
      if (error.getCode() == ErrorCode::overLimit || error.getCode() == ErrorCode::outOfMemory) throw;
      note(error);
      return false;
    }
  }

  /// @throws Error that says all that was noted, if anything was.
  void raise() const {
    if (problems_.empty()) return;
    std::string sentence;
    for (const std::string& problem : problems_) sentence += (sentence.empty() ? "" : "; ") + problem;
    throw Error(code_, {.file = document_, .problem = sentence, .problems = problems_});
  }

 private:
  void note(const Error& error) {
    if (problems_.empty()) code_ = error.getCode();
    const std::string& problem = error.getDetails().problem;
    // Two parts may be unreadable for one reason.
    if (std::find(problems_.begin(), problems_.end(), problem) == problems_.end())
      problems_.push_back(problem);
  }

  std::string document_;
  ErrorCode code_ = ErrorCode::damaged;
  std::vector<std::string> problems_;
};

}  // namespace kr::zero::tool
