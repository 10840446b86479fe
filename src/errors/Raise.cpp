#include "errors/Raise.h"

namespace kr::zero::io::errors {

void recordOnSpan(const log::Span& span, const resource_core::BaseMsgID& id, const std::string& detail,
                  const std::string& what) {
  constexpr auto kType = foundation::log::logging_event_types::error;
  if (!detail.empty()) span->addContext(kType, "error-message", detail);
  span->addContext(kType, "exception-message", what);
  span->recordError(id.getFullIdentifier());
}

}  // namespace kr::zero::io::errors
