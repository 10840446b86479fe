/// @file
/// Internal: what was stepped over under --keep-going, said line by line.
#pragma once

#include <cstddef>

#include "kr/zero/ecore/Imperfect.h"

namespace kr::zero::tool {

/// Says the problems of one document as they are met, "FILE:LINE: sentence" each on standard error; of many
/// the first thousand, and in the end how many more there were. Documents may be read side by side.
class Problems {
 public:
  /// @param isTolerant whether there may be any.
  explicit Problems(bool isTolerant) : isTolerant_(isTolerant) {}
  Problems(const Problems&) = delete;
  Problems& operator=(const Problems&) = delete;
  ~Problems();

  /// Empty where none are tolerated. Good as long as this lives.
  ecore::ProblemListener listener();

  /// Whether any document of this process had one.
  static bool wereThere();

 private:
  void tell(const ecore::Problem& problem);

  const bool isTolerant_;
  std::size_t count_ = 0;
};

}  // namespace kr::zero::tool
