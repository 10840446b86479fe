/// @file
/// Internal: holds the events that a formatter gets against a rule of the grammar.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "kr/zero/io/grammar/KRGrammar.h"

namespace kr::zero::io::tagged {

/// Begins with the first event, and again with the first one after restart().
class GrammarChecker {
 public:
  /// @param ruleName a rule of KRGrammar; one that does not exist raises std::out_of_range at the first
  /// event.
  /// @param blackboard must outlive the checker.
  GrammarChecker(std::string ruleName, grammar::KRGrammar::Blackboard& blackboard)
      : ruleName_(std::move(ruleName)), blackboard_(blackboard) {}

  /// @throws modeling::sylvan::grammar::GrammarException for an event that the rule does not allow.
  void process(modeling::sylvan::SylvanEventCode code) { getManager().process(code); }
  void process(modeling::sylvan::SylvanEventCode code, const modeling::sylvan::SylvanPrimitive& primitive) {
    getManager().process(code, primitive);
  }

  /// Marks the check as not started. Leaves the blackboard alone.
  void restart() { manager_.reset(); }

 private:
  grammar::KRGrammar::Manager& getManager() {
    if (!manager_) manager_ = grammar::KRGrammar::getInstance().getProcessor(ruleName_, blackboard_);
    return *manager_;
  }

  std::string ruleName_;
  grammar::KRGrammar::Blackboard& blackboard_;
  std::unique_ptr<grammar::KRGrammar::Manager> manager_;
};

}  // namespace kr::zero::io::tagged
