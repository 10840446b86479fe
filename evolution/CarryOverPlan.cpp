#include "CarryOverPlan.h"

#include <algorithm>

#include "CarryOverNames.h"
#include "kr/zero/Error.h"

namespace kr::zero::evolution {

namespace {

using meta::PropertyKind;

bool isText(PropertyKind kind) {
  return kind == PropertyKind::text || kind == PropertyKind::uuid || kind == PropertyKind::dateTime;
}

/// What instances of a type of that name come to.
std::string whyNot(const Counterpart& now) {
  if (now.isDropped) return "as the map says";
  if (!now.type) return "there is no " + now.name;
  if (const meta::Class cls(now.type); cls && cls->isAbstract()) return now.name + " is abstract";
  return now.name + " is a type of another sort";
}

bool canHaveInstances(meta::Type type) {
  const meta::Class cls(type);
  return !cls || !cls->isAbstract();
}

/// How the bounds or the sort of a property changed, in words; empty where they did not.
std::string describeForm(meta::Property from, meta::Property to) {
  std::string text;
  if (from->isMany() != to->isMany()) text = from->isMany() ? "many values to one" : "one value to many";
  if (from->getKind() != to->getKind() && from->getTarget() && to->getTarget())
    text += std::string(text.empty() ? "" : ", ") +
            (to->isComposite() ? "references to children" : "children to references");
  return text;
}

/// The property whose values a rule moves to a new one; empty: none.
meta::Property sourceByRule(const TypePlan& plan, meta::Property to) {
  for (const auto& [source, target] : plan.renamed)
    if (target == to) return source;
  return {};
}

}  // namespace

Plans::Plans(const meta::MetaRegistry& from, Rules& rules) : from_(from), rules_(rules) {}

TypePlan& Plans::of(meta::StructuredType type) {
  const std::size_t index = type->getIndex();
  if (index >= plans_.size()) plans_.resize(index + 1);
  std::unique_ptr<TypePlan>& plan = plans_[index];
  if (plan != nullptr) return *plan;
  plan = std::make_unique<TypePlan>();
  plan->from = type;
  const Counterpart now = rules_.counterpartOf(type);
  plan->rule = now.rule;
  plan->asked = now.isDropped;
  const bool isSameSort = now.type && &now.type->getMetaClass() == &type->getMetaClass();
  // Abstract classes have no instances to lose; in a report they stand beside what took their place.
  if (isSameSort && (canHaveInstances(now.type) || !canHaveInstances(type))) {
    plan->to = meta::StructuredType(now.type);
    findRenamed(*plan);
    findNeeds(*plan);
  } else {
    plan->why = whyNot(now);
  }
  return *plan;
}

Step& Plans::addStep(TypePlan& plan, std::size_t slot) {
  Step& step = plan.steps.emplace(slot, makeStep(plan, plan.from->getAllProperties()[slot])).first->second;
  if (slot < plan.firstSteps.size()) plan.firstSteps[slot] = &step;
  return step;
}

/// Where rules move values to: no other property gets there by its name.
void Plans::findRenamed(TypePlan& plan) const {
  for (const meta::Property property : rules_.ruledProperties()) {
    if (plan.from->slotOf(property) == meta::StructuredType::Impl::npos) continue;
    const MemberRule* const rule = rules_.ruleFor(plan.from, property);
    if (rule == nullptr || rule->isDropped) continue;
    const meta::Property to = plan.to->findProperty(rule->to);
    if (!to) continue;
    if (sourceByRule(plan, to))
      throw Error(ErrorCode::doesNotFit, "two rules rename properties of " + plan.from->qualifiedName() +
                                             " to " + inQuotes(rule->to));
    plan.renamed.emplace_back(property, to);
  }
}

/// What an instance of the new type is looked at for when it has its values.
void Plans::findNeeds(TypePlan& plan) const {
  for (const meta::Property property : rules_.defaultedProperties()) {
    if (plan.to->slotOf(property) == meta::StructuredType::Impl::npos) continue;
    if (const MemberRule* const rule = rules_.defaultFor(plan.to, property); rule != nullptr)
      plan.defaults.emplace_back(property, rule);
  }
  for (const meta::Property property : plan.to->getAllProperties()) {
    if (property->getKind() == PropertyKind::none || property->getLower() == 0) continue;
    if (property->getDefaultText()) continue;
    // What was as much required before is no news.
    if (const meta::Property source = sourceOf(plan, property); source && source->getLower() > 0) continue;
    plan.required.push_back(property);
  }
}

meta::Property Plans::sourceOf(const TypePlan& plan, meta::Property to) {
  if (const meta::Property source = sourceByRule(plan, to); source) return source;
  const meta::Property source = plan.from->findProperty(to->name());
  const bool isRenamed = std::any_of(plan.renamed.begin(), plan.renamed.end(),
                                     [&](const auto& pair) { return pair.first == source; });
  return isRenamed ? meta::Property() : source;
}

Step Plans::makeStep(const TypePlan& plan, meta::Property property) {
  Step step{.from = property};
  std::string detail = "with what has it";
  if (plan.to) findTarget(plan, step, detail);
  if (step.to) step.action = actionFor(step, detail);
  if (step.action == Action::leaveOut) {
    // A property that never holds anything has nothing to lose.
    const bool isKept = step.to && property->getKind() == PropertyKind::none;
    step.row = rowFor(step, isKept ? Fate::kept : Fate::leftOut, isKept ? "" : detail);
    return step;
  }
  step.toSlot = plan.to->slotOf(step.to);
  step.typeRule = rules_.counterpartOf(property->getType()).rule;
  std::string form = describeForm(property, step.to);
  if (!isSameType(property, step.to)) {
    const std::string types =
        property->getType()->qualifiedName() + " to " + step.to->getType()->qualifiedName();
    form = form.empty() ? types : types + ", " + form;
  }
  const Fate same = property->name() == step.to->name() ? Fate::kept : Fate::renamed;
  step.row = rowFor(step, form.empty() ? same : Fate::converted, form);
  return step;
}

void Plans::findTarget(const TypePlan& plan, Step& step, std::string& why) const {
  const MemberRule* const rule = rules_.ruleFor(plan.from, step.from);
  if (rule != nullptr) {
    step.rule = rule->rule;
    step.asked = rule->isDropped;
    why = "as the map says";
    if (rule->isDropped) return;
  }
  const std::string& name = rule != nullptr ? rule->to : step.from->name();
  step.to = plan.to->findProperty(name);
  if (step.to && rule == nullptr && sourceByRule(plan, step.to)) {
    step.to = {};
    why = "a rule gives its name to another property";
    return;
  }
  if (step.to) return;
  // The new type of the owner says it for all that inherit from it.
  const meta::StructuredType owner(rules_.counterpartOf(step.from->getOwner()).type);
  const bool isOwners = owner && !owner->findProperty(name);
  why = (isOwners ? owner : plan.to)->qualifiedName() + " has no property " + inQuotes(name);
}

Action Plans::actionFor(Step& step, std::string& why) {
  const PropertyKind from = step.from->getKind(), to = step.to->getKind();
  if (from == PropertyKind::none) return Action::leaveOut;
  if (to == PropertyKind::none) {
    why = qualifiedName(step.to) + " holds no values of its own";
    return Action::leaveOut;
  }
  if (isText(from) && isText(to)) return Action::text;
  if (areNumbersAlike(step.from, step.to)) return Action::number;
  if (from == PropertyKind::enumeration && to == from) {
    step.literals = literalsFor(meta::Enum(step.from->getType()), meta::Enum(step.to->getType()));
    return Action::literal;
  }
  if (from == PropertyKind::datatype && to == from && isSameType(step.from, step.to)) return Action::child;
  if (from == PropertyKind::composition && to == from) return Action::child;
  if (from == PropertyKind::association && to == from) return Action::reference;
  if (from == PropertyKind::composition && to == PropertyKind::association) return Action::release;
  if (from == PropertyKind::association && to == PropertyKind::composition) return Action::claim;
  why = qualifiedName(step.to) + " holds values of the type " + step.to->getType()->qualifiedName() +
        ", not " + step.from->getType()->qualifiedName();
  return Action::leaveOut;
}

bool Plans::isSameType(meta::Property from, meta::Property to) const {
  if (from->getType() == to->getType()) return true;
  const Counterpart now = rules_.counterpartOf(from->getType());
  return now.type == to->getType() || (now.isDropped && now.name == to->getType()->qualifiedName());
}

PropertyRow* Plans::rowFor(const Step& step, Fate fate, const std::string& detail) {
  std::vector<PropertyRow*>& rows = rowsOf_[step.from.get()];
  for (PropertyRow* const row : rows)
    if (row->to == step.to && row->fate == fate && row->detail == detail) return row;
  const auto number = static_cast<std::uint32_t>(rows.size());
  rows_.push_back({.from = step.from, .to = step.to, .number = number, .fate = fate, .detail = detail});
  rows.push_back(&rows_.back());
  return rows.back();
}

const LiteralTable* Plans::literalsFor(meta::Enum from, meta::Enum to) {
  std::unique_ptr<LiteralTable>& table = literals_[{from.get(), to.get()}];
  if (table == nullptr) table = std::make_unique<LiteralTable>(from, to, rules_);
  return table.get();
}

void Plans::noteDefaults(Findings& notices) {
  for (std::size_t index = 0; index < plans_.size(); ++index)
    if (plans_[index] != nullptr && plans_[index]->carried != 0) noteDefaults(*plans_[index], notices);
}

void Plans::noteDefaults(TypePlan& plan, Findings& notices) {
  for (const meta::Property to : plan.to->getAllProperties()) {
    if (to->isMany() || !meta::isPrimitive(to->getKind())) continue;
    const meta::Property from = sourceOf(plan, to);
    if (!from || from->isMany() || from->getDefaultText() == to->getDefaultText()) continue;
    const Step& step = stepAt(plan, plan.from->slotOf(from));
    if (step.to != to || plan.carried == step.set) continue;
    const auto describe = [&] {
      const auto shown = [](const std::optional<std::string>& text) {
        return text ? inQuotes(*text) : "none";
      };
      return Finding{.subject = qualifiedName(from),
                     .unit = "value",
                     .what = "unset, and the default is " + shown(to->getDefaultText()) + ", not " +
                             shown(from->getDefaultText())};
    };
    notices.note({step.subject(), Event::defaultChanged}, plan.carried - step.set, describe);
  }
}

std::vector<TypeFate> Plans::rows() {
  std::vector<TypeFate> fates;
  for (const meta::PackageInfo& package : from_.getPackages()) {
    for (const meta::Type type : package.types) {
      const meta::StructuredType structured(type);
      if (!structured) continue;
      TypePlan& plan = of(structured);
      TypeFate fate{.from = type->qualifiedName(), .detail = plan.why};
      fate.fate = !plan.to                                ? Fate::leftOut
                  : fate.from == plan.to->qualifiedName() ? Fate::kept
                                                          : Fate::renamed;
      if (plan.to) fate.to = plan.to->qualifiedName();
      fate.elements = plan.instances;
      fate.carried = plan.carried;
      for (const meta::Property property : structured->getOwnedAttributes()) {
        if (rowsOf_.count(property.get()) == 0) makeStep(plan, property);
        for (const PropertyRow* const row : rowsOf_[property.get()])
          fate.properties.push_back(
              {.from = property->name(),
               .to = row->fate != Fate::leftOut && row->to ? qualifiedName(row->to) : "",
               .fate = row->fate,
               .detail = row->detail,
               .values = row->values,
               .carried = row->values - row->lost});
      }
      fates.push_back(std::move(fate));
    }
  }
  return fates;
}

}  // namespace kr::zero::evolution
