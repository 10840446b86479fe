#include "Problems.h"

#include <atomic>
#include <iostream>
#include <string>

#include "Visible.h"

namespace kr::zero::tool {

namespace {

constexpr std::size_t kMostLines = 1000;

std::atomic<bool> anyWereThere = false;

}  // namespace

Problems::~Problems() {
  if (count_ > kMostLines)
    std::cerr << std::to_string(count_ - kMostLines) + " problems more, which are not told one by one\n";
}

ecore::ProblemListener Problems::listener() {
  if (!isTolerant_) return {};
  return [this](const ecore::Problem& problem) { tell(problem); };
}

bool Problems::wereThere() { return anyWereThere; }

void Problems::tell(const ecore::Problem& problem) {
  anyWereThere = true;
  if (++count_ > kMostLines) return;
  const std::string place =
      problem.line == 0 ? problem.file : problem.file + ':' + std::to_string(problem.line);
  std::cerr << asOneLine(place + ": " + problem.sentence) + '\n';
}

}  // namespace kr::zero::tool
