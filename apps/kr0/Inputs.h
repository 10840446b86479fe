/// @file
/// Internal: verbs that look at several documents.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Documents.h"
#include "Files.h"

namespace kr::zero::tool {

/// How many documents are looked at side by side at most; more than any machine gains from.
inline constexpr int kMostJobs = 256;

/// Documents that a verb looks at.
struct InputsOptions : ReadOptions {
  std::vector<std::string> paths;  ///< "-": standard input
  int jobs = 1;                    ///< how many side by side

  bool isOne() const { return paths.size() == 1; }
  /// One of them.
  InputOptions at(std::size_t position) const { return {*this, paths[position]}; }
};

/// Tells which document comes next, where there are several.
void addHeading(const InputsOptions& inputs, const InputOptions& input, TextOut& out);

/// Looks at each document, several side by side where that is asked for, and prints what comes out in the
/// order of the documents. What one throws is said when it is its turn, and the others are looked at all the
/// same; where there is only one document, it goes on to the caller.
/// @param look prints to what it is given; called from several threads at once. What it printed before it
/// threw
///   is printed.
/// @throws AlreadyTold where not all went well, when all is done.
///@{
void forEachInput(const InputsOptions& inputs,
                  const std::function<void(const InputOptions& input, TextOut& out)>& look);
void forEachInput(
    const InputsOptions& inputs,
    const std::function<void(const InputOptions& input, std::size_t position, TextOut& out)>& look);
///@}

}  // namespace kr::zero::tool
