/// @file
/// Internal: why a document is refused.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kr/zero/log/Span.h"

namespace kr::zero::internal {

class Problems {
 public:
  void clear() noexcept { texts_.clear(); }
  void setSpan(const log::Span& span) { span_ = std::make_unique<log::Span>(span); }
  const std::vector<std::string>& getTexts() const noexcept { return texts_; }

  /// Records a problem, also on the span.
  /// @return false, for whoever refuses something with it.
  bool refuse(std::string problem) {
    texts_.push_back(std::move(problem));
    if (span_ != nullptr)
      (*span_)->addContext<std::string>(foundation::log::logging_event_types::error, "problem",
                                        texts_.back());
    return false;
  }

  /// A document may be wrong in as many places as it has bytes; these are enough to tell.
  bool areEnough() const noexcept { return texts_.size() >= kEnough; }

 private:
  static constexpr std::size_t kEnough = 20;
  std::vector<std::string> texts_;
  std::unique_ptr<log::Span> span_;
};

}  // namespace kr::zero::internal
