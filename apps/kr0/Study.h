/// @file
/// Internal: the verbs that look at documents closely: check, stats, digest.
#pragma once

#include <cstddef>
#include <string>

#include "Inputs.h"

namespace kr::zero::tool {

struct CheckOptions {
  InputsOptions inputs;
  bool strict = false;  ///< references that lead nowhere are wrong, too
  bool json = false;
};
/// Whether documents are whole, keep the rules of their meta model, and are written as the tool writes them.
/// @throws AnsweredNo where one does not.
void check(const CheckOptions& options);

struct StatsOptions {
  InputsOptions inputs;
  std::string as;         ///< format whose bytes are told; empty: that of the document, of others krb
  std::size_t texts = 5;  ///< how many of the most frequent texts are shown
  bool json = false;
};
/// What documents hold and what their bytes are spent on.
void showStatistics(const StatsOptions& options);

struct DigestOptions {
  InputsOptions inputs;
};
/// A digest of what documents say, and the name of each.
void printDigests(const DigestOptions& options);

}  // namespace kr::zero::tool
