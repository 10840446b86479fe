/// @file
/// What a piece of code takes from the heap, whoever asks for it: operator new, and the mallocs of libraries
/// in C.
///
///     const MemoryUse use;
///     parser.parseByteSequence(bytes);
///     use.requireBounded(bytes.size(), {});
#pragma once

#include <cstddef>
#include <string>

#include "support/AllocationMeter.h"

namespace kr::zero::fuzz {

/// What memory may be taken for n bytes of input.
struct MemoryBound {
  std::size_t floor = 0;       ///< live at one time, whatever the input is
  std::size_t perByte = 0;     ///< live at one time, for each byte
  std::size_t largest = 0;     ///< asked for at once, whatever the input is
  std::size_t largestPerByte;  ///< asked for at once, for each byte, where that is more
  std::size_t reserved = 0;  ///< beside all that: a length that a document claims and that is reserved first
};

/// What docs/security.md promises of a reader.
MemoryBound promisedFor(const std::string& reader);

/// Counts from its construction on. One at a time.
class MemoryUse {
 public:
  MemoryUse();

  /// The most bytes that were live at one time beyond those at the start.
  std::size_t getPeakBytes() const;
  /// The largest single request, served or not.
  std::size_t getLargestRequest() const;

  /// Ends the process where that much input may not take what was taken.
  void requireBounded(std::size_t inputBytes, const MemoryBound& bound) const;

 private:
  test::AllocationMeter requests_;  // sees those that are not served, too
};

}  // namespace kr::zero::fuzz
