#include "Errors.h"

#include <unistd.h>

#include <iostream>
#include <new>
#include <string>
#include <string_view>

#include "Visible.h"

namespace kr::zero::tool {

namespace {

ExitCode say(const std::string& what, ExitCode code) {
  std::cerr << "kr0: " + asOneLine(what) + '\n';  // whole or, without memory for it, not at all
  return code;
}

int gravityOf(ExitCode code) {
  switch (code) {
    case exitDone:
      return 0;
    case exitWithProblems:
      return 1;
    case exitBadInput:
      return 2;
    default:
      return 3;
  }
}

}  // namespace

ExitCode worseOf(ExitCode a, ExitCode b) { return gravityOf(b) > gravityOf(a) ? b : a; }

ExitCode complain(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const WrongCall& error) {
    return say(error.what(), exitWrongCall);
  } catch (const ReaderGone&) {
    return exitDone;
  } catch (const AnsweredNo&) {
    return exitBadInput;
  } catch (const AlreadyTold& told) {
    return told.code();
  } catch (const std::bad_alloc&) {
    return complainOfMemory();
  } catch (const std::exception& error) {
    return say(error.what(), exitBadInput);
  }
}

ExitCode complainOfMemory() {
  constexpr std::string_view kSentence = "kr0: there is not enough memory for this document\n";
  static_cast<void>(!::write(STDERR_FILENO, kSentence.data(), kSentence.size()));
  return exitBadInput;
}

}  // namespace kr::zero::tool
