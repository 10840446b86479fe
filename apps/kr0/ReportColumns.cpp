#include "ReportColumns.h"

#include <algorithm>

#include "kr/zero/ElementPath.h"
#include "kr/zero/SetValues.h"

namespace kr::zero::tool {

namespace {

using meta::PropertyKind;

bool holdsElements(meta::Property property) {
  return property->getKind() == PropertyKind::composition || property->getKind() == PropertyKind::datatype;
}

std::string wordsOf(const UnresolvedReference& missing) {
  std::string words =
      missing.targetType + " id " + quotedInPath(missing.id1) + ' ' + quotedInPath(missing.id2);
  if (missing.qualifier) words += " in " + quotedInPath(*missing.qualifier);
  return words;
}

}  // namespace

int TextTable::add(std::string_view text) {
  const auto [place, isNew] = numbers_.try_emplace(text, static_cast<int>(texts_.size()));
  if (isNew) texts_.push_back(text);
  return place->second;
}

int TextTable::addCopy(const std::string& text) {
  const auto found = numbers_.find(text);
  return found != numbers_.end() ? found->second : add(copies_.emplace_back(text));
}

ReportColumns::ReportColumns(const Model& model, const ReportSchema& schema) : schema_(schema) {
  number(model);
  for (std::size_t i = 0; i < elements_.size(); ++i) addValues(i);
}

// What is to come stands on a stack, the next one last.
void ReportColumns::number(const Model& model) {
  std::vector<Place> pending;
  int position = 0;
  for (const ConstElement root : model.roots()) pending.push_back({root, -1, {}, position++});
  std::reverse(pending.begin(), pending.end());
  while (!pending.empty()) {
    const Place place = pending.back();
    pending.pop_back();
    add(place);
    const std::size_t first = pending.size();
    pushChildren(elements_.size() - 1, pending);
    std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(first), pending.end());
  }
}

void ReportColumns::add(const Place& place) {
  const std::uint32_t index = place.element.getIndex();
  if (index >= numbers_.size()) numbers_.resize(std::size_t{index} + 1, -1);
  numbers_[index] = static_cast<int>(elements_.size());
  elements_.push_back(place.element);
  classes_.push_back(schema_.numberOf(meta::Type(place.element.getType())));
  parents_.push_back(place.parent);
  vias_.push_back(schema_.numberOf(place.via));
  positions_.push_back(place.position);
  const std::optional<Identity> identity = place.element.getIdentity();
  identities_.push_back(
      identity ? texts_.addCopy(quotedInPath(identity->first) + ' ' + quotedInPath(identity->second)) : -1);
}

void ReportColumns::pushChildren(std::size_t element, std::vector<Place>& pending) const {
  const SetValues set(elements_[element]);
  for (std::size_t at = 0; at < set.size(); ++at) {
    const meta::Property property = set.property(at);
    if (!holdsElements(property) || !property->isWritten()) continue;
    int position = property->isMany() ? 0 : -1;
    for (const cells::Cell cell : set.cells(at))
      pending.push_back(
          {set.element(cell), static_cast<int>(element), property, property->isMany() ? position++ : -1});
  }
}

meta::Property ReportColumns::viaOf(std::size_t element) const {
  return parents_[element] < 0 ? meta::Property() : elements_[element].getContainingProperty();
}

int ReportColumns::numberOf(ConstElement element) const {
  if (!element) return -1;
  const std::uint32_t index = element.getIndex();
  return index < numbers_.size() ? numbers_[index] : -1;
}

// --- Values

void ReportColumns::addValues(std::size_t element) {
  const SetValues set(elements_[element]);
  const std::size_t before = properties_.size();
  for (std::size_t at = 0; at < set.size(); ++at) {
    const meta::Property property = set.property(at);
    if (holdsElements(property) || !property->isWritten()) continue;
    const std::size_t count = set.cells(at).size();
    for (std::size_t i = 0; i < count; ++i) entries_.push_back(entryOf(set, at, i));
    properties_.push_back(schema_.numberOf(property));
    ends_.push_back(entries_.size());
    areLists_.push_back(property->isMany() ||
                        count == 0);  // one that is said to be empty has no entry either
  }
  valueCounts_.push_back(static_cast<int>(properties_.size() - before));
}

int ReportColumns::entryOf(const SetValues& set, std::size_t at, std::size_t position) {
  const meta::Property property = set.property(at);
  const cells::Cell cell = set.cells(at)[position];
  switch (property->getKind()) {
    case PropertyKind::text:
    case PropertyKind::dateTime:
      return texts_.add(cells::asText(cell)->view());
    case PropertyKind::association:
      if (set.isUnresolved(at, cell)) return referenceOf(set.element(), property, position);
      if (const int target = numberOf(set.target(cell)); target >= 0) return target;
      return -1 - texts_.addCopy(fullPathOf(set.target(cell)));
    default:
      return texts_.addCopy(set.element().getTextForm(property, position));
  }
}

int ReportColumns::referenceOf(ConstElement element, meta::Property property, std::size_t position) {
  const auto missing = element.getUnresolved(property, position);
  return -1 - texts_.addCopy(missing ? wordsOf(*missing) : "");
}

// --- As JSON

void ReportColumns::write(JsonText& json) const {
  json.addList("texts", texts_.texts());
  json.name("elements").open('{');
  json.addList("class", classes_).addList("parent", parents_).addList("via", vias_).addList("at", positions_);
  json.addList("values", valueCounts_).addList("identity", identities_);
  json.close('}');
  json.name("values").open('{');
  json.addList("property", properties_);
  json.name("value").open('[');
  for (std::size_t i = 0, entry = 0; i < ends_.size(); ++i) {
    if (areLists_[i]) json.open('[');
    for (; entry < ends_[i]; ++entry) json.add(entries_[entry]);
    if (areLists_[i]) json.close(']');
  }
  json.close(']');
  json.close('}');
}

}  // namespace kr::zero::tool
