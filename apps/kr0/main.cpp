// How kr0 begins and ends.

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <string_view>

#include "CommandLine.h"
#include "Errors.h"
#include "Files.h"
#include "Visible.h"
#include "kr/zero/io/BinaryFormats.h"

namespace kr::zero::tool {

namespace {

int complain(const std::string& what, ExitCode code) {
  std::cerr << "kr0: " + asOneLine(what) + '\n';  // whole or, without memory for it, not at all
  return code;
}

// Takes no memory: there is none.
int complainOfMemory() {
  constexpr std::string_view kSentence = "kr0: there is not enough memory for this document\n";
  static_cast<void>(!::write(STDERR_FILENO, kSentence.data(), kSentence.size()));
  return exitBadInput;
}

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

// Before all else in this program: the constants of the option parser already take memory.
[[gnu::constructor(101)]] void handleUncaught() { std::set_terminate(endUncaught); }

int run(int count, char** arguments) {
  try {
    io::registerBinaryFormats();
    return performCall(count, arguments);
  } catch (const WrongCall& error) {
    return complain(error.what(), exitWrongCall);
  } catch (const ReaderGone&) {
    return exitDone;
  } catch (const AnsweredNo&) {
    return exitBadInput;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    return complain(error.what(), exitBadInput);
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
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  kr::zero::tool::holdStandardStreams();
  return kr::zero::tool::runInMemory(count, arguments);
}
