/// @file
/// Internal: the verbs that put documents together and take them apart: join, extract.
#pragma once

#include <string>
#include <vector>

#include "Inputs.h"

namespace kr::zero::tool {

/// A document that a verb writes.
struct OutputOptions {
  std::string path;  ///< "-": standard output
  std::string to;    ///< its format, empty: by the extension
  WriteOptions writing;
};

struct JoinOptions {
  InputsOptions inputs;
  OutputOptions output;
  bool dropClashes = false;  ///< of two elements with one identity the later one loses it
};
/// One document with the roots of several.
void join(const JoinOptions& options);

struct ExtractOptions {
  InputOptions input;
  std::vector<std::string> paths;  ///< of the elements to take out
  OutputOptions output;
  bool withReferences = false;  ///< what is referred to comes along
};
/// A document of some elements of another.
void extract(const ExtractOptions& options);

}  // namespace kr::zero::tool
