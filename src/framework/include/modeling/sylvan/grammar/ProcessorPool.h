/// @file
/// Processors of one class, for use again and again.
#pragma once

#include <cstddef>
#include <deque>
#include <vector>

namespace modeling::sylvan::grammar {

/// Gives the processor that was released last; makes one only if there is none. All that were made live as
/// long as the pool.
template <class ProcessorClass>
class ProcessorPool {
 public:
  /// A processor for use until release(); it belongs to the pool.
  ProcessorClass& take() {
    if (released_.empty()) return make();
    ProcessorClass& processor = *released_.back();
    released_.pop_back();
    return processor;
  }

  /// Takes back what take() gave.
  void release(ProcessorClass& processor) noexcept { released_.push_back(&processor); }

  /// The number of processors that were made.
  std::size_t getCount() const noexcept { return all_.size(); }

 private:
  ProcessorClass& make() {
    // Room for all of them to come back makes release() one that cannot fail.
    if (released_.capacity() == all_.size()) released_.reserve(2 * all_.size() + 8);
    return all_.emplace_back();
  }

  std::deque<ProcessorClass> all_;
  std::vector<ProcessorClass*> released_;
};

}  // namespace modeling::sylvan::grammar
