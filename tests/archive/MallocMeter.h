/// @file
/// Measures what a piece of code takes from malloc, libraries in C included. AllocationMeter sees only what
/// goes through operator new.
///
///     const MallocMeter meter;
///     saveArchive(model, path);
///     EXPECT_LE(meter.getPeakBytes(), bound);
///
/// Works in programs that link MallocMeter.cpp; sanitizers bring a malloc of their own: isWatching() tells.
/// One meter at a time; counts every thread of the process.
#pragma once

#include <cstddef>

namespace kr::zero::test {

class MallocMeter {
 public:
  /// Starts counting from nothing.
  MallocMeter();

  /// The most bytes that were live at one time beyond those at the start.
  std::size_t getPeakBytes() const;
  /// The largest single request.
  std::size_t getLargestRequest() const;

  /// Whether requests reach the meter at all.
  static bool isWatching();
};

}  // namespace kr::zero::test
