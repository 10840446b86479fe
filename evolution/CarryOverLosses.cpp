#include "CarryOverLosses.h"

#include "CarryOverNames.h"

namespace kr::zero::evolution {

namespace {

using meta::PropertyKind;

const char* unitOf(meta::Property property) {
  return property->getKind() == PropertyKind::composition   ? "element"
         : property->getKind() == PropertyKind::association ? "reference"
                                                            : "value";
}

Finding lossOf(const Step& step, std::string what) {
  return {.subject = qualifiedName(step.from), .unit = unitOf(step.from), .what = std::move(what)};
}

Finding describeLiteral(const Step& step, const LiteralTable::Move& move) {
  if (move.from == nullptr) return lossOf(step, "left out, their numbers are those of no literal");
  const std::string name = inQuotes(move.from->name);
  if (move.asked) return lossOf(step, name + " left out, as the map says");
  return lossOf(step, name + " left out, " + step.to->getType()->qualifiedName() + " has no such literal");
}

}  // namespace

void Losses::note(Event event, ConstElement element, const Step& step, const std::string& what) {
  findings_.note(
      {step.subject(), event}, 1, [&] { return lossOf(step, what); }, element);
}

void Losses::lose(Event event, ConstElement element, const Step& step, const std::string& what) {
  ++step.row->lost;
  note(event, element, step, what);
}

void Losses::loseMore(ConstElement element, const Step& step) {
  lose(Event::noRoom, element, step, "left out, " + qualifiedName(step.to) + " has room for one");
}

void Losses::loseMisfit(ConstElement element, const Step& step, const TypePlan& child) {
  ++step.row->lost;
  if (!child.to) return;  // told where its type is told of
  findings_.note(
      {step.subject(), Event::misfit, child.from->getIndex()}, 1,
      [&] {
        return lossOf(
            step, "left out, " + child.to->qualifiedName() + " is no " + step.to->getType()->qualifiedName());
      },
      element);
}

void Losses::loseReference(ConstElement element, const Step& step, bool asked) {
  ++step.row->lost;
  findings_.note(
      {step.subject(), Event::targetGone, 0, asked}, 1,
      [&] { return lossOf(step, "left out with the element"); }, element);
}

void Losses::loseLiteral(ConstElement element, const Step& step, const LiteralTable::Move& move) {
  ++step.row->lost;
  const std::uint64_t number =
      move.from == nullptr ? UINT64_MAX : static_cast<std::uint32_t>(move.from->number);
  findings_.note(
      {step.subject(), Event::literalGone, number, move.asked}, 1,
      [&] { return describeLiteral(step, move); }, element);
}

void Losses::loseValues(ConstElement element, const Step& step, std::uint64_t values, bool asked) {
  if (values == 0) return;
  step.row->lost += values;
  findings_.note(
      {step.subject(), Event::propertyGone, 0, asked}, values,
      [&] { return lossOf(step, "left out, " + step.row->detail); }, element);
}

void Losses::loseElement(ConstElement element, const TypePlan& plan, bool asked) {
  findings_.note(
      {subjectOf(plan.from), plan.to ? Event::placeGone : Event::typeGone, 0, asked}, 1,
      [&] {
        return Finding{.subject = plan.from->qualifiedName(),
                       .unit = "element",
                       .what = plan.to ? "left out with what contains them" : "left out, " + plan.why};
      },
      element);
}

}  // namespace kr::zero::evolution
