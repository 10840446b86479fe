#include "kr/zero/evolution/DraftMap.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <numeric>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "CarryOverRules.h"
#include "CarryOverValues.h"
#include "kr/zero/TextHash.h"

namespace kr::zero::evolution {

namespace {

using meta::Property;
using meta::Type;

/// So many candidates are looked at for one name: what bounds the time.
constexpr std::size_t kMostCandidates = 64;
/// Letters of a name that are compared.
constexpr std::size_t kMostLetters = 64;
/// Names that are less similar than this, from 0 to 1, are different names.
constexpr double kSimilar = 0.6;

/// Letters and digits in lower case; what is not ASCII as it is.
std::string normalised(std::string_view name) {
  std::string letters;
  for (const char c : name.substr(0, kMostLetters)) {
    if (c >= 'A' && c <= 'Z')
      letters += static_cast<char>(c - 'A' + 'a');
    else if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || static_cast<unsigned char>(c) >= 0x80)
      letters += c;
  }
  return letters;
}

/// Letters to insert, take out or exchange until one text is the other.
std::size_t editDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t k = 0; k < b.size(); ++k) {
      const std::size_t exchanged = diagonal + (a[i] == b[k] ? 0 : 1);
      diagonal = row[k + 1];
      row[k + 1] = std::min({exchanged, row[k] + 1, diagonal + 1});
    }
  }
  return row.back();
}

/// 1 for equal names but for case and marks, 0 for names that have nothing in common.
double similarity(std::string_view one, std::string_view other) {
  const std::string a = normalised(one), b = normalised(other);
  const std::size_t longest = std::max(a.size(), b.size());
  if (longest == 0) return 0;
  // A name that the other begins or ends with is likely to be the same thing in more or fewer words.
  const std::string &inner = a.size() < b.size() ? a : b, &outer = a.size() < b.size() ? b : a;
  const bool isPart = inner.size() >= 4 && (outer.starts_with(inner) || outer.ends_with(inner));
  const double score = 1 - static_cast<double>(editDistance(a, b)) / static_cast<double>(longest);
  return isPart ? std::max(score, kSimilar) : score;
}

std::string percent(double share) { return std::to_string(std::lround(share * 100)) + " %"; }

/// Names of what a type is made of.
std::vector<std::string_view> membersOf(Type type) {
  std::vector<std::string_view> names;
  if (const meta::StructuredType structured(type); structured)
    for (const Property property : structured->getOwnedAttributes()) names.push_back(property->name());
  if (const meta::Enum enumeration(type); enumeration)
    for (const meta::EnumLiteral& literal : enumeration->getLiterals()) names.push_back(literal.name);
  std::sort(names.begin(), names.end());
  return names;
}

/// What two types have in common of what either has.
double sharedMembers(Type a, Type b) {
  const auto one = membersOf(a), other = membersOf(b);
  std::vector<std::string_view> shared;
  std::set_intersection(one.begin(), one.end(), other.begin(), other.end(), std::back_inserter(shared));
  const std::size_t all = one.size() + other.size() - shared.size();
  return all == 0 ? 0 : static_cast<double>(shared.size()) / static_cast<double>(all);
}

/// A pair that may be one thing under two names.
struct Match {
  std::size_t from = 0;
  std::size_t to = 0;
  double score = 0;
  std::string reason = {};
};

/// The best pairs in which everything stands once.
std::vector<Match> chooseBest(std::vector<Match> matches) {
  std::stable_sort(matches.begin(), matches.end(), [](const Match& a, const Match& b) {
    return std::make_pair(-a.score, std::make_pair(a.from, a.to)) <
           std::make_pair(-b.score, std::make_pair(b.from, b.to));
  });
  std::set<std::size_t> from, to;
  std::vector<Match> chosen;
  for (Match& match : matches) {
    if (from.count(match.from) != 0 || to.count(match.to) != 0) continue;
    from.insert(match.from);
    to.insert(match.to);
    chosen.push_back(std::move(match));
  }
  std::sort(chosen.begin(), chosen.end(), [](const Match& a, const Match& b) { return a.from < b.from; });
  return chosen;
}

class Drafter {
 public:
  Drafter(const meta::MetaRegistry& from, const meta::MetaRegistry& to) : from_(from), to_(to) {}

  DraftMap run() {
    matchPackages();
    matchTypes();
    for (const auto& [old, now] : pairs_) matchMembers(old, now);
    return std::move(draft_);
  }

 private:
  void propose(std::map<std::string, std::string>& rules, std::string from, std::string to,
               std::string reason) {
    rules[from] = to;
    draft_.proposals.push_back({std::move(from), std::move(to), std::move(reason)});
  }

  // Packages: the same URI, else the one that has most of the types.

  void matchPackages() {
    const auto before = from_.getPackages(), now = to_.getPackages();
    std::set<std::string> known;
    for (const meta::PackageInfo& package : before) known.insert(package.qualifiedName);
    std::vector<const meta::PackageInfo*> fresh;
    for (const meta::PackageInfo& package : now)
      if (known.count(package.qualifiedName) == 0) fresh.push_back(&package);
    std::set<std::string> there;
    for (const meta::PackageInfo& package : now) there.insert(package.qualifiedName);
    for (const meta::PackageInfo& package : before)
      if (there.count(package.qualifiedName) == 0) matchPackage(package, fresh);
  }

  void matchPackage(const meta::PackageInfo& old, std::vector<const meta::PackageInfo*>& fresh) {
    std::set<std::string_view> names;
    for (const Type type : old.types) names.insert(type->name());
    std::size_t best = fresh.size(), most = 0;
    for (std::size_t i = 0; i < std::min(fresh.size(), kMostCandidates); ++i) {
      if (fresh[i]->uri == old.uri) {
        propose(draft_.map.packages, old.qualifiedName, fresh[i]->qualifiedName, "same URI " + old.uri);
        fresh.erase(fresh.begin() + static_cast<std::ptrdiff_t>(i));
        return;
      }
      const auto shared =
          static_cast<std::size_t>(std::count_if(fresh[i]->types.begin(), fresh[i]->types.end(),
                                                 [&](Type t) { return names.count(t->name()) != 0; }));
      if (shared > most) best = i, most = shared;
    }
    if (best == fresh.size() || 2 * most < old.types.size()) return;
    propose(draft_.map.packages, old.qualifiedName, fresh[best]->qualifiedName,
            std::to_string(most) + " of " + std::to_string(old.types.size()) + " types have the same names");
    fresh.erase(fresh.begin() + static_cast<std::ptrdiff_t>(best));
  }

  /// What a type is called in the new meta model if only its package has another name.
  std::string nameAfterPackages(Type type) const {
    const std::string& name = type->qualifiedName();
    std::string_view outer = name;
    for (std::size_t dot = outer.rfind('.'); dot != std::string_view::npos; dot = outer.rfind('.')) {
      outer = outer.substr(0, dot);
      if (const auto found = draft_.map.packages.find(std::string(outer)); found != draft_.map.packages.end())
        return found->second + name.substr(outer.size());
    }
    return name;
  }

  // Types: those of one sort that share their name, a similar name, or members.

  void matchTypes() {
    std::vector<Type> missing, fresh;
    std::set<const Type::Impl*> taken;
    for (const meta::PackageInfo& package : from_.getPackages()) {
      for (const Type type : package.types) {
        const Type now = to_.findType(nameAfterPackages(type));
        if (now && isSameSort(type, now)) {
          taken.insert(now.get());
          pairs_.emplace_back(type, now);
        } else {
          missing.push_back(type);
        }
      }
    }
    for (const meta::PackageInfo& package : to_.getPackages())
      for (const Type type : package.types)
        if (taken.count(type.get()) == 0) fresh.push_back(type);
    const std::vector<Match> matches = chooseBest(candidates(missing, fresh));
    std::vector<bool> isMatched(missing.size());
    for (const Match& match : matches) {
      const Type old = missing[match.from], now = fresh[match.to];
      isMatched[match.from] = true;
      propose(draft_.map.rename, old->qualifiedName(), now->qualifiedName(), match.reason);
      pairs_.emplace_back(old, now);
    }
    for (std::size_t i = 0; i < missing.size(); ++i)
      if (!isMatched[i]) draft_.unmatched.push_back(missing[i]->qualifiedName());
  }

  using Index = std::unordered_map<std::string_view, std::vector<std::size_t>, TextHash>;

  std::vector<Match> candidates(const std::vector<Type>& missing, const std::vector<Type>& fresh) const {
    Index byName, byMember;
    for (std::size_t i = 0; i < fresh.size(); ++i) {
      byName[fresh[i]->name()].push_back(i);
      for (const std::string_view member : membersOf(fresh[i])) byMember[member].push_back(i);
    }
    std::vector<Match> matches;
    for (std::size_t i = 0; i < missing.size(); ++i) {
      std::set<std::size_t> found;
      const auto look = [&](const Index& index, std::string_view key) {
        const auto place = index.find(key);
        if (place == index.end()) return;
        for (std::size_t k = 0; k < place->second.size() && found.size() < kMostCandidates; ++k)
          found.insert(place->second[k]);
      };
      look(byName, missing[i]->name());
      for (const std::string_view member : membersOf(missing[i])) look(byMember, member);
      // Types that share nothing may still have similar names: the next ones in the order of declaration.
      const std::size_t near =
          std::min(i, fresh.size()) - std::min(i, std::min(kMostCandidates / 2, fresh.size()));
      for (std::size_t k = near; k < fresh.size() && found.size() < kMostCandidates; ++k) found.insert(k);
      for (const std::size_t k : found) addMatch(matches, i, missing[i], k, fresh[k]);
    }
    return matches;
  }

  static void addMatch(std::vector<Match>& matches, std::size_t from, Type old, std::size_t to, Type now) {
    if (!isSameSort(old, now)) return;
    if (old->name() == now->name()) {
      matches.push_back({from, to, 2, "same name in another package"});
      return;
    }
    const double names = similarity(old->name(), now->name()), members = sharedMembers(old, now);
    const double score = std::max(names, members) + std::min(names, members) / 2;
    if (names < kSimilar && members < kSimilar) return;
    std::string reason = "names alike by " + percent(names);
    if (members > 0) reason += ", members shared by " + percent(members);
    matches.push_back({from, to, score, std::move(reason)});
  }

  // Members of two types that are one.

  void matchMembers(Type old, Type now) {
    if (const meta::StructuredType a(old), b(now); a && b) matchProperties(a, b);
    if (const meta::Enum a(old), b(now); a && b) matchLiterals(a, b);
  }

  void matchProperties(meta::StructuredType old, meta::StructuredType now) {
    std::vector<Property> missing, fresh;
    for (const Property property : old->getOwnedAttributes())
      if (property->isStored() && !now->findProperty(property->name())) missing.push_back(property);
    if (missing.empty()) return;
    for (const Property property : now->getOwnedAttributes())
      if (property->isStored() && !old->findProperty(property->name())) fresh.push_back(property);
    std::unordered_map<std::uint32_t, std::size_t, NumberHash> byNumber;
    for (std::size_t i = 0; i < fresh.size(); ++i) byNumber[fresh[i]->getIdentifier()] = i;
    std::vector<Match> matches;
    for (std::size_t i = 0; i < missing.size(); ++i) {
      if (const auto same = byNumber.find(missing[i]->getIdentifier()); same != byNumber.end())
        addNumberMatch(matches, i, missing[i], same->second, fresh[same->second]);
      const std::size_t first = i - std::min(i, kMostCandidates / 2);
      for (std::size_t k = first; k < fresh.size() && k < first + kMostCandidates; ++k)
        addNameMatch(matches, i, missing[i], k, fresh[k]);
    }
    addLonelyMatches(matches, missing, fresh);
    adopt(
        chooseBest(std::move(matches)), old, missing, [&](std::size_t i) { return fresh[i]->name(); },
        draft_.map.rename);
  }

  /// Two properties that are the only ones of their type on either side, whatever their names, where that
  /// type is one of the meta model's own.
  void addLonelyMatches(std::vector<Match>& matches, const std::vector<Property>& missing,
                        const std::vector<Property>& fresh) const {
    std::map<std::string, std::vector<std::size_t>> before, now;
    for (std::size_t i = 0; i < missing.size(); ++i) before[nameInNew(missing[i]->getType())].push_back(i);
    for (std::size_t k = 0; k < fresh.size(); ++k) now[fresh[k]->getType()->qualifiedName()].push_back(k);
    for (const auto& [type, ones] : before) {
      const auto others = now.find(type);
      if (ones.size() != 1 || others == now.end() || others->second.size() != 1) continue;
      const Property old = missing[ones[0]], fitting = fresh[others->second[0]];
      const bool hasOwnType = meta::Enum(old->getType()) || meta::StructuredType(old->getType());
      if (!hasOwnType || static_cast<bool>(old->getTarget()) != static_cast<bool>(fitting->getTarget()))
        continue;
      matches.push_back({ones[0], others->second[0], 0.4, "the only ones of the type " + type});
    }
  }

  std::string nameInNew(Type old) const {
    const auto renamed = draft_.map.rename.find(old->qualifiedName());
    return renamed != draft_.map.rename.end() ? renamed->second : nameAfterPackages(old);
  }

  bool isSameType(Type old, Type now) const { return old == now || nameInNew(old) == now->qualifiedName(); }

  void addNumberMatch(std::vector<Match>& matches, std::size_t from, Property old, std::size_t to,
                      Property now) const {
    if (old->getKind() != now->getKind()) return;
    const std::string &before = old->getType()->qualifiedName(), &after = now->getType()->qualifiedName();
    const std::string number = "same number " + std::to_string(old->getIdentifier());
    const double names = similarity(old->name(), now->name());
    if (isSameType(old->getType(), now->getType()))
      matches.push_back({from, to, 3 + names, number + " and same type " + after});
    else if (areNumbersAlike(old, now))
      matches.push_back({from, to, 2 + names, number + ", " + before + " to " + after});
    else if (names >= kSimilar)
      matches.push_back({from, to, 2 + names, number + ", names alike by " + percent(names)});
  }

  void addNameMatch(std::vector<Match>& matches, std::size_t from, Property old, std::size_t to,
                    Property now) const {
    const double names = similarity(old->name(), now->name());
    if (names < kSimilar || old->getKind() != now->getKind()) return;
    const bool isSame = isSameType(old->getType(), now->getType());
    matches.push_back({from, to, names + (isSame ? 0.5 : 0),
                       "names alike by " + percent(names) +
                           (isSame ? " and same type " + now->getType()->qualifiedName() : "")});
  }

  void matchLiterals(meta::Enum old, meta::Enum now) {
    std::vector<const meta::EnumLiteral*> missing, fresh;
    const auto has = [](meta::Enum type, const std::string& name) {
      const meta::EnumLiteral* const literal = type->findByName(name);
      return literal != nullptr && literal->name == name;
    };
    for (const meta::EnumLiteral& literal : old->getLiterals())
      if (!has(now, literal.name)) missing.push_back(&literal);
    for (const meta::EnumLiteral& literal : now->getLiterals())
      if (!has(old, literal.name)) fresh.push_back(&literal);
    std::vector<Match> matches;
    for (std::size_t i = 0; i < missing.size(); ++i) {
      const std::size_t first = i - std::min(i, kMostCandidates / 2);
      for (std::size_t k = first; k < fresh.size() && k < first + kMostCandidates; ++k) {
        const double names = similarity(missing[i]->name, fresh[k]->name);
        const bool isSame = missing[i]->number == fresh[k]->number;
        if (names < kSimilar && !isSame) continue;
        matches.push_back({i, k, names + (isSame ? 1 : 0),
                           isSame ? "same number " + std::to_string(missing[i]->number)
                                  : "names alike by " + percent(names)});
      }
    }
    adopt(
        chooseBest(std::move(matches)), old, missing, [&](std::size_t i) { return fresh[i]->name; },
        draft_.map.literals);
  }

  template <class Members, class NameOf>
  void adopt(const std::vector<Match>& chosen, Type old, const Members& missing, NameOf nameOf,
             std::map<std::string, std::string>& rules) {
    std::vector<bool> isMatched(missing.size());
    const auto keyOf = [&](std::size_t i) { return old->qualifiedName() + '.' + nameAt(missing[i]); };
    for (const Match& match : chosen) {
      isMatched[match.from] = true;
      propose(rules, keyOf(match.from), nameOf(match.to), match.reason);
    }
    for (std::size_t i = 0; i < missing.size(); ++i)
      if (!isMatched[i]) draft_.unmatched.push_back(keyOf(i));
  }
  static const std::string& nameAt(Property property) { return property->name(); }
  static const std::string& nameAt(const meta::EnumLiteral* literal) { return literal->name; }

  const meta::MetaRegistry& from_;
  const meta::MetaRegistry& to_;
  DraftMap draft_;
  std::vector<std::pair<Type, Type>> pairs_;  // old and new types that are one
};

}  // namespace

DraftMap draftMap(const meta::MetaRegistry& from, const meta::MetaRegistry& to) {
  return Drafter(from, to).run();
}

}  // namespace kr::zero::evolution
