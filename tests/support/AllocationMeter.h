/// @file
/// Measures what a piece of code takes from the heap, and lets its n-th request fail.
///
///     const AllocationMeter meter;
///     parser.parseByteSequence(bytes);
///     EXPECT_LE(meter.getPeakBytes(), bound);
///
/// Works in programs that link tests/hostile/AllocationMeter.cpp, which replaces the global operator new;
/// a tool that replaces it too (valgrind) leaves the meter blind: isWatching() tells.
/// One meter at a time; counts every thread of the process.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kr::zero::test {

class AllocationMeter {
 public:
  /// Starts counting from nothing.
  AllocationMeter();

  /// Bytes that are live now beyond those that were at the start; what was freed that was there before
  /// counts as less.
  std::ptrdiff_t getLiveBytes() const;
  /// The most bytes that were live at one time beyond those at the start.
  std::size_t getPeakBytes() const;
  /// The largest single request.
  std::size_t getLargestRequest() const;
  /// Number of requests.
  std::uint64_t getRequests() const;

  /// Whether requests reach the meter at all.
  static bool isWatching();
};

/// Which requests fail while this lives: from the `first`-th on (0 is the next one), `count` of them.
class FailingAllocations {
 public:
  static constexpr std::uint64_t allOfThem = ~std::uint64_t{0};

  FailingAllocations(std::uint64_t first, std::uint64_t count);
  ~FailingAllocations();
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;

  /// Number of requests that were made to fail.
  std::uint64_t getFailures() const;
};

}  // namespace kr::zero::test
