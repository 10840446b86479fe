/// @file
/// Internal: throwing the library's errors.
#pragma once

#include <string>

#include "kr/zero/io/Errors.h"
#include "kr/zero/log/Span.h"
#include "resource_core/BaseMsgID.h"

namespace kr::zero::io::errors {

/// Throws the error of a message.
template <class Tag>
[[noreturn]] void raise(const resource_core::BaseMsgID& id) {
  throw Error<Tag>(id);
}

/// Writes what is known of an error to a span.
void recordOnSpan(const log::Span& span, const resource_core::BaseMsgID& id, const std::string& detail,
                  const std::string& what);

/// Writes the error to the span of the operation, then throws it.
/// @param detail what exactly is wrong; empty: nothing to add.
template <class Tag>
[[noreturn]] void raiseWithSpan(const resource_core::BaseMsgID& id, const log::Span& span,
                                const std::string& detail = {}) {
  const Error<Tag> error(id);
  recordOnSpan(span, id, detail, error.what());
  throw error;
}

}  // namespace kr::zero::io::errors
