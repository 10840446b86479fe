#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "meta/Failure.h"
#include "meta/RegistryLoader.h"

namespace kr::zero::meta {

// Puts each new class on a line and notes how far up it reaches on the other lines.
void RegistryLoader::placeOnLines() {
  const Heirs heirs = findHeirs();
  SharedPlaces nothing = std::make_shared<const Places>();
  std::unordered_map<const Type::Impl*, SharedPlaces> upTo;
  for (const std::uint32_t index : order_) {
    Class::Impl* const made = types_[index].classType;
    if (made == nullptr) continue;
    made->place_ = {made, 0};
    made->above_ = nothing;
    if (made->supertypes_.empty()) continue;

    const Class first = made->supertypes_.front();
    const auto heir = heirs.find(first.get());
    const bool follows = heir != heirs.end() && heir->second == index;
    if (follows) {
      made->place_ = {first->place_.line, first->place_.position + 1};
      made_.continued.insert(first.get());
    }
    if (made->supertypes_.size() > 1)
      made->above_ = std::make_shared<const Places>(placesAbove(types_[index], made->place_.line));
    else if (follows)
      made->above_ = first->above_;
    else if (SharedPlaces& shared = upTo[first.get()]; shared != nullptr)
      made->above_ = shared;
    else
      made->above_ = shared = std::make_shared<const Places>(placesAbove(types_[index], made->place_.line));
  }
}

// For each class at the end of its line, the new class that goes on: the one with the most classes below
// it. So each change of line on the way up at least doubles what is below, and ways stay short.
RegistryLoader::Heirs RegistryLoader::findHeirs() const {
  std::vector<std::size_t> below(types_.size(), 1);
  Heirs heirs;
  for (auto it = order_.rbegin(); it != order_.rend(); ++it) {
    const Class::Impl* const made = types_[*it].classType;
    if (made == nullptr || made->supertypes_.empty()) continue;
    const Class first = made->supertypes_.front();
    if (const std::size_t index = newIndexOf(first); index != kNone) below[index] += below[*it];
    if (known_.continued.contains(first.get())) continue;
    const auto [heir, added] = heirs.emplace(first.get(), *it);
    if (!added && below[*it] > below[heir->second]) heir->second = *it;
  }
  return heirs;
}

// The furthest place on each line but `ownLine` that the supertypes of a class stand on or inherit from.
RegistryLoader::Places RegistryLoader::placesAbove(const NewType& type, const Class::Impl* ownLine) {
  // A few dozen for a class are many in a real meta model. Without a limit each of thousands of classes could
  // be given thousands by one word.
  constexpr std::size_t kMostPlaces = std::size_t{1} << 22;
  Places all;
  std::unordered_set<const Places*> seen;
  for (const Class one : type.classType->supertypes_) {
    all.push_back(one->place_);
    if (!seen.insert(one->above_.get()).second) continue;
    if (one->above_->size() > kMostPlaces - placesMet_)
      fail(describe(type), "the classes up to here inherit from too many classes with several supertypes");
    placesMet_ += one->above_->size();
    all.insert(all.end(), one->above_->begin(), one->above_->end());
  }
  std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) {
    return a.line == b.line ? a.position > b.position : std::less<>{}(a.line, b.line);
  });
  Places furthest;
  for (const auto& place : all)
    if (place.line != ownLine && (furthest.empty() || furthest.back().line != place.line))
      furthest.push_back(place);
  return furthest;
}

}  // namespace kr::zero::meta
