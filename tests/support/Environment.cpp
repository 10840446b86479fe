#include "support/Environment.h"

#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>

namespace kr::zero::test {

std::uint64_t numberFromEnvironment(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  if (text == nullptr || *text == '\0') return otherwise;
  if (std::string(text).find_first_not_of("0123456789") != std::string::npos)
    throw std::invalid_argument(std::string(name) + " is not a number: " + text);
  return std::stoull(text);
}

std::uint64_t seedFor(const char* purpose) {
  const std::uint64_t seed = numberFromEnvironment("KR0_SEED", 20260113);
  std::cout << purpose << ": KR0_SEED=" << seed << std::endl;
  return seed;
}

}  // namespace kr::zero::test
