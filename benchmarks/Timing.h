/// @file
/// CPU time of pieces of work.
#pragma once

#include <time.h>

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace kr::zero::bench {

/// CPU time of the calling thread; other programs on the machine do not add to it.
inline double cpuNanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// Of one run, where `runs` are made.
template <class Work>
double nanosecondsOf(Work&& work, std::size_t runs = 1) {
  const double start = cpuNanoseconds();
  for (std::size_t i = 0; i < runs; ++i) work();
  return (cpuNanoseconds() - start) / static_cast<double>(runs);
}

template <class Work>
double secondsOf(Work&& work) {
  return nanosecondsOf(work) / 1e9;
}

/// How many runs make a sample that is long enough for the clock.
template <class Work>
std::size_t chooseRuns(Work&& work) {
  constexpr double kShortestSample = 2e7;
  const double once = std::max(nanosecondsOf(work), 1.0);
  return static_cast<std::size_t>(std::clamp(kShortestSample / once + 1, 1.0, 1e5));
}

/// @param values not empty.
inline double medianOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2;
}

/// Runs the work three times unmeasured, then at least seven times and for 100 ms; gives the median.
template <class Work>
double medianMilliseconds(Work&& work) {
  constexpr double kLeastTotal = 1e8;
  constexpr std::size_t kLeastRuns = 7;
  for (int i = 0; i < 3; ++i) work();
  std::vector<double> times;
  for (double total = 0; times.size() < kLeastRuns || total < kLeastTotal; total += times.back())
    times.push_back(nanosecondsOf(work));
  return medianOf(std::move(times)) / 1e6;
}

}  // namespace kr::zero::bench
