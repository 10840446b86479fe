// Carries a model over: every element gets its place (CarryOverPlaces.h), then values and references are put
// where they belong.
#include "kr/zero/evolution/CarryOver.h"

#include <functional>
#include <string>
#include <unordered_map>
#include <utility>

#include "CarryOverLosses.h"
#include "CarryOverNames.h"
#include "CarryOverPlaces.h"
#include "CarryOverPlan.h"
#include "kr/zero/TextHash.h"

namespace kr::zero::evolution {

namespace {

using meta::PropertyKind;

/// Whether "explicitly empty" can be said of a property.
bool canBeEmpty(meta::Property property) {
  if (property->isMany())
    return meta::isPrimitive(property->getKind()) || property->getKind() == PropertyKind::association;
  return meta::isPrimitive(property->getKind()) && property->isOptional();
}

/// What a property contains or refers to; empty for anything else.
ConstElement elementAt(ConstElement element, meta::Property property, std::size_t position) {
  if (property->getKind() == PropertyKind::composition) return element.getElement(property, position);
  if (property->getKind() == PropertyKind::association) return element.getReference(property, position);
  return {};
}

class Carrier {
 public:
  Carrier(const Model& source, const meta::MetaRegistry& target, const CarryOverOptions& options)
      : source_(source),
        options_(options),
        rules_(options.map, source.getRegistry(), target),
        plans_(source.getRegistry(), rules_),
        model_(target),
        places_(source, model_, plans_, losses_, options.progress) {}

  CarryOverResult run() {
    places_.run();
    for (Placed& placed : places_.placed()) fill(placed);
    CarryOverReport report = makeReport();
    if (!report.isLossless() && !options_.allowLoss) throw CarryOverRefused(std::move(report));
    return {std::move(model_), std::move(report)};
  }

 private:
  void fill(Placed& placed) {
    for (Step* const step : places_.stepsOf(placed.from, *placed.plan)) {
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
      losses_.lose(Event::cannotBeEmpty, placed.from, step,
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

  void loseProperty(const Placed& placed, const Step& step, std::uint64_t values) {
    std::uint64_t asked = 0;  // of what is contained or referred to, that which goes anyway
    for (std::size_t i = 0, size = placed.from.size(step.from); i < size; ++i) {
      const ConstElement element = elementAt(placed.from, step.from, i);
      asked += element && places_.isLeftAsAsked(element);
    }
    losses_.loseValues(placed.from, step, asked, true);
    losses_.loseValues(placed.from, step, values - asked, step.asked);
  }

  void carryValue(Placed& placed, const Step& step, std::size_t position) {
    if (!Places::hasRoom(placed.made, step.to)) return losses_.loseMore(placed.from, step);
    const ValuePlace from{placed.from, step.from, position};
    if (step.action == Action::literal) return carryLiteral(placed, step, position);
    const bool isCarried = step.action == Action::number ? copyNumber(from, placed.made, step.to)
                                                         : copyText(from, placed.made, step.to);
    if (!isCarried)
      losses_.lose(Event::notExact, placed.from, step,
                   "left out, they are no " + step.to->getType()->qualifiedName());
  }

  void carryLiteral(Placed& placed, const Step& step, std::size_t position) {
    const LiteralTable::Move& move = step.literals->moveOf(placed.from.getInteger(step.from, position));
    rules_.use(move.rule);
    if (move.to != nullptr) {
      step.to->isMany() ? placed.made.addInteger(step.to, move.to->number)
                        : placed.made.setInteger(step.to, move.to->number);
      return;
    }
    losses_.loseLiteral(placed.from, step, move);
  }

  void carryReference(Placed& placed, const Step& step, std::size_t position) {
    const ConstElement target = step.action == Action::release
                                    ? placed.from.getElement(step.from, position)
                                    : placed.from.getReference(step.from, position);
    if (target && !places_.isPlaced(target))
      return losses_.loseReference(placed.from, step, places_.isLeftAsAsked(target));
    if (target && !places_.fits(target, step))
      return losses_.loseMisfit(placed.from, step, plans_.of(target.getType()));
    if (!Places::hasRoom(placed.made, step.to)) return losses_.loseMore(placed.from, step);
    if (!target) return carryUnresolved(placed, step, position);
    placed.made.putReference(step.to, places_.madeOf(target));
    if (step.action == Action::release)
      losses_.note(
          Event::released, placed.from, step,
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
  Losses losses_;
  Findings notices_;
  Model model_;
  Places places_;
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
