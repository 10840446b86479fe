#include "LockMeanings.h"

#include <algorithm>
#include <tuple>

namespace kr::zero::evolution {

namespace {

constexpr std::size_t kMostMeanings = std::size_t{4} * 1024 * 1024;

}  // namespace

LockMeanings::LockMeanings(const Lock::Contents& contents) {
  for (const auto& [uri, package] : contents.packages)
    for (const auto& [name, type] : package.types)
      types_.push_back({&uri, &name, package.name + '.' + name, &type});
  for (std::size_t i = 0; i < types_.size(); ++i) byName_.emplace(types_[i].qualifiedName, i);
  meanings_.resize(types_.size());
  isOpen_.resize(types_.size());
}

std::size_t LockMeanings::find(const std::string& qualifiedName) const {
  const auto found = byName_.find(qualifiedName);
  return found == byName_.end() ? npos : found->second;
}

std::vector<std::size_t> LockMeanings::supertypesOf(std::size_t type) const {
  std::vector<std::size_t> supertypes;
  for (const std::string& name : types_[type].locked->supertypes)
    if (const std::size_t above = find(name); above != npos) supertypes.push_back(above);
  return supertypes;
}

/// Supertypes first. Where they come in a circle, which no meta model has, the circle is cut.
const Meanings& LockMeanings::of(std::size_t type) {
  std::vector<std::size_t> open{type};
  while (!open.empty()) {
    const std::size_t last = open.back();
    if (meanings_[last] == nullptr && !isOpen_[last]) {
      isOpen_[last] = true;
      for (const std::size_t above : supertypesOf(last))
        if (meanings_[above] == nullptr && !isOpen_[above]) open.push_back(above);
      continue;
    }
    if (meanings_[last] == nullptr) meanings_[last] = merge(last);
    open.pop_back();
  }
  return *meanings_[type];
}

std::shared_ptr<const Meanings> LockMeanings::merge(std::size_t type) {
  std::vector<std::shared_ptr<const Meanings>> inherited;
  for (const std::size_t above : supertypesOf(type))
    if (meanings_[above] != nullptr) inherited.push_back(meanings_[above]);
  const auto& own = types_[type].locked->numbers;
  if (own.empty() && inherited.size() == 1) return inherited.front();
  auto meanings = std::make_shared<Meanings>();
  for (const auto& [number, property] : own) meanings->push_back({number, &property, type});
  for (const auto& above : inherited) meanings->insert(meanings->end(), above->begin(), above->end());
  if ((total_ += meanings->size()) > kMostMeanings)
    throw Error(ErrorCode::overLimit, "the classes of the lock inherit too many numbers together");
  keepFirst(type, *meanings);
  return meanings;
}

/// Of each number what counts now; of several such, or of what is gone, the type's own, else the first.
void LockMeanings::keepFirst(std::size_t type, Meanings& meanings) const {
  const auto rank = [&](const Meaning& meaning) {
    return std::tuple(meaning.number, meaning.property->isRetired, meaning.owner != type);
  };
  std::stable_sort(meanings.begin(), meanings.end(),
                   [&](const Meaning& a, const Meaning& b) { return rank(a) < rank(b); });
  const auto isSame = [](const Meaning& a, const Meaning& b) { return a.number == b.number; };
  meanings.erase(std::unique(meanings.begin(), meanings.end(), isSame), meanings.end());
  meanings.shrink_to_fit();
}

}  // namespace kr::zero::evolution
