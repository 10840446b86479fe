#include "StableNames.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "kr/zero/ElementPath.h"
#include "kr/zero/TextHash.h"
#include "kr/zero/compare/Naming.h"

namespace kr::zero::tool {

namespace {

constexpr std::size_t kSteps = 48;

// FNV-1a: the same on every machine.
std::uint64_t figureOf(std::string_view text, std::uint64_t figure = 0xCBF29CE484222325u) {
  for (const char c : text) figure = (figure ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
  return figure;
}

std::string shown(std::uint64_t figure) {
  std::array<char, 16> digits;
  (void)std::snprintf(digits.data(), digits.size(), "~%08x", static_cast<unsigned>(figure ^ (figure >> 32)));
  return digits.data();
}

// Of what is the element's own: children and references may change and leave it what it is.
std::uint64_t figureOfValues(ConstElement element) {
  std::uint64_t figure = figureOf(element.getType()->qualifiedName());
  for (const meta::Property property : element.getType()->getAllProperties()) {
    if (!meta::isPrimitive(property->getKind()) || !property->isWritten() || !element.isSet(property))
      continue;
    figure = figureOf(property->name(), figure);
    for (std::size_t i = 0, size = element.size(property); i < size; ++i)
      figure = figureOf("=" + element.getTextForm(property, i), figure);
  }
  return figure;
}

bool hasOwnIdentity(ConstElement element) {
  const auto identity = element.getIdentity();
  return identity && identity->first != "#";
}

std::string identityOf(ConstElement element) {
  const auto identity = element.getIdentity();
  return "id " + quotedInPath(identity->first) + " " + quotedInPath(identity->second);
}

std::string rootName(ConstElement root) {
  std::string name = root.getType()->name();
  if (!name.empty() && name[0] >= 'A' && name[0] <= 'Z') name[0] = static_cast<char>(name[0] - 'A' + 'a');
  return name;
}

}  // namespace

StableNames::StableNames(const Model& model) {
  // What is set apart is told apart: siblings in one property, roots of one class.
  std::vector<std::unordered_map<std::string, std::uint32_t, TextHash>> open;
  std::unordered_map<std::string, std::uint32_t, TextHash> roots;
  const auto all = model.elements();
  for (auto it = all.begin(); it != all.end(); ++it) {
    const ConstElement element = *it;
    const std::size_t index = element.getIndex();
    if (index >= earlier_.size()) {
      const std::size_t room = std::max(index + 1, 2 * earlier_.size());
      earlier_.resize(room);
      figures_.resize(room);
    }
    open.resize(it.getDepth());
    const ConstElement container = element.getContainer();
    const meta::Property property = element.getContainingProperty();
    if (!container)
      earlier_[index] = roots[rootName(element)]++ == 0 ? 0 : roots[rootName(element) + keyOf(element)]++ + 1;
    else if (property->isMany() && !hasOwnIdentity(element))
      earlier_[index] = open.back()[property->name() + keyOf(element)]++;
    figures_[index] = figureOf(stepOf(element), container ? figures_[container.getIndex()] : 0);
    open.emplace_back();
  }
}

std::string StableNames::amongSiblings(ConstElement element) const {
  if (hasOwnIdentity(element)) return {};
  const std::string step = stepOf(element);
  if (!element.getContainer()) return "/" + step;
  return step.substr(element.getContainingProperty()->name().size());
}

std::string StableNames::pathOf(ConstElement element) const {
  std::vector<std::string> steps;
  std::string path;
  for (; element; element = element.getContainer()) {
    if (hasOwnIdentity(element)) {
      path = identityOf(element);
      break;
    }
    if (steps.size() == kSteps) {
      path = "/..." + shown(figures_[element.getIndex()]);
      break;
    }
    steps.push_back(stepOf(element));
  }
  for (auto it = steps.rbegin(); it != steps.rend(); ++it) path.append("/").append(*it);
  return path;
}

// The first root of a class needs nothing to be told from others, so that most paths begin with a name alone.
std::string StableNames::stepOf(ConstElement element) const {
  const std::uint32_t earlier = earlier_[element.getIndex()];
  const meta::Property property = element.getContainingProperty();
  if (!property) {
    if (earlier == 0) return rootName(element);
    return rootName(element) + keyOf(element) + (earlier > 1 ? "[" + std::to_string(earlier - 1) + "]" : "");
  }
  if (!property->isMany() || hasOwnIdentity(element)) return property->name();
  return property->name() + keyOf(element) + (earlier > 0 ? "[" + std::to_string(earlier) + "]" : "");
}

std::string StableNames::keyOf(ConstElement element) const {
  if (const meta::Property naming = namingOf(element))
    return "[" + naming->name() + "=" + quotedInPath(element.getTextForm(naming)) + "]";
  return "[" + shown(figureOfValues(element)) + "]";
}

meta::Property StableNames::namingOf(ConstElement element) const {
  const meta::StructuredType type = element.getType();
  const auto [place, isNew] = namings_.try_emplace(type.get());
  std::vector<meta::Property>& namings = place->second;
  if (isNew) {
    for (const meta::Property property : type->getAllProperties())
      if (compare::namingRankOf(*property.get())) namings.push_back(property);
    std::stable_sort(namings.begin(), namings.end(), [](meta::Property a, meta::Property b) {
      return compare::namingRankOf(*a.get()) < compare::namingRankOf(*b.get());
    });
  }
  for (const meta::Property property : namings)
    if (element.getState(property) == PropertyState::value) return property;
  return {};
}

}  // namespace kr::zero::tool
