#include "Signals.h"

#include <atomic>
#include <csignal>

#include "kr/zero/io/AtomicFile.h"

namespace kr::zero::tool {

namespace {

std::atomic<int> patient{0};  // how many live
std::atomic<int> waiting{0};  // a signal that came meanwhile

void end(int number) {
  io::removeUnfinishedFiles();
  (void)std::signal(number, SIG_DFL);
  (void)std::raise(number);  // so that whoever called sees what ended it
}

extern "C" void handleEnd(int number) {
  if (patient == 0) return end(number);
  waiting = number;
}

}  // namespace

void leaveNothingHalfWritten() {
  for (const int number : {SIGINT, SIGTERM, SIGHUP})
    if (std::signal(number, handleEnd) == SIG_IGN) (void)std::signal(number, SIG_IGN);
}

PatientEnd::PatientEnd() { ++patient; }
PatientEnd::~PatientEnd() {
  if (--patient == 0 && waiting != 0) end(waiting);
}
bool PatientEnd::isWanted() { return waiting != 0; }

}  // namespace kr::zero::tool
