/// @file
/// Measures what a piece of code takes from malloc, libraries in C included, and lets its n-th request fail.
/// AllocationMeter sees only what goes through operator new.
///
///     const MallocMeter meter;
///     saveArchive(model, path);
///     EXPECT_LE(meter.getPeakBytes(), bound);
///
/// Works in programs that link MallocMeter.cpp. Sanitizers bring a malloc of their own: isWatching() tells,
/// and only requests through operator new can be made to fail then. One meter at a time; counts every thread
/// of the process.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kr::zero::test {

class MallocMeter {
 public:
  /// Starts counting from nothing.
  MallocMeter();

  /// Blocks that are live now beyond those that were at the start; what was freed that was there before
  /// counts as less. (Bytes would tell less: a block may be a little larger than asked for.)
  std::ptrdiff_t getLiveBlocks() const;
  /// The most bytes that were live at one time beyond those at the start.
  std::size_t getPeakBytes() const;
  /// The largest single request.
  std::size_t getLargestRequest() const;

  /// Whether requests reach the meter at all.
  static bool isWatching();
};

/// Which requests fail while this lives: from the `first`-th on (0 is the next one), `count` of them.
class FailingMalloc {
 public:
  static constexpr std::uint64_t kAllOfThem = ~std::uint64_t{0};

  FailingMalloc(std::uint64_t first, std::uint64_t count);
  ~FailingMalloc();
  FailingMalloc(const FailingMalloc&) = delete;
  FailingMalloc& operator=(const FailingMalloc&) = delete;

  /// Number of requests that were made to fail.
  std::uint64_t getFailures() const;

  /// Whether requests can be made to fail at all: not where another tool has replaced what this replaces.
  static bool isWorking();
};

}  // namespace kr::zero::test
