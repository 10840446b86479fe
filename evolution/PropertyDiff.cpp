#include "PropertyDiff.h"

#include <algorithm>

#include "Sentences.h"

namespace kr::zero::evolution {

namespace {

using meta::Property;
using meta::PropertyKind;

/// What cannot be read cannot be read wrongly.
void addTo(Effect& effect, Effect other) {
  if (effect != Effect::refused) effect = std::max(effect, other);
}

void addTo(Effects& effects, const Effects& others) {
  addTo(effects.krb, others.krb);
  addTo(effects.krt, others.krt);
  addTo(effects.xmi, others.xmi);
  addTo(effects.krz, others.krz);
}

/// Whether fewer values are allowed than were, or more are asked for.
bool isTighter(Property before, Property after) {
  const bool demands = after->getLower() > before->getLower() && !after->getDefaultText();
  const bool ends = after->isMany() && after->getUpper() >= 0;
  return demands || (ends && (before->getUpper() < 0 || before->getUpper() > after->getUpper()));
}

constexpr Effects kIncomplete{Effect::incomplete, Effect::incomplete, Effect::incomplete, Effect::incomplete};

std::string numberText(Property property) { return std::to_string(property->getIdentifier()); }

std::string boundsOf(Property property) {
  const std::string upper = property->getUpper() < 0 ? "*" : std::to_string(property->getUpper());
  return std::to_string(property->getLower()) + ".." + upper;
}

/// Bytes that are taken for others are refused, unless they happen to be what is expected.
constexpr const char* kMisread = "that use it are refused, or show nonsense where their bytes happen to fit";

bool isMisread(Property before, Property after) {
  const ValueForm from = formOf(before);
  const ValueForm into = formOf(after);
  return !haveSameFrame(from, into) || from.width() != into.width();
}

std::string shownText(Property before, Property after) {
  if (before->isComposite() && after->isComposite())
    return "children whose class they leave to the meta model as " + after->getType()->qualifiedName();
  if (before->getTarget()) return "the places of what it refers to as texts";
  if (before->getKind() == PropertyKind::text && !before->isMany() && after->isMany())
    return "each word of a text as a value of its own";
  return "its values as values of " + after->getType()->qualifiedName();
}

/// What follows where values are read as those of another form.
Consequences afterReforming(Property before, Property after) {
  Consequences consequences;
  consequences.shown = shownText(before, after);
  consequences.lacking = "may have fewer or more values than is asked for now";
  if (isMisread(before, after)) consequences.refusedDirect = kMisread;
  if (after->isTransient()) return consequences;
  const bool isPrimitive = meta::isPrimitive(before->getKind());
  const bool isSameType = before->getType()->qualifiedName() == after->getType()->qualifiedName();
  if (isPrimitive && isSameType && before->isOptional() && !after->isMany())
    consequences.refused = "in which it is explicitly empty are refused, and others may lack it";
  else if (isPrimitive && before->isMany() == after->isMany())
    consequences.refused = "with values that do not fit are refused";
  else if (before->getTarget() && after->getTarget() && before->isMany() == after->isMany() &&
           before->isComposite() == after->isComposite())
    consequences.refused = consequences.refusedDirect = "with elements that do not fit are refused";
  return consequences;
}

/// A marker as it was and is, and the change in words.
struct Words {
  std::string before;
  std::string after;
  std::string happened;
};

Words wordsOfOrder(bool isOrdered) {
  if (isOrdered) return {"unordered", "ordered", "the order of its values has a meaning now"};
  return {"ordered", "unordered", "the order of its values has no meaning now"};
}

Words wordsOfUniqueness(bool isUnique) {
  if (isUnique) return {"not unique", "unique", "a value may occur once only now"};
  return {"unique", "not unique", "a value may occur more than once now"};
}

Words wordsOfDefaults(Property before, Property after) {
  const auto text = [](Property property) {
    const auto& given = property->getDefaultText();
    return given ? '"' + *given + '"' : std::string("none");
  };
  return {text(before), text(after),
          "its default, which is what unset values show, was " + text(before) + " and is " + text(after) +
              " now"};
}

std::string nameOfOpposite(Property property) {
  const Property opposite = property->getOpposite();
  return opposite ? opposite->name() : std::string();
}

Words wordsOfOpposites(Property before, Property after) {
  const std::string now = nameOfOpposite(after);
  return {nameOfOpposite(before), now,
          now.empty() ? "it has no opposite now" : "its opposite is " + now + " now"};
}

/// Whether what it refers to has to refer back.
bool mustBeReferredTo(Property property) {
  const Property opposite = property->getOpposite();
  return opposite && opposite->isStored() && property->getKind() == PropertyKind::association;
}

/// What follows where a number is another property's now.
Consequences afterReuse(Property before, Property taker) {
  Consequences consequences;
  if (!taker) return consequences;
  consequences.shown = before->name() + " as " + taker->name();
  if (isMisread(before, taker)) consequences.refusedDirect = kMisread;
  return consequences;
}

}  // namespace

void PropertyDiff::compare(const PropertyMatch& fate, const std::string& subject, const Report& report) {
  if (!fate.named) return reportGone(fate, subject, report);
  if (!fate.named->isStored()) return reportUnstored(fate, subject, report);
  compareNumbers(fate, subject, report);
  compareForms(fate, subject, report);
  compareMarkers(fate, subject, report);
}

Effects PropertyDiff::lackOf(Property added) {
  const bool isDemanded = added->isStored() && added->getLower() > 0 && !added->getDefaultText();
  return isDemanded ? kIncomplete : Effects{};
}

// --- Effects

bool PropertyDiff::holdSameType(Property before, Property after) const {
  return types_.find(before->getType()) == after->getType();
}

bool PropertyDiff::targetFits(Property before, Property after) const {
  const meta::Class target(types_.find(before->getType()));
  return target && target->conformsTo(after->getTarget());
}

bool PropertyDiff::targetsMeet(Property before, Property after) const {
  const meta::Class target(types_.find(before->getType()));
  return target && (target->conformsTo(after->getTarget()) || after->getTarget()->conformsTo(target));
}

const Effects& PropertyDiff::literalsReadAs(meta::Type before, meta::Type after) {
  const auto [known, isNew] = literals_.try_emplace(Readings(before.get(), after.get()));
  if (isNew) known->second = worstFate(meta::Enum(before), meta::Enum(after));
  return known->second;
}

/// What literals, classes and datatypes add to it.
void PropertyDiff::refine(Effects& effects, Property before, Property after) {
  if (before->getKind() != after->getKind() || holdSameType(before, after)) return;
  switch (before->getKind()) {
    case PropertyKind::enumeration:
      return addTo(effects, literalsReadAs(before->getType(), after->getType()));
    case PropertyKind::composition:
    case PropertyKind::association:
      if (!targetFits(before, after)) effects = kRefused;
      if (before->isComposite()) refineImplied(effects.xmi, before, after);
      return;
    case PropertyKind::datatype:
      // The parts have numbers and names of their own, and may well be there.
      return addTo(effects, {Effect::wrong, Effect::refused, Effect::refused, Effect::refused});
    default:
      return;
  }
}

/// XMI says the class of a child only where it is not that of the property.
void PropertyDiff::refineImplied(Effect& effect, Property before, Property after) {
  if (before->getTarget()->isAbstract()) return;
  effect = after->getTarget()->isAbstract() ? Effect::refused : Effect::wrong;
}

Effects PropertyDiff::readAs(Property before, Property after) {
  const ValueForm from = formOf(before);
  const ValueForm into = formOf(after);
  Effects effects{readDirect(from, into), readTagged(from, into), readXmi(from, into), carryOver(from, into)};
  refine(effects, before, after);
  if (isTighter(before, after)) addTo(effects, kIncomplete);
  if (after->isTransient()) effects.xmi = Effect::refused;
  return effects;
}

Effect PropertyDiff::readAsAnother(Property before, Property after) {
  if (!after->isStored()) return Effect::refused;  // such a number stands alone
  const bool holdsElements = before->getTarget() && after->getTarget();
  if (holdsElements && !targetsMeet(before, after)) return Effect::refused;
  const bool isRead = readDirect(formOf(before), formOf(after)) != Effect::refused;
  return isRead ? Effect::wrong : Effect::refused;
}

// --- Reports

void PropertyDiff::reportGone(const PropertyMatch& fate, const std::string& subject, const Report& report) {
  if (!fate.numbered)
    return report({ChangeKind::propertyRemoved,
                   subject,
                   describe(fate.before),
                   {},
                   kRefused,
                   tell("the property is gone", kRefused)});
  Effects effects = kRefused;
  effects.krb = readAsAnother(fate.before, fate.numbered);
  report({ChangeKind::numberReused, subject, describe(fate.before), describe(fate.numbered), effects,
          tell("number " + numberText(fate.before) + " was " + fate.before->name() + " and is " +
                   fate.numbered->name() + " now",
               effects, afterReuse(fate.before, fate.numbered))});
}

void PropertyDiff::reportUnstored(const PropertyMatch& fate, const std::string& subject,
                                  const Report& report) {
  Effects effects = kRefused;
  if (fate.numbered) effects.krb = readAsAnother(fate.before, fate.numbered);
  report({ChangeKind::storageChanged, subject, describe(fate.before), describe(fate.named), effects,
          tell("it has no stored value now", effects, afterReuse(fate.before, fate.numbered))});
}

void PropertyDiff::compareNumbers(const PropertyMatch& fate, const std::string& subject,
                                  const Report& report) {
  const Property before = fate.before;
  const bool isRenamed = before->name() != fate.named->name();
  if (isRenamed) {
    const Effects effects{Effect::nothing, Effect::refused, Effect::refused, Effect::refused};
    report({ChangeKind::propertyRenamed, subject, describe(before), describe(fate.named), effects,
            tell("it is called " + fate.named->name() + " now", effects)});
  }
  if (fate.named == fate.numbered) return;
  Effects effects{Effect::refused, Effect::nothing, Effect::nothing, Effect::nothing};
  std::string happened =
      "its number was " + numberText(before) + " and is " + numberText(fate.named) + " now";
  if (fate.numbered) {
    effects.krb = readAsAnother(before, fate.numbered);
    happened += ", and number " + numberText(before) + " is " + fate.numbered->name();
  }
  report({ChangeKind::propertyRenumbered, subject, describe(before), describe(fate.named), effects,
          tell(happened, effects, afterReuse(before, fate.numbered))});
}

/// Type, bounds and containment. A direct document goes by the number, so they count there if that is the
/// same.
void PropertyDiff::compareForms(const PropertyMatch& fate, const std::string& subject, const Report& report) {
  const Property before = fate.before;
  const Property after = fate.named;
  const bool isSameType = holdSameType(before, after);
  const bool isSameKind = before->getKind() == after->getKind();
  const bool areSameBounds =
      before->getLower() == after->getLower() && before->getUpper() == after->getUpper();
  if (isSameType && isSameKind && areSameBounds && !after->isTransient()) return;
  Effects effects = readAs(before, after);
  if (!(after == fate.numbered)) effects.krb = Effect::nothing;
  ChangeKind kind = ChangeKind::propertyBoundsChanged;
  std::string happened = "its bounds changed";
  if (!isSameType) {
    kind = ChangeKind::propertyTypeChanged;
    happened = "its type was " + before->getType()->qualifiedName() + " and is " +
               after->getType()->qualifiedName() + " now";
  } else if (!isSameKind) {
    kind = ChangeKind::containmentChanged;
    happened =
        after->isComposite() ? "it contains now what it referred to" : "it refers now to what it contained";
  } else if (areSameBounds) {
    kind = ChangeKind::storageChanged;
    happened = "it is held in memory only now, and saving again leaves it out";
  } else {
    happened = "its bounds were " + boundsOf(before) + " and are " + boundsOf(after) + " now";
  }
  report({kind, subject, describe(before), describe(after), effects,
          tell(happened, effects, afterReforming(before, after))});
}

/// What readers do not look at.
void PropertyDiff::compareMarkers(const PropertyMatch& fate, const std::string& subject,
                                  const Report& report) {
  const auto add = [&](ChangeKind kind, const Words& words, const Effects& effects, const char* lacking) {
    report({kind, subject, words.before, words.after, effects,
            tell(words.happened, effects, {.shown = {}, .lacking = lacking})});
  };
  const Property before = fate.before;
  const Property after = fate.named;
  if (before->isMany() && after->isMany() && before->isOrdered() != after->isOrdered())
    add(ChangeKind::orderedChanged, wordsOfOrder(after->isOrdered()), {}, "");
  if (before->isMany() && after->isMany() && before->isUnique() != after->isUnique())
    add(ChangeKind::uniqueChanged, wordsOfUniqueness(after->isUnique()),
        after->isUnique() ? kIncomplete : Effects{}, "may hold a value twice");
  if (before->getDefaultText() != after->getDefaultText())
    add(ChangeKind::defaultChanged, wordsOfDefaults(before, after),
        after->getLower() > 0 && !after->getDefaultText() ? kIncomplete : Effects{},
        "may lack it, and it is required");
  if (nameOfOpposite(before) != nameOfOpposite(after))
    add(ChangeKind::oppositeChanged, wordsOfOpposites(before, after),
        mustBeReferredTo(after) ? kIncomplete : Effects{}, "may refer in one direction only");
}

}  // namespace kr::zero::evolution
