/// @file
/// Makes the rules of a grammar and owns them.
///
///     Grammar<Blackboard> g;
///     g.define("list", g.sequence({g.terminal(startSequence), g.repetition(g.alias("list")),
///                                  g.terminal(endSequence)}));
///     g.finish();
///     ProcessorManager<Blackboard> manager(g.get("list"), blackboard);
#pragma once

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kr/zero/export.h"
#include "modeling/sylvan/grammar/Rule.h"

namespace modeling::sylvan::grammar {

/// All rules live as long as the set. Rules can be used once finish() has been called.
class KR0_FRAMEWORK_API RuleSet {
 public:
  /// Rules of this set.
  using Rules = std::initializer_list<std::reference_wrapper<const Rule>>;

  RuleSet();
  RuleSet(const RuleSet&) = delete;
  RuleSet& operator=(const RuleSet&) = delete;
  ~RuleSet();

  /// No event at all.
  const Rule& empty();
  /// One event of that kind.
  const Rule& terminal(SylvanEventCode code);
  /// The first alternative that the event can begin is taken; if there is none, the first that can be empty.
  const Rule& choice(Rules alternatives);
  /// The sub rule or nothing.
  const Rule& optional(const Rule& subRule);
  /// The sub rule any number of times, none among them.
  const Rule& repetition(const Rule& subRule);
  /// The sub rules in order.
  const Rule& sequence(Rules subRules);
  /// Stands for the rule of that name, which may be defined later.
  const Rule& alias(const std::string& name);

  /// @throws std::logic_error if the name has a rule already.
  void define(const std::string& name, const Rule& rule);

  /// Computes what each rule begins with.
  /// @throws std::logic_error for an alias of a name that has no rule, and for a rule that begins with
  ///         itself: no event would ever get through it.
  void finish();

  /// @throws std::out_of_range if no rule has that name.
  const Rule& get(const std::string& name) const;

 protected:
  /// Takes over a rule whose sub rules are of this set.
  const Rule& add(std::unique_ptr<Rule> rule);

 private:
  const Rule& add(RuleKind kind, Rules subRules);
  void resolveAliases();
  void computeStarts();
  void refuseLeftRecursion() const;

  std::vector<std::unique_ptr<Rule>> rules_;
  std::map<std::string, const Rule*> names_;
  /// Made by alias(), with the name that each stands for.
  std::vector<std::pair<Rule*, std::string>> aliases_;
};

/// A set of rules that act on a blackboard.
template <class Blackboard>
class Grammar : public RuleSet {
 public:
  /// The sub rule with an act on the blackboard before and behind it.
  const Rule& action(const Rule& subRule, Act<Blackboard> before, Act<Blackboard> after) {
    return add(std::make_unique<ActionRule<Blackboard>>(subRule, before, after));
  }
};

}  // namespace modeling::sylvan::grammar
