#include "CarryOverPlaces.h"

#include <algorithm>

#include "CarryOverNames.h"
#include "kr/zero/Cells.h"
#include "kr/zero/Error.h"
#include "kr/zero/Records.h"
#include "kr/zero/Typed.h"

namespace kr::zero::evolution {

namespace {

using meta::PropertyKind;

bool isContained(PropertyKind kind) {
  return kind == PropertyKind::composition || kind == PropertyKind::datatype;
}

/// Calls `visit(slot)` for what is set on an element.
template <class Visit>
void forSlots(ConstElement element, Visit visit) {
  const internal::ElementRecord& record = *internal::ElementAccess::recordOf(element);
  for (std::size_t i = 0; i < record.count; ++i) visit(cells::slotOf(record.slots()[i]));
}

void pushContained(ConstElement element, std::vector<ConstElement>& pending) {
  const std::size_t first = pending.size();
  const std::vector<meta::Property>& properties = element.getType()->getAllProperties();
  forSlots(element, [&](std::size_t slot) {
    const meta::Property property = properties[slot];
    if (!isContained(property->getKind())) return;
    for (std::size_t k = 0, size = element.size(property); k < size; ++k)
      pending.push_back(element.getElement(property, k));
  });
  std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(first), pending.end());
}

}  // namespace

Places::Places(const Model& source, Model& model, Plans& plans, Losses& losses, const io::Progress& progress)
    : source_(source), model_(model), plans_(plans), losses_(losses), progress_(progress) {
  made_.resize(source.size());
}

void Places::run() {
  for (const ConstElement root : source_.roots()) placeTree({root, {}, {}});
  placeTheRest();
  if (hasLeftOut_) countLeftOut();
}

/// Elements that have no place of their own get one where they are referred to.
void Places::placeTheRest() {
  std::size_t claimed = 0, released = 0;
  while (claimed < placed_.size() || released < placed_.size()) {
    // What is referred to as a child goes first: its container is better than none.
    const bool isClaim = claimed < placed_.size();
    const Placed by = placed_[isClaim ? claimed++ : released++];  // a copy: placing adds to the vector
    if (isClaim ? !by.claims : !by.releases) continue;
    const std::vector<Step*> steps = stepsOf(by.from, *by.plan);
    for (const Step* const step : steps) {
      if (isClaim && step->action == Action::claim) claim(by, *step);
      if (!isClaim && step->action == Action::release) release(by, *step);
    }
  }
}

void Places::claim(const Placed& by, const Step& step) {
  for (std::size_t i = 0, size = by.from.size(step.from); i < size; ++i) {
    ++step.row->values;
    const ConstElement target = by.from.getReference(step.from, i);
    if (target && !isPlaced(target) && fits(target, step) && hasRoom(by.made, step.to)) {
      placeTree({target, by.made, step.to});
      losses_.note(Event::claimed, by.from, step, "turned into containment, in " + qualifiedName(step.to));
    } else {
      losses_.lose(Event::targetElsewhere, by.from, step,
                   "left out, " + qualifiedName(step.to) +
                       " contains elements, and these have their places elsewhere");
    }
  }
}

void Places::release(const Placed& by, const Step& step) {
  for (std::size_t i = 0, size = by.from.size(step.from); i < size; ++i) {
    const ConstElement child = by.from.getElement(step.from, i);
    if (!fits(child, step)) continue;
    if (!isPlaced(child)) placeTree({child, {}, {}});
    if (!step.to->isMany()) return;  // nothing would refer to the others
  }
}

void Places::placeTree(const Pending& top) {
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

void Places::place(Pending next) {
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
  plans_.countPlaced(plan);
  placed_.push_back({.from = next.from, .made = made, .plan = &plan});
  reportProgress();
  pushChildren(placed_.back());
}

void Places::pushChildren(Placed& parent) {
  const std::size_t first = pending_.size();
  for (Step* const step : stepsOf(parent.from, *parent.plan)) {
    parent.claims |= step->action == Action::claim;
    parent.releases |= step->action == Action::release;
    if (step->action == Action::child)
      pushChildren(parent, *step);
    else if (isContained(step->from->getKind()))
      hasLeftOut_ = true;
  }
  std::reverse(pending_.begin() + static_cast<std::ptrdiff_t>(first), pending_.end());
}

void Places::pushChildren(const Placed& parent, const Step& step) {
  bool isFull = false;
  for (std::size_t i = 0, size = parent.from.size(step.from); i < size; ++i) {
    ++step.row->values;
    const ConstElement child = parent.from.getElement(step.from, i);
    if (fits(child, step) && !isFull) {
      pending_.push_back({child, parent.made, step.to});
      isFull = !step.to->isMany();
      continue;
    }
    hasLeftOut_ = true;
    if (fits(child, step))
      losses_.loseMore(parent.from, step);
    else
      losses_.loseMisfit(parent.from, step, plans_.of(child.getType()));
  }
}

bool Places::isPlaced(ConstElement element) const {
  const std::size_t index = element.getIndex();
  return index < made_.size() && made_[index];
}

bool Places::fits(ConstElement element, const Step& step) {
  const TypePlan& plan = plans_.of(element.getType());
  if (!plan.to) return false;
  const meta::Class cls{meta::Type(plan.to)};
  return cls ? cls->conformsTo(step.to->getTarget()) : plan.to == step.to->getType();
}

const std::vector<Step*>& Places::stepsOf(ConstElement element, TypePlan& plan) {
  steps_.clear();
  forSlots(element, [&](std::size_t slot) { steps_.push_back(&plans_.stepAt(plan, slot)); });
  const auto isBefore = [](const Step* a, const Step* b) { return a->toSlot < b->toSlot; };
  if (!std::is_sorted(steps_.begin(), steps_.end(), isBefore))
    std::stable_sort(steps_.begin(), steps_.end(), isBefore);
  return steps_;
}

void Places::reportProgress() const {
  constexpr std::size_t kStretch = 4096;
  if (placed_.size() % kStretch != 0 || !progress_) return;
  if (!progress_(placed_.size())) throw Error(ErrorCode::cancelled, "carrying over was cancelled");
}

/// Looks at everything in document order, containers before what they contain.
void Places::countLeftOut() {
  left_.resize(made_.size());
  std::vector<ConstElement> pending;
  for (const ConstElement root : source_.roots()) {
    pending.push_back(root);
    while (!pending.empty()) {
      const ConstElement element = pending.back();
      pending.pop_back();
      if (!isPlaced(element)) countLeftOut(element);
      pushContained(element, pending);
    }
  }
}

void Places::countLeftOut(ConstElement element) {
  TypePlan& plan = plans_.of(element.getType());
  ++plan.instances;
  for (const Step* const step : stepsOf(element, plan)) {
    const std::uint64_t values = std::max<std::uint64_t>(1, element.size(step->from));
    step->row->values += values;
    step->row->lost += values;
  }
  const std::size_t index = element.getIndex();
  if (index >= left_.size()) left_.resize(std::max(index + 1, 2 * left_.size()));
  left_[index] = whyLeftOut(element, plan);
}

Places::Left Places::whyLeftOut(ConstElement element, const TypePlan& plan) {
  // Whoever asks for something to be left out asks for all that is in it, too.
  const bool asked = plan.asked || isPlaceDropped(element);
  if (!plan.to) plans_.use(plan.rule);
  if (element.getClass()) losses_.loseElement(element, plan, asked);
  return asked ? Left::asked : Left::lost;
}

bool Places::isPlaceDropped(ConstElement element) {
  const ConstElement container = element.getContainer();
  if (!container) return false;
  if (!isPlaced(container)) return isLeftAsAsked(container);
  TypePlan& plan = plans_.of(container.getType());
  return plans_.stepAt(plan, plan.from->slotOf(element.getContainingProperty())).asked;
}

Places::Left Places::leftOf(ConstElement element) const {
  const std::size_t index = element.getIndex();
  return index < left_.size() ? left_[index] : Left::no;
}

}  // namespace kr::zero::evolution
