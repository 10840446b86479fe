#include "common/Fuzzing.h"

#include <cstdio>
#include <cstdlib>

namespace kr::zero::fuzz {

void require(bool holds, const char* rule, const char* found) {
  if (holds) return;
  std::fprintf(stderr, "\nbroken rule: %s\n%s\n", rule, found);
  std::abort();
}

}  // namespace kr::zero::fuzz
