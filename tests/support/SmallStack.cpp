#include "support/SmallStack.h"

#include <pthread.h>

#include <exception>
#include <stdexcept>

namespace kr::zero::test {

namespace {

struct Job {
  const std::function<void()>& work;
  std::exception_ptr failure;
};

void* runJob(void* argument) {
  Job& job = *static_cast<Job*>(argument);
  try {
    job.work();
  } catch (...) {
    job.failure = std::current_exception();
  }
  return nullptr;
}

}  // namespace

void onSmallStack(const std::function<void()>& work) {
  Job job{work, nullptr};
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_t thread;
  const bool started = pthread_attr_setstacksize(&attributes, smallStackBytes) == 0 &&
                       pthread_create(&thread, &attributes, runJob, &job) == 0;
  pthread_attr_destroy(&attributes);
  if (!started) throw std::runtime_error("no thread with a small stack");
  pthread_join(thread, nullptr);
  if (job.failure) std::rethrow_exception(job.failure);
}

}  // namespace kr::zero::test
