/// @file
/// CPU time of a piece of work.
#pragma once

#include <time.h>

#include <algorithm>
#include <vector>

namespace kr::zero::bench {

/// CPU time of the calling thread; other programs on the machine do not add to it.
inline double threadMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

/// Runs the work three times unmeasured, then at least seven times and for 100 ms; gives the median.
template <class Work>
double medianMilliseconds(Work&& work) {
  constexpr double leastTotal = 100;
  constexpr std::size_t leastRuns = 7;
  for (int i = 0; i < 3; ++i) work();
  std::vector<double> times;
  for (double total = 0; times.size() < leastRuns || total < leastTotal; total += times.back()) {
    const double start = threadMilliseconds();
    work();
    times.push_back(threadMilliseconds() - start);
  }
  const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::nth_element(times.begin(), middle, times.end());
  return *middle;
}

}  // namespace kr::zero::bench
