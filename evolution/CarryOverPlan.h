/// @file
/// Internal: what is to be done with the instances of each type, worked out once per type.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "CarryOverFindings.h"
#include "CarryOverRules.h"
#include "CarryOverValues.h"
#include "kr/zero/evolution/CarryOverReport.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::evolution {

/// What is done with the values of a property.
enum class Action : std::uint8_t {
  leaveOut,
  number,
  text,       ///< texts, DateTimes, UUIDs
  literal,    ///< by name
  child,      ///< children stay children, datatype values datatype values
  reference,  ///< references stay references
  release,    ///< children become roots that are referred to
  claim,      ///< what is referred to becomes a child, where it has no other place
};

/// A row of the report, and what its sentences say.
struct PropertyRow {
  meta::Property from = {};
  meta::Property to = {};    ///< empty: there is none
  std::uint32_t number = 0;  ///< of the rows for one property
  Fate fate = Fate::kept;
  std::string detail = {};
  std::uint64_t values = 0;
  std::uint64_t lost = 0;
};

/// What is done with a property of the instances of one type.
struct Step {
  meta::Property from = {};
  meta::Property to = {};  ///< empty: there is none
  std::size_t toSlot = meta::StructuredType::Impl::npos;
  Action action = Action::leaveOut;
  bool asked = false;                      ///< a rule says that it is left out
  RuleId rule = kNoRule;                   ///< the rule for the property
  RuleId typeRule = kNoRule;               ///< the rule for the type of its values
  const LiteralTable* literals = nullptr;  ///< for literals
  PropertyRow* row = nullptr;
  std::uint64_t set = 0;  ///< instances that have it set

  Subject subject() const { return subjectOf(from, row->number); }
};

/// What is done with the instances of a type.
struct TypePlan {
  meta::StructuredType from;
  meta::StructuredType to;  ///< empty: they are left out
  std::string why;          ///< for what reason
  bool asked = false;       ///< a rule says so
  RuleId rule = kNoRule;
  /// By slot of `from`, for properties that some instance has set: types may inherit far more than anybody
  /// uses.
  std::unordered_map<std::size_t, Step> steps;
  std::array<Step*, 32>
      firstSteps{};  ///< those of the first slots again, found without a table; null: none yet
  std::vector<std::pair<meta::Property, meta::Property>> renamed;      ///< by rules: old one, new one
  std::vector<meta::Property> required;                                ///< of `to`
  std::vector<std::pair<meta::Property, const MemberRule*>> defaults;  ///< of `to`
  std::uint64_t instances = 0;
  std::uint64_t carried = 0;
};

/// The plans of all types that are met.
class Plans {
 public:
  Plans(const meta::MetaRegistry& from, Rules& rules);

  /// The plan for instances of a type; lives as long as the plans.
  TypePlan& of(meta::StructuredType type);
  /// The step for a slot of a type; lives as long as the plans.
  Step& stepAt(TypePlan& plan, std::size_t slot) {
    if (slot < plan.firstSteps.size() && plan.firstSteps[slot] != nullptr) return *plan.firstSteps[slot];
    const auto found = plan.steps.find(slot);
    return found != plan.steps.end() ? found->second : addStep(plan, slot);
  }
  /// Notes that an instance has its place in the new model.
  void countPlaced(TypePlan& plan) {
    ++plan.instances;
    ++plan.carried;
    use(plan.rule);
  }
  void use(RuleId rule) { rules_.use(rule); }
  /// The property that the values of a new one come from; empty: none.
  static meta::Property sourceOf(const TypePlan& plan, meta::Property to);
  /// A row for each class and datatype of the old meta model, met or not.
  std::vector<TypeFate> rows();
  /// Notes properties that are unset in some instances and have another default now.
  void noteDefaults(Findings& notices);

 private:
  void noteDefaults(TypePlan& plan, Findings& notices);
  Step& addStep(TypePlan& plan, std::size_t slot);
  void findRenamed(TypePlan& plan) const;
  void findNeeds(TypePlan& plan) const;
  Step makeStep(const TypePlan& plan, meta::Property property);
  void findTarget(const TypePlan& plan, Step& step, std::string& why) const;
  Action actionFor(Step& step, std::string& why);
  PropertyRow* rowFor(const Step& step, Fate fate, const std::string& detail);
  const LiteralTable* literalsFor(meta::Enum from, meta::Enum to);
  bool isSameType(meta::Property from, meta::Property to) const;

  const meta::MetaRegistry& from_;
  Rules& rules_;
  std::vector<std::unique_ptr<TypePlan>> plans_;  // by type index
  std::deque<PropertyRow> rows_;
  std::unordered_map<const meta::Property::Impl*, std::vector<PropertyRow*>> rowsOf_;
  std::map<std::pair<const void*, const void*>, std::unique_ptr<LiteralTable>> literals_;
};

}  // namespace kr::zero::evolution
