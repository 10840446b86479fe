/// @file
/// Internal: holds the events that a formatter gets against a rule of the grammar.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "kr/zero/io/grammar/KRGrammar.h"

namespace kr::zero::io::tagged {

/// Begins with the first event, and again with the first one after restart().
class GrammarChecker {
 public:
  using Manager = grammar::KRGrammar::Manager;
  using Begin = std::function<std::unique_ptr<Manager>()>;

  /// @param begin gives what checks from the beginning of a rule on.
  explicit GrammarChecker(Begin begin) : begin_(std::move(begin)) {}

  /// @throws modeling::sylvan::grammar::GrammarException for an event that the rule does not allow.
  void process(modeling::sylvan::SylvanEventCode code) { getManager().process(code); }
  void process(modeling::sylvan::SylvanEventCode code, const modeling::sylvan::SylvanPrimitive& primitive) {
    getManager().process(code, primitive);
  }

  /// Marks the check as not started. Leaves the blackboard alone.
  void restart() { manager_.reset(); }

 private:
  Manager& getManager() {
    if (!manager_) manager_ = begin_();
    return *manager_;
  }

  Begin begin_;
  std::unique_ptr<Manager> manager_;
};

}  // namespace kr::zero::io::tagged
