/// @file
/// Rules for carrying models over to a changed meta model, beyond what equal names say: what has another name
/// now, what may be left out, and what stands where nothing was said. docs/formats/change-map.md tells how
/// they look in a file.
///
///     kr::zero::evolution::ChangeMap map;
///     map.rename["shelf.Book.pages"] = "sheets";
///     map.drop.insert("shelf.Pamphlet");
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "kr/zero/evolution/export.h"

namespace kr::zero::evolution {

/// Rules as data; names are qualified ("shelf.Book"), UTF-8. Whether they fit two meta models is looked at
/// when they are used.
struct ChangeMap {
  /// Old package to new one. What is nested in the old one goes along, unless it has a rule of its own.
  std::map<std::string, std::string> packages = {};
  /// Old type to new type ("shelf.Book" to "library.Volume"), and property of an old type to the name of a
  /// property of the new one ("shelf.Book.pages" to "sheets"). A rule for a property of a class holds for the
  /// classes that inherit from it too; the nearest class counts.
  std::map<std::string, std::string> rename = {};
  /// Literal of an old enumeration to the name of one of the new ("shelf.Colour.blue" to "azure").
  std::map<std::string, std::string> literals = {};
  /// What of the old meta model may be left out: classes (with all that their elements contain), properties,
  /// literals.
  std::set<std::string> drop = {};
  /// Property of a new type to the text that it gets where it is unset: numbers, texts, Booleans, literals by
  /// name.
  std::map<std::string, std::string> defaults = {};

  /// Whether there is no rule.
  bool empty() const noexcept {
    return packages.empty() && rename.empty() && literals.empty() && drop.empty() && defaults.empty();
  }
  /// Whether both say the same.
  friend bool operator==(const ChangeMap&, const ChangeMap&) = default;
};

/// Reads the JSON of a change map. Nothing in it is trusted: size and depth cost no more than the text does.
/// @param name what errors call the text.
/// @throws Error (ErrorCode::damaged) for what is no JSON, (ErrorCode::doesNotFit) for an unknown or repeated
///   key, a value of another kind, or another version.
KR0_EVOLUTION_API ChangeMap parseChangeMap(std::string_view json, const std::string& name = "the change map");

/// The JSON of a change map: one rule a line, sorted, ready to be edited. Sections without rules are left
/// out.
KR0_EVOLUTION_API std::string toJson(const ChangeMap& map);

}  // namespace kr::zero::evolution
