#include "modeling/sylvan/grammar/RuleSet.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <stdexcept>
#include <unordered_set>

namespace modeling::sylvan::grammar {

namespace {

bool canBeEmpty(const Rule* rule) { return rule->canBeEmpty(); }

/// A rule of a kind that does not exist selects no processor, so no event ever comes to its sub rules.
bool isOfUnknownKind(const Rule& rule) { return rule.kind() > RuleKind::alias; }

/// The sub rules that an event at the beginning of the rule may come to.
std::span<const Rule* const> getLeftParts(const Rule& rule) {
  const std::vector<const Rule*>& parts = rule.getSubRules();
  if (isOfUnknownKind(rule)) return {};
  if (rule.kind() != RuleKind::sequence) return parts;
  const auto firstWithEvents = std::find_if_not(parts.begin(), parts.end(), canBeEmpty);
  return {parts.begin(), firstWithEvents == parts.end() ? firstWithEvents : firstWithEvents + 1};
}

EventKinds joinStarts(std::span<const Rule* const> rules) {
  EventKinds start;
  for (const Rule* rule : rules) start |= rule->getStart();
  return start;
}

/// As far as it follows from what is known of the sub rules.
bool deriveCanBeEmpty(const Rule& rule) {
  const std::vector<const Rule*>& parts = rule.getSubRules();
  switch (rule.kind()) {
    case RuleKind::empty:
    case RuleKind::optional:
    case RuleKind::repetition:
      return true;
    case RuleKind::choice:
      return std::any_of(parts.begin(), parts.end(), canBeEmpty);
    case RuleKind::sequence:
    case RuleKind::action:
    case RuleKind::alias:
      return std::all_of(parts.begin(), parts.end(), canBeEmpty);
    case RuleKind::terminal:
      break;
  }
  return isOfUnknownKind(rule);
}

std::unordered_set<SylvanEventCode> listKinds(EventKinds kinds) {
  std::unordered_set<SylvanEventCode> list;
  for (std::size_t i = 0; i < sylvanEventNames.size(); ++i) {
    const auto code = static_cast<SylvanEventCode>(i);
    if (kinds.contains(code)) list.insert(code);
  }
  return list;
}

std::string quote(const std::string& name) { return '"' + name + '"'; }

}  // namespace

RuleSet::RuleSet() = default;
RuleSet::~RuleSet() = default;

const Rule& RuleSet::empty() { return add(RuleKind::empty, {}); }
const Rule& RuleSet::terminal(SylvanEventCode code) { return add(std::make_unique<Rule>(code)); }
const Rule& RuleSet::choice(Rules alternatives) { return add(RuleKind::choice, alternatives); }
const Rule& RuleSet::optional(const Rule& subRule) { return add(RuleKind::optional, {subRule}); }
const Rule& RuleSet::repetition(const Rule& subRule) { return add(RuleKind::repetition, {subRule}); }
const Rule& RuleSet::sequence(Rules subRules) { return add(RuleKind::sequence, subRules); }

const Rule& RuleSet::alias(const std::string& name) {
  auto rule = std::make_unique<Rule>(RuleKind::alias, std::vector<const Rule*>());
  aliases_.emplace_back(rule.get(), name);
  return add(std::move(rule));
}

const Rule& RuleSet::add(RuleKind kind, Rules subRules) {
  std::vector<const Rule*> parts;
  for (const Rule& rule : subRules) parts.push_back(&rule);
  return add(std::make_unique<Rule>(kind, std::move(parts)));
}

const Rule& RuleSet::add(std::unique_ptr<Rule> rule) {
  rules_.push_back(std::move(rule));
  return *rules_.back();
}

void RuleSet::define(const std::string& name, const Rule& rule) {
  if (!names_.emplace(name, &rule).second)
    throw std::logic_error("the rule " + quote(name) + " is defined twice");
}

const Rule& RuleSet::get(const std::string& name) const {
  const auto found = names_.find(name);
  if (found == names_.end()) throw std::out_of_range("the grammar has no rule " + quote(name));
  return *found->second;
}

void RuleSet::finish() {
  resolveAliases();
  computeStarts();
  refuseLeftRecursion();
}

void RuleSet::resolveAliases() {
  for (const auto& [rule, name] : aliases_) {
    const auto target = names_.find(name);
    if (target == names_.end())
      throw std::logic_error("the rule " + quote(name) + " is used and not defined");
    rule->subRules_ = {target->second};
  }
}

// Rules contain each other in circles, so what they begin with is not computed from the inside out but by
// going over all of them until nothing is added any more.
void RuleSet::computeStarts() {
  for (bool changed = true; changed;) {
    changed = false;
    for (const std::unique_ptr<Rule>& rule : rules_) {
      const bool canBeEmpty = deriveCanBeEmpty(*rule);
      EventKinds start = rule->start_;
      start |= joinStarts(getLeftParts(*rule));
      changed = changed || canBeEmpty != rule->canBeEmpty_ || start != rule->start_;
      rule->canBeEmpty_ = canBeEmpty;
      rule->start_ = start;
    }
  }
  for (const std::unique_ptr<Rule>& rule : rules_) rule->startingKinds_ = listKinds(rule->start_);
}

// A rule is fine when all its left parts are. What is not found fine that way lies on or leads into a circle
// that events never leave. Only aliases close circles, so there is one to name.
void RuleSet::refuseLeftRecursion() const {
  std::unordered_set<const Rule*> fine;
  const auto isFine = [&fine](const Rule* rule) { return fine.contains(rule); };
  for (bool changed = true; changed;) {
    changed = false;
    for (const std::unique_ptr<Rule>& rule : rules_) {
      const std::span<const Rule* const> parts = getLeftParts(*rule);
      if (std::all_of(parts.begin(), parts.end(), isFine)) changed |= fine.insert(rule.get()).second;
    }
  }
  for (const auto& [rule, name] : aliases_)
    if (!isFine(rule)) throw std::logic_error("the rule " + quote(name) + " begins with itself");
}

}  // namespace modeling::sylvan::grammar
