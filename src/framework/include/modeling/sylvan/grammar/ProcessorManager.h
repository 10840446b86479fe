/// @file
/// Checks a stream of tree events against a rule.
///
///     auto manager = KRGrammar::getInstance().getProcessor("document", blackboard);
///     manager->process(SylvanEventCode::startDocument, primitive);
///     manager->process(SylvanEventCode::endDocument);  // throws: a document has metadata
#pragma once

#include "modeling/sylvan/grammar/ActionProcessor.h"
#include "modeling/sylvan/grammar/ProcessorStack.h"

namespace modeling::sylvan::grammar {

/// Checks events against a rule, whose acts write on a blackboard. A check is over when its rule has ended;
/// make another manager for the next one.
template <class Blackboard>
class ProcessorManager : public ProcessorStack {
 public:
  /// Both must outlive the manager. The rule's acts must be for this class of blackboard.
  ProcessorManager(const Rule& start, Blackboard& blackboard) : action_(blackboard) { select(start); }

  /// Goes on with another blackboard: for an owner that moves, and its blackboard with it.
  void setBlackboard(Blackboard& blackboard) noexcept { action_.setBlackboard(blackboard); }

 protected:
  /// What the acts write on.
  Blackboard& getBlackboard() const noexcept { return action_.getBlackboard(); }

 private:
  Processor& getActionProcessor() noexcept override { return action_; }
  ReturnType askAction(SylvanEventCode code) override { return action_.process(code); }
  void resumeAction() override { action_.resume(); }

  ActionProcessor<Blackboard> action_;
};

}  // namespace modeling::sylvan::grammar
