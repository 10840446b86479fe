/// @file
/// Internal: what becomes of the values of one property.
#pragma once

#include <map>
#include <utility>

#include "LiteralDiff.h"
#include "TypeMatch.h"
#include "ValueForm.h"
#include "kr/zero/evolution/SchemaDiff.h"

namespace kr::zero::evolution {

/// Of what no old document survives.
inline constexpr Effects kRefused{Effect::refused, Effect::refused, Effect::refused, Effect::refused};

/// An old property in an old type, and what there is of it in the type's new version.
struct PropertyMatch {
  meta::Property before;    ///< is written
  meta::Property named;     ///< of its name, or of its new one; may be empty
  meta::Property numbered;  ///< of its number; may be empty, and the same
  friend bool operator==(const PropertyMatch&, const PropertyMatch&) = default;
};

class PropertyDiff {
 public:
  explicit PropertyDiff(const TypeMatch& types) : types_(types) {}

  /// Reports all that changed about a property.
  /// @param subject what reports call it.
  void compare(const PropertyMatch& fate, const std::string& subject, const Report& report);

  /// What old elements lack in a property that they did not have.
  static Effects lackOf(meta::Property added);

 private:
  using Readings = std::pair<const meta::Type::Impl*, const meta::Type::Impl*>;

  /// The effect on values that are read as those of a property of the same name and number.
  Effects readAs(meta::Property before, meta::Property after);
  /// The effect on a direct document where a number is another property's now.
  Effect readAsAnother(meta::Property before, meta::Property after);
  void refine(Effects& effects, meta::Property before, meta::Property after);
  static void refineImplied(Effect& effect, meta::Property before, meta::Property after);
  const Effects& literalsReadAs(meta::Type before, meta::Type after);
  bool holdSameType(meta::Property before, meta::Property after) const;
  bool targetFits(meta::Property before, meta::Property after) const;
  bool targetsMeet(meta::Property before, meta::Property after) const;

  void compareNumbers(const PropertyMatch& fate, const std::string& subject, const Report& report);
  void compareForms(const PropertyMatch& fate, const std::string& subject, const Report& report);
  void compareMarkers(const PropertyMatch& fate, const std::string& subject, const Report& report);
  void reportGone(const PropertyMatch& fate, const std::string& subject, const Report& report);
  void reportUnstored(const PropertyMatch& fate, const std::string& subject, const Report& report);

  const TypeMatch& types_;
  std::map<Readings, Effects> literals_;
};

}  // namespace kr::zero::evolution
