/// @file
/// Internal: the verbs that look into the bytes of documents, and save what is left of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Inputs.h"

namespace kr::zero::tool {

struct InspectOptions {
  InputsOptions inputs;
  std::string at;                       ///< a path; empty: everything
  std::optional<std::uint64_t> offset;  ///< of a byte of the document
  bool json = false;
};
/// The bytes of documents with what they mean, or those of one element, or what one byte belongs to.
/// @throws AnsweredNo where some bytes make no sense.
void inspect(const InspectOptions& options);

struct SalvageOptions {
  InputOptions input;
  std::string output;
  std::string to;      ///< format of the output, empty: by the extension
  std::string report;  ///< where all losses go, empty: the first of them to standard error
};
/// A model of what can be read of a damaged document.
/// @throws AlreadyTold where something is lost.
void salvage(const SalvageOptions& options);

}  // namespace kr::zero::tool
