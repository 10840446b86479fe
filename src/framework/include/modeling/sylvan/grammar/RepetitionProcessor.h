/// @file
/// Serves repetitions.
#pragma once

#include "modeling/sylvan/grammar/UniformProcessor.h"

namespace modeling::sylvan::grammar {

/// Delegates every event that the sub rule can begin with to the sub rule; any other ends the repetition.
/// After that it refuses all events until it is given a rule again.
class KR0_FRAMEWORK_API RepetitionProcessor final : public UniformProcessor<RepetitionProcessor> {
 public:
  RepetitionProcessor();
  RepetitionProcessor(const RepetitionProcessor&);
  RepetitionProcessor& operator=(const RepetitionProcessor&);
  ~RepetitionProcessor() override;

  void init(const Rule& rule) override {
    rule_ = &rule;
    current_ = nullptr;
    finished_ = false;
  }
  std::string name() const override;

  /// The rule served.
  const Rule& getRule() const noexcept { return *rule_; }
  /// The sub rule that has the events now, or null.
  const Rule* getCurrentSubRule() const noexcept { return current_; }
  /// Whether an event ended the repetition.
  bool isFinished() const noexcept { return finished_; }

 private:
  friend class UniformProcessor<RepetitionProcessor>;

  ReturnType step(SylvanEventCode code) {
    if (finished_) failFinished();
    const Rule& subRule = *rule_->getSubRules().front();
    if (subRule.startsWith(code)) {
      current_ = &subRule;
      return ReturnType::delegate(subRule);
    }
    finished_ = true;
    current_ = nullptr;
    return ReturnType::finish();
  }

  [[noreturn]] static void failFinished();

  const Rule* rule_ = nullptr;
  const Rule* current_ = nullptr;
  bool finished_ = false;
};

}  // namespace modeling::sylvan::grammar
