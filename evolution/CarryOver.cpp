// Carries a model over in three passes: every element gets its place, in document order; what got none is
// counted; then values and references are put where they belong.
#include "kr/zero/evolution/CarryOver.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "CarryOverFindings.h"
#include "CarryOverNames.h"
#include "CarryOverPlan.h"
#include "kr/zero/Cells.h"
#include "kr/zero/Records.h"
#include "kr/zero/TextHash.h"
#include "kr/zero/Typed.h"

namespace kr::zero::evolution {

namespace {

using meta::PropertyKind;

/// Whether "explicitly empty" can be said of a property.
bool canBeEmpty(meta::Property property) {
  if (property->isMany())
    return meta::isPrimitive(property->getKind()) || property->getKind() == PropertyKind::association;
  return meta::isPrimitive(property->getKind()) && property->isOptional();
}

const char* unitOf(meta::Property property) {
  return property->getKind() == PropertyKind::composition   ? "element"
         : property->getKind() == PropertyKind::association ? "reference"
                                                            : "value";
}

class Carrier {
 public:
  Carrier(const Model& source, const meta::MetaRegistry& target, const CarryOverOptions& options)
      : source_(source),
        options_(options),
        rules_(options.map, source.getRegistry(), target),
        plans_(source.getRegistry(), rules_),
        model_(target) {
    made_.resize(source.size());
  }

  CarryOverResult run() {
    placeRoots();
    placeTheRest();
    if (hasLeftOut_) countLeftOut();
    for (Placed& placed : placed_) fill(placed);
    CarryOverReport report = makeReport();
    if (!report.isLossless() && !options_.allowLoss) throw CarryOverRefused(std::move(report));
    return {std::move(model_), std::move(report)};
  }

 private:
  /// An element or datatype value that has its place.
  struct Placed {
    ConstElement from;
    Element made;
    TypePlan* plan;
    bool claims = false;    // has a step that does
    bool releases = false;  // has a step that does
  };
  /// One whose place is known, and not there yet.
  struct Pending {
    ConstElement from;
    Element container;  // empty: a root
    meta::Property property;
  };
  enum class Left : std::uint8_t { no, lost, asked };

  // Places.

  void placeRoots() {
    for (const ConstElement root : source_.roots()) placeTree({root, {}, {}});
  }

  /// Elements that have no place of their own get one where they are referred to.
  void placeTheRest() {
    std::size_t claimed = 0, released = 0;
    while (claimed < placed_.size() || released < placed_.size()) {
      // What is referred to as a child goes first: its container is better than none.
      if (claimed < placed_.size()) {
        const Placed by = placed_[claimed++];  // a copy: placing adds to the vector
        if (!by.claims) continue;
        for (const Step* const step : std::vector<Step*>(stepsOf(by)))
          if (step->action == Action::claim) claim(by, *step);
      } else {
        const Placed by = placed_[released++];
        if (!by.releases) continue;
        for (const Step* const step : std::vector<Step*>(stepsOf(by)))
          if (step->action == Action::release) release(by, *step);
      }
    }
  }

  void claim(const Placed& by, const Step& step) {
    PropertyRow& row = *step.row;
    for (std::size_t i = 0, size = by.from.size(step.from); i < size; ++i) {
      ++row.values;
      const ConstElement target = by.from.getReference(step.from, i);
      if (target && !isPlaced(target) && fits(target, step) && hasRoom(by.made, step.to)) {
        placeTree({target, by.made, step.to});
        note(Event::claimed, by, step, "turned into containment, in " + qualifiedName(step.to));
      } else {
        lose(Event::targetElsewhere, by, step,
             "left out, " + qualifiedName(step.to) +
                 " contains elements, and these have their places elsewhere");
      }
    }
  }

  void release(const Placed& by, const Step& step) {
    for (std::size_t i = 0, size = by.from.size(step.from); i < size; ++i) {
      const ConstElement child = by.from.getElement(step.from, i);
      if (!isPlaced(child) && fits(child, step)) placeTree({child, {}, {}});
    }
  }

  void placeTree(const Pending& top) {
    if (!plans_.of(top.from.getType()).to) {
      hasLeftOut_ = true;
      return;
    }
    pending_.push_back(top);
    while (!pending_.empty()) {
      const Pending next = pending_.back();
      pending_.pop_back();
      place(next);
    }
  }

  void place(Pending next) {
    TypePlan& plan = plans_.of(next.from.getType());
    Element made = next.container ? next.container.create(next.property, plan.to)
                                  : model_.createRoot(meta::Class(meta::Type(plan.to)));
    if (next.from.getClass()) {
      const std::optional<Identity> identity = next.from.getIdentity();
      if (identity && identity->first != "#") made.setIdentity(identity->first, identity->second);
    }
    const std::size_t index = next.from.getIndex();
    if (index >= made_.size()) made_.resize(std::max(index + 1, 2 * made_.size()));
    made_[index] = made;
    ++plan.instances;
    ++plan.carried;
    rules_.use(plan.rule);
    placed_.push_back({.from = next.from, .made = made, .plan = &plan});
    reportProgress();
    pushChildren(placed_.back());
  }

  void pushChildren(Placed& parent) {
    const std::size_t first = pending_.size();
    for (Step* const step : stepsOf(parent)) {
      parent.claims |= step->action == Action::claim;
      parent.releases |= step->action == Action::release;
      const PropertyKind kind = step->from->getKind();
      if (kind != PropertyKind::composition && kind != PropertyKind::datatype) continue;
      if (step->action == Action::child)
        pushChildren(parent, *step);
      else
        hasLeftOut_ = true;
    }
    std::reverse(pending_.begin() + static_cast<std::ptrdiff_t>(first), pending_.end());
  }

  void pushChildren(const Placed& parent, const Step& step) {
    bool isFull = false;
    for (std::size_t i = 0, size = parent.from.size(step.from); i < size; ++i) {
      ++step.row->values;
      const ConstElement child = parent.from.getElement(step.from, i);
      if (!fits(child, step)) {
        loseMisfit(parent, step, child);
      } else if (isFull) {
        loseMore(parent, step);
      } else {
        pending_.push_back({child, parent.made, step.to});
        isFull = !step.to->isMany();
        continue;
      }
      hasLeftOut_ = true;
    }
  }

  bool isPlaced(ConstElement element) const {
    const std::size_t index = element.getIndex();
    return index < made_.size() && made_[index];
  }

  /// Whether an element can stand in a property, or be referred to there.
  bool fits(ConstElement element, const Step& step) {
    const TypePlan& plan = plans_.of(element.getType());
    if (!plan.to) return false;
    const meta::Class cls{meta::Type(plan.to)};
    return cls ? cls->conformsTo(step.to->getTarget()) : plan.to == step.to->getType();
  }

  static bool hasRoom(ConstElement element, meta::Property property) {
    return property->isMany() || element.size(property) == 0;
  }

  /// What a property of an instance has steps for, by their places in the new type: values are so put one
  /// behind the other.
  const std::vector<Step*>& stepsOf(const Placed& placed) {
    steps_.clear();
    const internal::ElementRecord& record = *internal::ElementAccess::recordOf(placed.from);
    for (std::size_t i = 0; i < record.count; ++i)
      steps_.push_back(&plans_.stepAt(*placed.plan, cells::slotOf(record.slots()[i])));
    const auto isBefore = [](const Step* a, const Step* b) { return a->toSlot < b->toSlot; };
    if (!std::is_sorted(steps_.begin(), steps_.end(), isBefore))
      std::stable_sort(steps_.begin(), steps_.end(), isBefore);
    return steps_;
  }

  void reportProgress() {
    constexpr std::size_t kStretch = 4096;
    if (placed_.size() % kStretch != 0 || !options_.progress) return;
    if (!options_.progress(placed_.size())) throw Error(ErrorCode::cancelled, "carrying over was cancelled");
  }

  // What is left out.

  /// Looks at everything in document order, containers before what they contain.
  void countLeftOut() {
    left_.resize(made_.size());
    std::vector<ConstElement> pending;
    for (const ConstElement root : source_.roots()) {
      pending.push_back(root);
      while (!pending.empty()) {
        const ConstElement element = pending.back();
        pending.pop_back();
        if (!isPlaced(element)) countLeftOut(element);
        const std::size_t first = pending.size();
        pushContained(element, pending);
        std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(first), pending.end());
      }
    }
  }

  static void pushContained(ConstElement element, std::vector<ConstElement>& pending) {
    const internal::ElementRecord& record = *internal::ElementAccess::recordOf(element);
    const std::vector<meta::Property>& properties = element.getType()->getAllProperties();
    for (std::size_t i = 0; i < record.count; ++i) {
      const meta::Property property = properties[cells::slotOf(record.slots()[i])];
      if (property->getKind() != PropertyKind::composition && property->getKind() != PropertyKind::datatype)
        continue;
      for (std::size_t k = 0, size = element.size(property); k < size; ++k)
        pending.push_back(element.getElement(property, k));
    }
  }

  void countLeftOut(ConstElement element) {
    TypePlan& plan = plans_.of(element.getType());
    ++plan.instances;
    for (const Step* const step : stepsOf({.from = element, .made = {}, .plan = &plan})) {
      const std::uint64_t values = std::max<std::uint64_t>(1, element.size(step->from));
      step->row->values += values;
      step->row->lost += values;
    }
    const Left left = whyLeftOut(element, plan);
    const std::size_t index = element.getIndex();
    if (index >= left_.size()) left_.resize(index + 1);
    left_[index] = left;
  }

  Left leftOf(ConstElement element) const {
    const std::size_t index = element.getIndex();
    return index < left_.size() ? left_[index] : Left::no;
  }

  Left whyLeftOut(ConstElement element, const TypePlan& plan) {
    // Whoever asks for something to be left out asks for all that is in it, too.
    const bool asked = plan.asked || isPlaceDropped(element);
    if (!element.getClass()) return asked ? Left::asked : Left::lost;
    if (!plan.to) rules_.use(plan.rule);
    const FindingKey key{subjectOf(plan.from), plan.to ? Event::placeGone : Event::typeGone, 0, asked};
    losses_.note(
        key, 1,
        [&] {
          return Finding{.subject = plan.from->qualifiedName(),
                         .unit = "element",
                         .what = plan.to ? "left out with what contains them" : "left out, " + plan.why};
        },
        element);
    return asked ? Left::asked : Left::lost;
  }

  bool isPlaceDropped(ConstElement element) {
    const ConstElement container = element.getContainer();
    if (!container) return false;
    if (!isPlaced(container)) return leftOf(container) == Left::asked;
    TypePlan& plan = plans_.of(container.getType());
    return plans_.stepAt(plan, plan.from->slotOf(element.getContainingProperty())).asked;
  }

  // Values.

  void fill(Placed& placed) {
    for (Step* const step : stepsOf(placed)) {
      ++step->set;
      rules_.use(step->rule);
      rules_.use(step->typeRule);
      if (placed.from.getState(step->from) == PropertyState::empty)
        carryEmpty(placed, *step);
      else
        carryValues(placed, *step);
    }
    lookAtNeeds(placed);
  }

  void carryEmpty(Placed& placed, const Step& step) {
    ++step.row->values;
    if (step.action == Action::leaveOut)
      loseProperty(placed, step, 1);
    else if (canBeEmpty(step.to))
      placed.made.setEmpty(step.to);
    else if (meta::isPrimitive(step.to->getKind()))
      lose(Event::cannotBeEmpty, placed, step,
           "explicitly empty, and " + qualifiedName(step.to) + " must have a value");
  }

  void carryValues(Placed& placed, const Step& step) {
    const std::size_t size = placed.from.size(step.from);
    switch (step.action) {
      case Action::child:
      case Action::claim:
        break;  // placed already
      case Action::leaveOut:
        step.row->values += size;
        loseProperty(placed, step, size);
        return;
      case Action::reference:
      case Action::release:
        step.row->values += size;
        for (std::size_t i = 0; i < size; ++i) carryReference(placed, step, i);
        break;
      default:
        step.row->values += size;
        for (std::size_t i = 0; i < size; ++i) carryValue(placed, step, i);
    }
    lookAtBound(placed, step);
  }

  void carryValue(Placed& placed, const Step& step, std::size_t position) {
    if (!hasRoom(placed.made, step.to)) return loseMore(placed, step);
    const ValuePlace from{placed.from, step.from, position};
    if (step.action == Action::literal) return carryLiteral(placed, step, position);
    const bool isCarried = step.action == Action::number ? copyNumber(from, placed.made, step.to)
                                                         : copyText(from, placed.made, step.to);
    if (!isCarried)
      lose(Event::notExact, placed, step, "left out, they are no " + step.to->getType()->qualifiedName());
  }

  void carryLiteral(Placed& placed, const Step& step, std::size_t position) {
    const LiteralTable::Move& move = step.literals->moveOf(placed.from.getInteger(step.from, position));
    rules_.use(move.rule);
    if (move.to != nullptr) {
      step.to->isMany() ? placed.made.addInteger(step.to, move.to->number)
                        : placed.made.setInteger(step.to, move.to->number);
      return;
    }
    ++step.row->lost;
    const std::uint64_t literal =
        move.from == nullptr ? UINT64_MAX : static_cast<std::uint32_t>(move.from->number);
    const FindingKey key{step.subject(), Event::literalGone, literal, move.asked};
    losses_.note(
        key, 1,
        [&] {
          if (move.from == nullptr) return describe(step, "left out, their numbers are those of no literal");
          if (move.asked) return describe(step, inQuotes(move.from->name) + " left out, as the map says");
          return describe(step, inQuotes(move.from->name) + " left out, " +
                                    step.to->getType()->qualifiedName() + " has no such literal");
        },
        placed.from);
  }

  void carryReference(Placed& placed, const Step& step, std::size_t position) {
    const ConstElement target = step.action == Action::release
                                    ? placed.from.getElement(step.from, position)
                                    : placed.from.getReference(step.from, position);
    if (target && !isPlaced(target)) return loseReference(placed, step, target);
    if (target && !fits(target, step)) return loseMisfit(placed, step, target);
    if (!hasRoom(placed.made, step.to)) return loseMore(placed, step);
    if (!target) return carryUnresolved(placed, step, position);
    placed.made.putReference(step.to, made_[target.getIndex()]);
    if (step.action == Action::release)
      note(Event::released, placed, step,
           "turned into references and became roots, " + qualifiedName(step.to) + " contains nothing");
  }

  void carryUnresolved(Placed& placed, const Step& step, std::size_t position) {
    std::optional<UnresolvedReference> reference = placed.from.getUnresolved(step.from, position);
    if (!reference) return;
    reference->targetType = newNameOf(reference->targetType);
    placed.made.putUnresolved(step.to, *reference);
  }

  /// The name that a type of the old meta model has in the new one.
  const std::string& newNameOf(const std::string& name) {
    const auto [place, isNew] = newNames_.try_emplace(name, name);
    if (!isNew) return place->second;
    const meta::Type old = source_.getRegistry().findType(name);
    if (!old) return place->second;
    const Counterpart now = rules_.counterpartOf(old);
    if (now.type) {
      place->second = now.name;
      rules_.use(now.rule);
    }
    return place->second;
  }

  void lookAtBound(const Placed& placed, const Step& step) {
    const std::int32_t upper = step.to->getUpper();
    if (upper <= 1 || placed.made.size(step.to) <= static_cast<std::size_t>(upper)) return;
    notices_.note(
        {step.subject(), Event::tooMany}, 1,
        [&] {
          return Finding{.subject = qualifiedName(step.to),
                         .unit = "element",
                         .what = "with more than " + std::to_string(upper) + " values"};
        },
        placed.from);
  }

  void lookAtNeeds(Placed& placed) {
    for (const auto& [property, rule] : placed.plan->defaults)
      if (!placed.made.isSet(property)) giveDefault(placed, property, *rule);
    for (const meta::Property property : placed.plan->required) {
      if (placed.made.isSet(property)) continue;
      notices_.note(
          {subjectOf(property), Event::required}, 1,
          [&] {
            return Finding{
                .subject = qualifiedName(property), .unit = "element", .what = "without the required value"};
          },
          placed.from);
    }
  }

  void giveDefault(Placed& placed, meta::Property property, const MemberRule& rule) {
    try {
      property->isMany() ? placed.made.addTextForm(property, rule.to)
                         : placed.made.setTextForm(property, rule.to);
    } catch (const ModelError& error) {
      throw Error(ErrorCode::doesNotFit, "the rule default " + inQuotes(qualifiedName(property)) + ": " +
                                             error.getDetails().problem);
    }
    rules_.use(rule.rule);
    notices_.note(
        {subjectOf(property), Event::defaultGiven, rule.rule}, 1,
        [&] {
          return Finding{.subject = qualifiedName(property),
                         .unit = "element",
                         .what = "given " + inQuotes(rule.to) + ", as the map says"};
        },
        placed.from);
  }

  // Findings.

  static Finding describe(const Step& step, std::string what) {
    return {.subject = qualifiedName(step.from), .unit = unitOf(step.from), .what = std::move(what)};
  }

  /// A change that has to be allowed, and loses no value.
  void note(Event event, const Placed& placed, const Step& step, const std::string& what) {
    losses_.note(
        {step.subject(), event}, 1, [&] { return describe(step, what); }, placed.from);
  }

  void lose(Event event, const Placed& placed, const Step& step, const std::string& what) {
    ++step.row->lost;
    note(event, placed, step, what);
  }

  void loseProperty(const Placed& placed, const Step& step, std::size_t values) {
    step.row->lost += values;
    std::size_t asked = 0;
    for (std::size_t i = 0; i < placed.from.size(step.from); ++i) asked += isLeftAsAsked(placed, step, i);
    losePart(placed, step, asked, true);
    losePart(placed, step, values - asked, step.asked);
  }

  /// Whether what a property contains or refers to would be left out anyway, as somebody asked.
  bool isLeftAsAsked(const Placed& placed, const Step& step, std::size_t position) const {
    const PropertyKind kind = step.from->getKind();
    ConstElement element;
    if (kind == PropertyKind::composition) element = placed.from.getElement(step.from, position);
    if (kind == PropertyKind::association) element = placed.from.getReference(step.from, position);
    return element && leftOf(element) == Left::asked;
  }

  void losePart(const Placed& placed, const Step& step, std::size_t values, bool asked) {
    if (values == 0) return;
    losses_.note(
        {step.subject(), Event::propertyGone, 0, asked}, values,
        [&] { return describe(step, "left out, " + step.row->detail); }, placed.from);
  }

  void loseMore(const Placed& placed, const Step& step) {
    lose(Event::noRoom, placed, step, "left out, " + qualifiedName(step.to) + " has room for one");
  }

  void loseReference(const Placed& placed, const Step& step, ConstElement target) {
    ++step.row->lost;
    losses_.note(
        {step.subject(), Event::targetGone, 0, leftOf(target) == Left::asked}, 1,
        [&] { return describe(step, "left out with the element"); }, placed.from);
  }

  void loseMisfit(const Placed& placed, const Step& step, ConstElement element) {
    ++step.row->lost;
    const TypePlan& plan = plans_.of(element.getType());
    if (!plan.to) return;  // told where its type is told of
    losses_.note(
        {step.subject(), Event::misfit, plan.from->getIndex()}, 1,
        [&] {
          return describe(step, "left out, " + plan.to->qualifiedName() + " is no " +
                                    step.to->getType()->qualifiedName());
        },
        placed.from);
  }

  CarryOverReport makeReport() {
    CarryOverReport report;
    report.elements = source_.size();
    report.carried = model_.size();
    report.types = plans_.rows();
    report.losses = losses_.take();
    plans_.noteDefaults(notices_);
    report.notices = notices_.take();
    for (const std::string& rule : rules_.unused())
      report.notices.push_back({.subject = rule, .count = 0, .unit = "use", .what = "in this model"});
    return report;
  }

  const Model& source_;
  const CarryOverOptions& options_;
  Rules rules_;
  Plans plans_;
  Model model_;
  std::vector<Element> made_;  // by the old element's index
  std::vector<Placed> placed_;
  std::vector<Pending> pending_;
  std::vector<Left> left_;  // by the old element's index
  bool hasLeftOut_ = false;
  std::vector<Step*> steps_;
  Findings losses_;
  Findings notices_;
  std::unordered_map<std::string, std::string, TextHash, std::equal_to<>> newNames_;
};

ErrorDetails detailsOf(const CarryOverReport& report) {
  ErrorDetails details;
  for (const Finding& loss : report.losses)
    if (!loss.asked) details.problems.push_back(loss.sentence());
  if (!details.problems.empty()) details.problem = details.problems.front();
  return details;
}

}  // namespace

CarryOverRefused::CarryOverRefused(CarryOverReport report)
    : Error(ErrorCode::doesNotFit, detailsOf(report)),
      report_(std::make_shared<const CarryOverReport>(std::move(report))) {}
CarryOverRefused::~CarryOverRefused() = default;
CarryOverRefused::CarryOverRefused(const CarryOverRefused&) noexcept = default;
CarryOverRefused& CarryOverRefused::operator=(const CarryOverRefused&) noexcept = default;

CarryOverResult carryOver(const Model& source, const meta::MetaRegistry& target,
                          const CarryOverOptions& options) {
  return Carrier(source, target, options).run();
}

}  // namespace kr::zero::evolution
