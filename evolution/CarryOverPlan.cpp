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

/// Whether a property must have a value, and the one that its values come from did not have to.
bool isNewlyRequired(const TypePlan& plan, meta::Property property) {
  if (property->getLower() == 0 || property->getDefaultText()) return false;
  return std::none_of(plan.steps.begin(), plan.steps.end(),
                      [&](const Step& step) { return step.to == property && step.from->getLower() > 0; });
}

}  // namespace

Plans::Plans(const meta::MetaRegistry& from, Rules& rules) : from_(from), rules_(rules) {}

TypePlan& Plans::of(meta::StructuredType type) {
  TypePlan& plan = head(type);
  if (!plan.hasSteps) addSteps(plan);
  return plan;
}

TypePlan& Plans::head(meta::StructuredType type) {
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
  if (isSameSort && (canHaveInstances(now.type) || !canHaveInstances(type)))
    plan->to = meta::StructuredType(now.type);
  else
    plan->why = whyNot(now);
  return *plan;
}

void Plans::addSteps(TypePlan& plan) {
  const std::vector<meta::Property> taken = targetsOfRules(plan);
  plan.steps.reserve(plan.from->getAllProperties().size());
  for (const meta::Property property : plan.from->getAllProperties())
    plan.steps.push_back(stepFor(plan, property, taken));
  const auto has = [&](Action action) {
    return std::any_of(plan.steps.begin(), plan.steps.end(),
                       [&](const Step& s) { return s.action == action; });
  };
  plan.hasClaims = has(Action::claim);
  plan.hasReleases = has(Action::release);
  if (plan.to) addNeeds(plan);
  plan.hasSteps = true;
}

/// What an instance of the new type is looked at for when it has its values.
void Plans::addNeeds(TypePlan& plan) const {
  for (const meta::Property property : plan.to->getAllProperties()) {
    if (property->getKind() == PropertyKind::none) continue;
    if (isNewlyRequired(plan, property)) plan.required.push_back(property);
    if (const MemberRule* const rule = rules_.defaultFor(plan.to, property); rule != nullptr)
      plan.defaults.emplace_back(property, rule);
  }
}

/// Properties that rules move values to: no other property gets there by its name.
std::vector<meta::Property> Plans::targetsOfRules(const TypePlan& plan) const {
  std::vector<meta::Property> taken;
  if (!plan.to || !rules_.hasPropertyRules()) return taken;
  for (const meta::Property property : plan.from->getAllProperties()) {
    const MemberRule* const rule = rules_.ruleFor(plan.from, property);
    if (rule == nullptr || rule->isDropped) continue;
    const meta::Property to = plan.to->findProperty(rule->to);
    if (!to) continue;
    if (std::find(taken.begin(), taken.end(), to) != taken.end())
      throw Error(ErrorCode::doesNotFit, "two rules rename properties of " + plan.from->qualifiedName() +
                                             " to " + inQuotes(rule->to));
    taken.push_back(to);
  }
  return taken;
}

Step Plans::stepFor(const TypePlan& plan, meta::Property property, const std::vector<meta::Property>& taken) {
  Step step{.from = property};
  std::string detail;
  if (plan.to)
    findTarget(plan, step, detail, taken);
  else
    detail = "with " + plan.from->qualifiedName();
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

void Plans::findTarget(const TypePlan& plan, Step& step, std::string& why,
                       const std::vector<meta::Property>& taken) const {
  const MemberRule* const rule = rules_.ruleFor(plan.from, step.from);
  if (rule != nullptr) {
    step.rule = rule->rule;
    step.asked = rule->isDropped;
    why = "as the map says";
    if (rule->isDropped) return;
  }
  const std::string& name = rule != nullptr ? rule->to : step.from->name();
  step.to = plan.to->findProperty(name);
  if (step.to && rule == nullptr && std::find(taken.begin(), taken.end(), step.to) != taken.end()) {
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
  return from->getType() == to->getType() || rules_.counterpartOf(from->getType()).type == to->getType();
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

void Plans::noteDefaults(Findings& notices) const {
  for (const std::unique_ptr<TypePlan>& plan : plans_) {
    if (plan == nullptr) continue;
    for (const Step& step : plan->steps) {
      if (!step.to || step.to->isMany() || step.from->getDefaultText() == step.to->getDefaultText()) continue;
      if (plan->carried == step.set || !meta::isPrimitive(step.to->getKind())) continue;
      const auto describe = [&] {
        const auto shown = [](const std::optional<std::string>& text) {
          return text ? inQuotes(*text) : "none";
        };
        return Finding{.subject = qualifiedName(step.from),
                       .unit = "value",
                       .what = "unset, and the default is " + shown(step.to->getDefaultText()) + ", not " +
                               shown(step.from->getDefaultText())};
      };
      notices.note({step.subject(), Event::defaultChanged}, plan->carried - step.set, describe);
    }
  }
}

std::vector<TypeFate> Plans::rows() {
  std::vector<TypeFate> fates;
  for (const meta::PackageInfo& package : from_.getPackages()) {
    for (const meta::Type type : package.types) {
      const meta::StructuredType structured(type);
      if (!structured) continue;
      TypePlan& plan = head(structured);
      TypeFate fate{.from = type->qualifiedName(), .detail = plan.why};
      fate.fate = !plan.to                                ? Fate::leftOut
                  : fate.from == plan.to->qualifiedName() ? Fate::kept
                                                          : Fate::renamed;
      if (plan.to) fate.to = plan.to->qualifiedName();
      fate.elements = plan.instances;
      fate.carried = plan.carried;
      const std::vector<meta::Property> taken = targetsOfRules(plan);
      for (const meta::Property property : structured->getOwnedAttributes()) {
        if (rowsOf_.count(property.get()) == 0) stepFor(plan, property, taken);
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
