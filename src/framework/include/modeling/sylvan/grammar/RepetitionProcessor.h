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

  void init(const Rule& rule) override;
  std::string name() const override;

  /// The rule served.
  const Rule& getRule() const noexcept { return *rule_; }
  /// The sub rule that has the events now, or null.
  const Rule* getCurrentSubRule() const noexcept { return current_; }
  bool isFinished() const noexcept { return finished_; }

 private:
  friend class UniformProcessor<RepetitionProcessor>;
  ReturnType step(SylvanEventCode code);

  const Rule* rule_ = nullptr;
  const Rule* current_ = nullptr;
  bool finished_ = false;
};

}  // namespace modeling::sylvan::grammar
