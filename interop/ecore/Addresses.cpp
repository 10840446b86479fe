#include "Addresses.h"

#include <algorithm>
#include <unordered_map>

#include "Errors.h"

namespace kr::zero::ecore {

namespace {

/// Whether an id can stand in a list of references and is not taken for something else there.
bool isUsableId(std::string_view id) {
  return !id.empty() && id[0] != '/' && id.find_first_of(" \t\r\n#:") == std::string_view::npos;
}

/// Whether a name stands for itself in a path.
bool isPlainName(std::string_view name) {
  const auto isPlain = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-' || c == '.';
  };
  if (name.empty() || !std::all_of(name.begin(), name.end(), isPlain)) return false;
  // "name.3" would be the fourth element of the name "name".
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos ||
         name.find_first_not_of("0123456789", dot + 1) != std::string_view::npos || dot + 1 == name.size();
}

bool isXmiId(const std::optional<Identity>& identity) { return identity && identity->first == "xmi:id"; }

}  // namespace

bool isOwnId(std::string_view id) {
  if (id.substr(0, kOwnIdStart.size()) != kOwnIdStart) return false;
  id.remove_prefix(kOwnIdStart.size());
  return !id.empty() && id.find_first_not_of("0123456789") == std::string_view::npos;
}

Addresses::Addresses(const Model& model, ClassTables& tables) : tables_(tables) {
  visitRoots(model);
  if (deepest_ > kMostSteps) nameDeepTargets(model);
}

void Addresses::visitRoots(const Model& model) {
  std::vector<ConstElement> waiting = model.getRoots();
  rootCount_ = waiting.size();
  for (std::size_t i = 0; i < waiting.size(); ++i)
    placeOf(waiting[i]).position = static_cast<std::uint32_t>(i);
  std::reverse(waiting.begin(), waiting.end());
  while (!waiting.empty()) {
    const ConstElement element = waiting.back();
    waiting.pop_back();
    noteIds(element);
    visitChildren(element, waiting);
  }
}

void Addresses::visitChildren(ConstElement container, std::vector<ConstElement>& waiting) {
  const bool byName = tables_.of(container.getType()).isPathByName();
  std::unordered_map<std::string_view, std::uint32_t, TextHash> names;
  const std::vector<ConstElement> children = container.getChildren();
  const std::uint32_t depth = placeOf(container).depth + 1;
  if (!children.empty()) deepest_ = std::max(deepest_, depth);
  meta::Property property;
  std::uint32_t position = 0;
  for (const ConstElement child : children) {
    position = child.getContainingProperty() == property ? position + 1 : 0;
    property = child.getContainingProperty();
    Place& place = placeOf(child);
    place.position = position;
    place.depth = depth;
    const Feature* name = byName ? tables_.of(child.getType()).nameFeature() : nullptr;
    if (name != nullptr) place.sameNames = names[child.getText(name->property)]++;
  }
  waiting.insert(waiting.end(), children.rbegin(), children.rend());
}

void Addresses::noteIds(ConstElement element) {
  if (const auto identity = element.getIdentity(); isXmiId(identity)) {
    ++idUses_[std::string(identity->second)];
    if (!xmiIds_.emplace(identity->second).second)
      failToExpress(element.getPath(), join("another element has the xmi:id ", inQuotes(identity->second)));
  }
  const Feature* identifier = tables_.of(element.getType()).identifier();
  if (identifier == nullptr || element.getState(identifier->property) != PropertyState::value) return;
  const std::string id = element.getTextForm(identifier->property);
  if (const auto identity = element.getIdentity(); isXmiId(identity) && identity->second == id) return;
  ++idUses_[id];
}

Addresses::Place& Addresses::placeOf(ConstElement element) {
  const std::size_t index = element.getIndex();
  if (index >= places_.size()) places_.resize(index + 1);
  return places_[index];
}

void Addresses::nameDeepTargets(const Model& model) {
  std::vector<ConstElement> waiting = model.getRoots();
  std::reverse(waiting.begin(), waiting.end());
  while (!waiting.empty()) {
    const ConstElement element = waiting.back();
    waiting.pop_back();
    nameTargetsOf(element);
    const std::vector<ConstElement> children = element.getChildren();
    waiting.insert(waiting.end(), children.rbegin(), children.rend());
  }
}

void Addresses::nameTargetsOf(ConstElement element) {
  for (const Feature& feature : tables_.of(element.getType()).features()) {
    if (!feature.isReference() || element.getState(feature.property) != PropertyState::value) continue;
    const std::size_t size = element.size(feature.property);
    for (std::size_t i = 0; i < size; ++i)
      if (const ConstElement target = element.getReference(feature.property, i)) giveOwnId(target);
  }
}

void Addresses::giveOwnId(ConstElement target) {
  Place& place = placeOf(target);
  if (place.depth <= kMostSteps || place.ownId != 0) return;
  if (isXmiId(target.getIdentity()) || isUnique(idOf(target))) return;
  do ++lastOwnId_;
  while (idUses_.contains(join(kOwnIdStart, std::to_string(lastOwnId_))));
  place.ownId = lastOwnId_;
}

std::string Addresses::ownIdOf(ConstElement element) const {
  const std::size_t index = element.getIndex();
  if (lastOwnId_ == 0 || index >= places_.size() || places_[index].ownId == 0) return {};
  return join(kOwnIdStart, std::to_string(places_[index].ownId));
}

void Addresses::append(std::string& out, ConstElement target) {
  if (const std::string id = idOf(target); isUnique(id))
    out.append(id);
  else if (const std::string own = ownIdOf(target); !own.empty())
    out.append(own);
  else
    appendPath(out, target);
}

/// The id by which the model knows an element; it may be none that can be used.
std::string Addresses::idOf(ConstElement target) const {
  if (const auto identity = target.getIdentity(); isXmiId(identity)) return std::string(identity->second);
  if (const Feature* identifier = tables_.of(target.getType()).identifier();
      identifier != nullptr && target.getState(identifier->property) == PropertyState::value)
    return target.getTextForm(identifier->property);
  return {};
}

bool Addresses::isUnique(const std::string& id) const {
  const auto uses = idUses_.find(id);
  return uses != idUses_.end() && uses->second == 1 && isUsableId(id);
}

void Addresses::appendPath(std::string& out, ConstElement target) {
  steps_.clear();
  for (ConstElement element = target; element; element = element.getContainer()) steps_.push_back(element);
  out.push_back('/');
  if (rootCount_ > 1) out.append(std::to_string(placeOf(steps_.back()).position));
  const std::size_t start = out.size();
  for (std::size_t i = steps_.size() - 1; i-- > 0;) appendStep(out, steps_[i]);
  if (steps_.size() <= kMostSteps) return;
  longPathBytes_ += out.size() - start;
  if (longPathBytes_ > kMostPathBytes)
    failToExpress(target.getPath(),
                  join("references lead to elements as deep as this one by paths, since their "
                       "ids cannot stand in references: these paths would be more than ",
                       std::to_string(kMostPathBytes), " bytes long"));
}

void Addresses::appendStep(std::string& out, ConstElement element) {
  out.push_back('/');
  if (appendName(out, element)) return;
  const meta::Property property = element.getContainingProperty();
  out.append("@").append(property->name());
  if (property->isMany()) out.append(".").append(std::to_string(placeOf(element).position));
}

bool Addresses::appendName(std::string& out, ConstElement element) {
  if (!tables_.of(element.getContainer().getType()).isPathByName()) return false;
  const Feature* name = tables_.of(element.getType()).nameFeature();
  if (name == nullptr || !isPlainName(element.getText(name->property))) return false;
  out.append(element.getText(name->property));
  if (const std::uint32_t count = placeOf(element).sameNames; count > 0)
    out.append(".").append(std::to_string(count));
  return true;
}

}  // namespace kr::zero::ecore
