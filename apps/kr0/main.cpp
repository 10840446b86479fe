// How kr0 begins and ends.

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>

#include "CommandLine.h"
#include "Errors.h"
#include "Files.h"
#include "Problems.h"
#include "Signals.h"
#include "kr/zero/io/BinaryFormats.h"

namespace kr::zero::tool {

namespace {

bool isMemoryLeft() {
  constexpr std::size_t kLittle = 4096;
  void* volatile probe = std::malloc(kLittle);  // volatile, or the compiler takes it for granted
  return probe != nullptr;
}

// Memory may run out where nobody catches: before main, or for the exception itself, so that there is none,
// or only the one that was being handled.
[[noreturn]] void endUncaught() {
  if (std::current_exception() != nullptr) {
    try {
      throw;
    } catch (const std::bad_alloc&) {
    } catch (...) {
      if (isMemoryLeft()) std::abort();
    }
  }
  ::_exit(complainOfMemory());
}

// Before all else: constants of the libraries and of the option parser already take memory.
void handleUncaught() { std::set_terminate(endUncaught); }
[[gnu::section(".preinit_array"), gnu::used]] void (*const kBeforeLibraries)() = handleUncaught;

int run(int count, char** arguments) {
  try {
    io::registerBinaryFormats();
    const auto code = static_cast<ExitCode>(performCall(count, arguments));
    return Problems::wereThere() ? worseOf(code, exitWithProblems) : code;
  } catch (...) {
    return complain(std::current_exception());
  }
}

// Making a complaint can fail for want of memory too.
int runInMemory(int count, char** arguments) {
  try {
    return run(count, arguments);
  } catch (const std::bad_alloc&) {
    return complainOfMemory();
  }
}

}  // namespace

}  // namespace kr::zero::tool

int main(int count, char** arguments) {
  // A reader that is gone and a limit on file sizes are errors of the write that meets them.
  (void)std::signal(SIGPIPE, SIG_IGN);
  (void)std::signal(SIGXFSZ, SIG_IGN);
  kr::zero::tool::leaveNothingHalfWritten();
  kr::zero::tool::holdStandardStreams();
  return kr::zero::tool::runInMemory(count, arguments);
}
