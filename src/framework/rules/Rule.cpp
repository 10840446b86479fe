#include "modeling/sylvan/grammar/Rule.h"

#include <utility>

namespace modeling::sylvan::grammar {

Rule::Rule(RuleKind kind, std::vector<const Rule*> subRules) : kind_(kind), subRules_(std::move(subRules)) {}

Rule::Rule(SylvanEventCode code) : kind_(RuleKind::terminal), start_(code), startingKinds_{code} {}

Rule::~Rule() = default;

const Rule& Rule::resolve() const noexcept {
  const Rule* target = this;
  while (target->kind_ == RuleKind::alias) target = target->subRules_.front();
  return *target;
}

}  // namespace modeling::sylvan::grammar
