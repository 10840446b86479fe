/// @file
/// Internal. Tells the process's span listener.
#pragma once

#include <memory>

#include "kr/zero/log/Span.h"

namespace kr::zero::log::internal {

/// The listener, or null.
std::shared_ptr<SpanListener> currentListener();

/// Calls `tell` with the listener where there is one. What the listener throws stays here: telling of
/// an operation must not change how it ends.
template <class Tell>
void tellListener(Tell tell) {
  const std::shared_ptr<SpanListener> listener = currentListener();
  if (!listener) return;
  try {
    tell(*listener);
  } catch (...) {
  }
}

}  // namespace kr::zero::log::internal
