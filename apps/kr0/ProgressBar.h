/// @file
/// Internal: a line on the terminal that says how far long work has come.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace kr::zero::tool {

/// Shows a bar on standard error once work has taken a second, with how long it may still take, and wipes it
/// out at the end. Where standard error is no terminal, nothing at all happens. Of several bars at once, on
/// several threads, only the first is shown.
class ProgressBar {
 public:
  ProgressBar();
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  /// What is being done from now on ("reading books.xmi"). How far it has come is not known until
  /// the reporter of this step is called.
  void startStep(std::string what);
  /// Takes fractions of the step, 0 to 1; cheap enough to be called often.
  std::function<void(double)> reporter();
  /// Takes how many elements are done, of so many or, for 0, of nobody knows how many. Empty where nothing is
  /// shown.
  std::function<bool(std::uint64_t)> counter(std::uint64_t total = 0);

 private:
  void draw();
  std::string line(int seconds);
  std::string rest(double fraction) const;

  std::atomic<double> fraction_{-1};  // negative: not known
  std::atomic<std::uint64_t> elements_{0};
  std::mutex mutex_;
  std::condition_variable wake_;
  std::string what_;
  std::chrono::steady_clock::time_point begun_ = {};  // of the step
  bool over_ = false;
  std::thread drawer_;
};

}  // namespace kr::zero::tool
