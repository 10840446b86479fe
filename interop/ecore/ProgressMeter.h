/// @file
/// Internal: reports progress now and then.
#pragma once

#include <cstddef>

#include "kr/zero/ecore/Ecore.h"

namespace kr::zero::ecore {

class ProgressMeter {
 public:
  explicit ProgressMeter(const Progress& progress) : progress_(progress) {}

  /// Counts one step; at every so-many-th asks `share()`, 0 to 1, and passes it on.
  template <class Share>
  void step(Share&& share) {
    if (--left_ > 0) return;
    left_ = kEvery;
    if (progress_) progress_(share());
  }

 private:
  static constexpr std::size_t kEvery = 8192;
  const Progress& progress_;
  std::size_t left_ = kEvery;
};

}  // namespace kr::zero::ecore
