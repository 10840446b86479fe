/// @file
/// Serves rules that act on the blackboard.
#pragma once

#include <vector>

#include "modeling/sylvan/grammar/UniformProcessor.h"

namespace modeling::sylvan::grammar {

/// Acts, delegates to the sub rule, and acts again when that has ended. Serves all open action rules at a
/// time (see SingleProcessors.h); what to do at the end differs from rule to rule, so it remembers the rules
/// that it is in.
template <class Blackboard>
class ActionProcessor final : public UniformProcessor<ActionProcessor<Blackboard>> {
 public:
  /// The blackboard must outlive the use of the processor.
  explicit ActionProcessor(Blackboard& blackboard) : blackboard_(&blackboard) {}

  /// Acts on another blackboard from now on.
  void setBlackboard(Blackboard& blackboard) noexcept { blackboard_ = &blackboard; }

  void init(const Rule& rule) override { next_ = static_cast<const ActionRule<Blackboard>*>(&rule); }
  std::string name() const override { return "Action"; }

  /// Takes the rule that was given last for one that has begun, without the act that this would be.
  void resume() {
    open_.push_back(next_);
    next_ = nullptr;
  }
  /// What it acts on.
  Blackboard& getBlackboard() const noexcept { return *blackboard_; }

 private:
  friend class UniformProcessor<ActionProcessor>;
  using Action = ActionRule<Blackboard>;

  ReturnType step(SylvanEventCode) { return next_ ? enter() : leave(); }

  ReturnType enter() {
    // The rule counts as open only when its first act has been done, and until its second one has.
    next_->enter(*blackboard_);
    open_.push_back(next_);
    next_ = nullptr;
    return ReturnType::delegate(*open_.back()->getSubRules().front());
  }

  ReturnType leave() {
    open_.back()->leave(*blackboard_);
    open_.pop_back();
    return ReturnType::finish();
  }

  Blackboard* blackboard_;
  /// Given but not begun, or null.
  const Action* next_ = nullptr;
  std::vector<const Action*> open_;
};

}  // namespace modeling::sylvan::grammar
