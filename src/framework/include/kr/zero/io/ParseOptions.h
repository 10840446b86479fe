/// @file
/// What a caller allows a document to be, and wants to hear while it is read.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <string>

namespace kr::zero::io {

/// How much a document may be. More than that is refused (ErrorCode::overLimit) as soon as it is met.
struct ReadLimits {
  /// No limit.
  static constexpr std::uint64_t kNone = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t bytes = kNone;     ///< of the document; held by loadModel and readModel
  std::uint64_t elements = kNone;  ///< without datatype values
  std::uint64_t depth = kNone;     ///< elements and datatype values inside each other
};

/// Hears how many elements have been read or written, every few thousand. It returns whether to go on; false
/// ends the call with an Error (ErrorCode::cancelled). What it throws ends the call too.
using Progress = std::function<bool(std::uint64_t elements)>;

/// Hears what of a document was left out, a sentence with its place: "/library/books[3]: property "shelf"".
using SkipListener = std::function<void(const std::string& what)>;

/// Bounds and listeners of a Parser.
struct ParseOptions {
  ReadLimits limits = {};  ///< how much a document may be; `bytes` is the caller's to hold
  Progress progress = {};  ///< called while elements are read
  /// Where it is set, properties that the meta model does not have are left out of what is read, with all
  /// that they hold, and told; else they refuse the document. Only the tagged format tells where such a
  /// property ends: in the direct one they refuse the document always.
  SkipListener skipped = {};
};

}  // namespace kr::zero::io
