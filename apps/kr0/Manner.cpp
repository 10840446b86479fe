#include "Manner.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "Visible.h"

namespace kr::zero::tool {

namespace {

const auto kBeginning = std::chrono::steady_clock::now();

// Nothing changes the environment while the tool runs.
// NOLINTBEGIN(concurrency-mt-unsafe)
bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

bool isTerminalWithColor() {
  const char* terminal = std::getenv("TERM");
  return ::isatty(STDOUT_FILENO) == 1 && terminal != nullptr && std::string_view(terminal) != "dumb";
}
// NOLINTEND(concurrency-mt-unsafe)

}  // namespace

Manner& manner() {
  static Manner own;
  return own;
}

bool usesColor() {
  if (manner().color != "auto") return manner().color == "always";
  return !isSet("NO_COLOR") && isTerminalWithColor();
}

void sayStep(std::string_view what) {
  if (!manner().isTalkative) return;
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - kBeginning;
  char seconds[32];
  (void)std::snprintf(seconds, sizeof seconds, "%.3f s: ", passed.count());
  std::cerr << "kr0: " + std::string(seconds) + asOneLine(what) + '\n';
}

}  // namespace kr::zero::tool
