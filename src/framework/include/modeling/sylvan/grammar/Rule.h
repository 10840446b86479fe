/// @file
/// A rule of a grammar of tree events. Rules are made and owned by a RuleSet.
#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include "kr/zero/export.h"
#include "modeling/sylvan/SylvanEventCode.h"
#include "modeling/sylvan/grammar/EventKinds.h"

namespace modeling::sylvan::grammar {

/// What a rule stands for; the processor that serves it is chosen by this.
enum class RuleKind : std::uint8_t {
  empty,       ///< no event at all
  terminal,    ///< one event of one kind
  choice,      ///< the first sub rule that the next event can begin
  optional,    ///< the sub rule or nothing
  repetition,  ///< the sub rule any number of times
  sequence,    ///< the sub rules in order
  action,      ///< the sub rule, with an act on the blackboard before and after it
  alias,       ///< the rule of a name; this is what lets rules contain themselves
};

/// Rules do not change once their set is finished and may then be read by many threads.
class KR0_FRAMEWORK_API Rule {
 public:
  /// A rule of that kind over others, which must outlive it.
  Rule(RuleKind kind, std::vector<const Rule*> subRules);
  /// A terminal.
  explicit Rule(SylvanEventCode code);
  Rule(const Rule&) = delete;
  Rule& operator=(const Rule&) = delete;
  virtual ~Rule();

  /// Which processor serves it.
  RuleKind kind() const noexcept { return kind_; }
  /// This rule; for an alias, the rule that it stands for.
  const Rule& resolve() const noexcept;
  /// One for optional, repetition, action and alias; none for empty and terminal.
  const std::vector<const Rule*>& getSubRules() const noexcept { return subRules_; }

  /// The kinds of the events that this rule can begin with.
  const std::unordered_set<SylvanEventCode>& getStartingKinds() const noexcept { return startingKinds_; }
  /// The same set in one word, for those who ask once per event.
  EventKinds getStart() const noexcept { return start_; }
  /// Whether it can begin with an event of that kind.
  bool startsWith(SylvanEventCode code) const noexcept { return start_.contains(code); }
  /// Whether no event at all also fits this rule.
  bool canBeEmpty() const noexcept { return canBeEmpty_; }

 private:
  friend class RuleSet;

  RuleKind kind_;
  bool canBeEmpty_ = false;
  EventKinds start_;
  std::vector<const Rule*> subRules_;
  std::unordered_set<SylvanEventCode> startingKinds_;
};

/// Something to do with the blackboard when a rule is entered or left.
template <class Blackboard>
using Act = void (*)(Blackboard&);

/// A rule with an act on the blackboard before its first event and one after its last. That it has ended
/// shows at the event that follows it, so this is when the second act runs.
template <class Blackboard>
class ActionRule final : public Rule {
 public:
  /// The sub rule between two acts, neither of which may be null.
  ActionRule(const Rule& subRule, Act<Blackboard> before, Act<Blackboard> after)
      : Rule(RuleKind::action, {&subRule}), before_(before), after_(after) {}

  /// Runs the act before the sub rule.
  void enter(Blackboard& blackboard) const { before_(blackboard); }
  /// Runs the act behind it.
  void leave(Blackboard& blackboard) const { after_(blackboard); }

 private:
  Act<Blackboard> before_;
  Act<Blackboard> after_;
};

}  // namespace modeling::sylvan::grammar
