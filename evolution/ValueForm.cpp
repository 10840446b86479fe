#include "ValueForm.h"

#include <algorithm>

namespace kr::zero::evolution {

namespace {

using meta::PropertyKind;
using meta::StandardKind;
using meta::StandardTypeInfo;

/// Whether every whole number of one type is one of the other.
bool holdsAll(const StandardTypeInfo& before, const StandardTypeInfo& after) noexcept {
  if (before.kind == after.kind) return before.width <= after.width;
  return before.kind == StandardKind::unsignedInteger && before.width < after.width;
}

/// Numbers that travel by their value and not by their bytes.
/// @param intoReal what becomes of a whole number where a real one is expected.
Effect readNumber(const ValueForm& before, const ValueForm& after, Effect intoReal) noexcept {
  if (before.standard == after.standard) return Effect::nothing;
  const StandardTypeInfo& from = meta::infoOf(before.standard);
  const StandardTypeInfo& into = meta::infoOf(after.standard);
  if (from.isInteger() && into.isInteger()) return holdsAll(from, into) ? Effect::nothing : Effect::refused;
  return from.isInteger() && into.kind == StandardKind::real ? intoReal : Effect::refused;
}

/// A real number has 53 bits for the digits of a whole one.
bool fitsReal(const ValueForm& form) noexcept { return form.width() <= 4; }

/// Texts, and what travels as one.
Effect readText(const ValueForm& before, const ValueForm& after) noexcept {
  return before.kind == after.kind || after.kind == PropertyKind::text ? Effect::nothing : Effect::refused;
}

bool isTextual(const ValueForm& form) noexcept {
  return form.kind == PropertyKind::text || form.kind == PropertyKind::uuid ||
         form.kind == PropertyKind::dateTime;
}

/// Where nothing may be explicitly empty any more.
bool losesEmptiness(const ValueForm& before, const ValueForm& after) noexcept {
  return before.isPrimitive() && before.isOptional && !after.isOptional && !after.isMany;
}

}  // namespace

unsigned ValueForm::width() const noexcept {
  if (kind == PropertyKind::enumeration) return meta::infoOf(meta::StandardType::integer).width;
  return kind == PropertyKind::number ? meta::infoOf(standard).width : 0;
}

ValueForm formOf(meta::Property property) {
  return {property->getKind(), property->getStandardType(), property->isMany(), property->isOptional(),
          property->getType()->qualifiedName()};
}

bool haveSameFrame(const ValueForm& before, const ValueForm& after) noexcept {
  if (before.isPrimitive() != after.isPrimitive()) return false;
  if (before.isPrimitive()) return before.isMany == after.isMany && before.isOptional == after.isOptional;
  if (before.kind != after.kind) return false;
  // Each child has the key before it; references of a collection have a count.
  return before.kind == PropertyKind::association ? before.isMany == after.isMany
                                                  : !before.isMany || after.isMany;
}

Effect readDirect(const ValueForm& before, const ValueForm& after) noexcept {
  if (!haveSameFrame(before, after) || before.width() != after.width()) return Effect::refused;
  if (!before.isPrimitive()) return Effect::nothing;
  if (before.width() == 0) return readText(before, after);
  const bool isSame = before.kind == after.kind && before.standard == after.standard;
  return isSame ? Effect::nothing : Effect::wrong;
}

Effect readTagged(const ValueForm& before, const ValueForm& after) noexcept {
  if (before.isPrimitive() != after.isPrimitive() || before.isMany != after.isMany) return Effect::refused;
  if (!before.isPrimitive()) return before.kind == after.kind ? Effect::nothing : Effect::refused;
  if (losesEmptiness(before, after)) return Effect::refused;
  const bool wasNumber = before.kind == PropertyKind::number;
  if (wasNumber != (after.kind == PropertyKind::number)) return Effect::refused;
  return wasNumber ? readNumber(before, after, Effect::refused) : readText(before, after);
}

Effect readXmi(const ValueForm& before, const ValueForm& after) noexcept {
  // References stand in an attribute, and any attribute is a text. An empty text is an empty element, as a
  // child is.
  if (before.kind == PropertyKind::association && after.kind == PropertyKind::text) return Effect::wrong;
  if (before.kind == PropertyKind::text && before.isMany && after.kind == PropertyKind::composition)
    return Effect::wrong;
  const bool isCut = before.isMany && !after.isMany;
  if (!before.isPrimitive() || !after.isPrimitive())
    return before.kind == after.kind && !isCut ? Effect::nothing : Effect::refused;
  Effect effect = isCut ? Effect::refused : Effect::nothing;
  if (before.isOptional && !after.isOptional) effect = Effect::refused;  // xsi:nil
  if (after.kind != PropertyKind::text) {
    const bool areNumbers = before.kind == PropertyKind::number && after.kind == PropertyKind::number;
    effect = std::max(
        effect, areNumbers ? readNumber(before, after, fitsReal(before) ? Effect::nothing : Effect::wrong)
                           : readText(before, after));
  }
  // A single value stands in an attribute, and blanks in an attribute divide the values of a collection.
  const bool fallsApart = !before.isMany && after.isMany && before.kind == PropertyKind::text;
  return fallsApart ? Effect::wrong : effect;
}

Effect carryOver(const ValueForm& before, const ValueForm& after) noexcept {
  if (before.isPrimitive() != after.isPrimitive() || (before.isMany && !after.isMany)) return Effect::refused;
  if (losesEmptiness(before, after)) return Effect::refused;
  if (isTextual(before) && isTextual(after)) return readText(before, after);
  if (before.kind != after.kind) return Effect::refused;
  if (before.kind != PropertyKind::number) return Effect::nothing;
  return readNumber(before, after, fitsReal(before) ? Effect::nothing : Effect::refused);
}

}  // namespace kr::zero::evolution
