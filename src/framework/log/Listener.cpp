#include "log/Listener.h"

#include <mutex>
#include <utility>

namespace kr::zero::log {

namespace {

struct Current {
  std::mutex mutex;
  std::shared_ptr<SpanListener> listener;
};

// Never destroyed: spans are also opened while the process ends.
Current& current() {
  static Current& instance = *new Current;
  return instance;
}

}  // namespace

SpanListener::~SpanListener() = default;

void setSpanListener(std::shared_ptr<SpanListener> listener) {
  Current& now = current();
  const std::lock_guard lock(now.mutex);
  now.listener.swap(listener);  // the old one goes after the lock
}

std::shared_ptr<SpanListener> internal::currentListener() {
  Current& now = current();
  const std::lock_guard lock(now.mutex);
  return now.listener;
}

}  // namespace kr::zero::log
