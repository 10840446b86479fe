/// @file
/// Internal: a line on the terminal that says how far long work has come.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace kr::zero::tool {

/// Shows a bar on standard error once work has taken a second, and wipes it out at the end. Where
/// standard error is no terminal, nothing at all happens.
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

 private:
  void draw();
  std::string line(int seconds);

  std::atomic<double> fraction_{-1};  // negative: not known
  std::mutex mutex_;
  std::condition_variable wake_;
  std::string what_;
  bool over_ = false;
  std::thread drawer_;
};

}  // namespace kr::zero::tool
