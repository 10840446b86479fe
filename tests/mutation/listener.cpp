// Goes into each test program of a mutated copy: writes down which mutants each test reaches, into the file
// that KR0_MUTANTS_REACHED names, as lines of the test's name, the processor's milliseconds and the mutants'
// numbers.
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <fstream>

#include "mutation/mutant.h"

namespace {

class Listener : public testing::EmptyTestEventListener {
 public:
  explicit Listener(const char* path) : out_(path, std::ios::app) {}

 private:
  void OnTestStart(const testing::TestInfo&) override {
    std::fill_n(kr0m::state.reached, kr0m::State::kMost, false);
    begin_ = std::clock();
  }
  void OnTestEnd(const testing::TestInfo& test) override {
    out_ << test.test_suite_name() << '.' << test.name() << ' '
         << (std::clock() - begin_) * 1000 / CLOCKS_PER_SEC;
    for (int i = 1; i < kr0m::State::kMost; ++i)
      if (kr0m::state.reached[i]) out_ << ' ' << i;
    out_ << std::endl;
  }

  std::clock_t begin_ = 0;
  std::ofstream out_;
};

const bool appended = [] {
  if (const char* const path = std::getenv("KR0_MUTANTS_REACHED"); path != nullptr)
    testing::UnitTest::GetInstance()->listeners().Append(new Listener(path));
  return true;
}();

}  // namespace
