/// @file
/// Serves sequences.
#pragma once

#include <cstddef>

#include "modeling/sylvan/grammar/UniformProcessor.h"

namespace modeling::sylvan::grammar {

/// Delegates to its sub rules, one per call, in order; a call after the last one fails.
class KR0_FRAMEWORK_API SequenceProcessor final : public UniformProcessor<SequenceProcessor> {
 public:
  SequenceProcessor();
  SequenceProcessor(const SequenceProcessor&);
  SequenceProcessor& operator=(const SequenceProcessor&);
  ~SequenceProcessor() override;

  void init(const Rule& rule) override {
    rule_ = &rule;
    next_ = 0;
    count_ = rule.getSubRules().size();
  }
  std::string name() const override;

  /// Whether all sub rules have been handed out.
  bool isExhausted() const noexcept { return next_ == count_; }
  /// The number of sub rules that have been handed out.
  std::size_t getIndex() const noexcept { return next_; }

 private:
  friend class UniformProcessor<SequenceProcessor>;

  ReturnType step(SylvanEventCode) {
    if (next_ >= count_) failExhausted();
    return ReturnType::delegate(*rule_->getSubRules()[next_++]);
  }

  [[noreturn]] static void failExhausted();

  const Rule* rule_ = nullptr;
  std::size_t next_ = 0;
  std::size_t count_ = 0;
};

}  // namespace modeling::sylvan::grammar
