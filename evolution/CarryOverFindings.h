/// @file
/// Internal: what happened to elements and values, gathered by what and where.
#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/evolution/CarryOverReport.h"

namespace kr::zero::evolution {

/// What can happen.
enum class Event : std::uint8_t {
  typeGone,         ///< an element whose class has no counterpart
  placeGone,        ///< an element whose place is left out
  propertyGone,     ///< a value whose property has no counterpart
  notExact,         ///< a value that the new type does not have
  literalGone,      ///< an enumeration's value without counterpart
  noRoom,           ///< one of several values where one can be
  misfit,           ///< an element of a class that does not fit
  targetGone,       ///< a reference to what is left out
  targetElsewhere,  ///< a reference that should contain what has its place elsewhere
  released,         ///< a child that became a root
  claimed,          ///< a reference that became a child
  cannotBeEmpty,    ///< an explicitly empty value where there is no such state
  required,         ///< nothing where something is required
  tooMany,          ///< more values than the upper bound
  defaultChanged,   ///< unset, and the default is another
  defaultGiven,     ///< unset, and a rule gave it a value
};

/// What a finding is about: a type, or a property that it declares.
struct Subject {
  std::uint32_t type;
  std::uint32_t place =
      0;  ///< 0: the type itself; else the property's position among those of the type, from 1
  std::uint32_t row = 0;  ///< tells rows of one property apart
  friend auto operator<=>(const Subject&, const Subject&) = default;
};

inline Subject subjectOf(meta::Type type) { return {.type = type->getIndex()}; }
inline Subject subjectOf(meta::Property property, std::uint32_t row = 0) {
  return {.type = property->getOwner()->getIndex(), .place = property->getPosition() + 1, .row = row};
}

/// What findings are told apart by, and ordered by: subjects come in the order of their meta model.
struct FindingKey {
  Subject subject;
  Event event;
  std::uint64_t detail = 0;  ///< tells cases apart that have sentences of their own
  bool asked = false;        ///< a rule of the map asked for it
  friend auto operator<=>(const FindingKey&, const FindingKey&) = default;
};

/// Findings by their keys.
class Findings {
 public:
  /// @param describe makes the finding without count and paths, when it comes up first.
  /// @param where names the place, for the first few; empty: there is none.
  template <class Describe>
  void note(const FindingKey& key, std::uint64_t count, Describe&& describe, ConstElement where = {}) {
    const auto [place, isNew] = entries_.try_emplace(key);
    Entry& entry = place->second;
    if (isNew) {
      entry.finding = describe();
      entry.finding.asked = key.asked;
    }
    entry.finding.count += count;
    if (!where || entry.last == where) return;
    entry.last = where;
    if (entry.finding.paths.size() == kShownPaths || paths_ == kMostPaths) {
      entry.finding.hasMore = true;
      return;
    }
    entry.finding.paths.push_back(where.getPath());
    ++paths_;
  }
  std::vector<Finding> take() {
    std::vector<Finding> findings;
    for (auto& [key, entry] : entries_) findings.push_back(std::move(entry.finding));
    return findings;
  }

 private:
  struct Entry {
    Finding finding;
    ConstElement last;  // where it came up last: an element is named once
  };
  static constexpr std::size_t kShownPaths = 3;
  static constexpr std::size_t kMostPaths = 3000;  // of all findings: each is looked for among siblings
  std::size_t paths_ = 0;
  std::map<FindingKey, Entry> entries_;
};

}  // namespace kr::zero::evolution
