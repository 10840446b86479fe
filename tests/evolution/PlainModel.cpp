#include "evolution/PlainModel.h"

#include <algorithm>
#include <set>

namespace kr::zero::test {

namespace {

PlainKind kindOf(meta::Property property) {
  if (meta::isPrimitive(property->getKind())) return PlainKind::primitive;
  return property->getKind() == meta::PropertyKind::association ? PlainKind::reference : PlainKind::contained;
}

}  // namespace

// Random models are shallow: recursion will do.
PlainModel::PlainModel(const Model& model) {
  for (const ConstElement root : model.roots()) roots_.push_back(add(root));
  std::map<std::size_t, ConstElement> elements;
  for (const ConstElement element : model.elements()) elements[byIndex_.at(element.getIndex())] = element;
  for (const auto& [node, element] : elements)
    for (const meta::Property property : element.getType()->getAllProperties())
      if (property->getKind() == meta::PropertyKind::association && element.isSet(property))
        readSlot(element, property, nodes_[node].slots[property->name()]);
}

std::size_t PlainModel::add(ConstElement element) {
  const std::size_t number = nodes_.size();
  nodes_.push_back({});
  byIndex_[element.getIndex()] = number;
  PlainNode node;
  node.type = element.getType()->qualifiedName();
  node.isDatatype = !element.getClass();
  if (!node.isDatatype)
    if (const auto identity = element.getIdentity(); identity)
      node.identity = {std::string(identity->first), std::string(identity->second)};
  for (const meta::Property property : element.getType()->getAllProperties())
    if (property->getKind() != meta::PropertyKind::association && element.isSet(property))
      readSlot(element, property, node.slots[property->name()]);
  nodes_[number] = std::move(node);
  return number;
}

void PlainModel::readSlot(ConstElement element, meta::Property property, PlainSlot& slot) {
  slot.kind = kindOf(property);
  for (std::size_t i = 0; i < element.size(property); ++i) {
    PlainValue value;
    if (slot.kind == PlainKind::primitive)
      value.text = element.getTextForm(property, i);
    else if (slot.kind == PlainKind::contained)
      value.node = add(element.getElement(property, i));
    else if (const ConstElement target = element.getReference(property, i); target)
      value.node = byIndex_.at(target.getIndex());
    else
      value.unresolved = element.getUnresolved(property, i);
    slot.values.push_back(std::move(value));
  }
}

void PlainModel::markGone(std::size_t node) {
  nodes_[node].isGone = true;
  for (const auto& [name, slot] : nodes_[node].slots)
    if (slot.kind == PlainKind::contained)
      for (const PlainValue& value : slot.values) markGone(value.node);
}

/// Takes what leads to nodes that are gone out of all others.
void PlainModel::sweep() {
  const auto leadsToGone = [&](const PlainSlot& slot, const PlainValue& value) {
    return slot.kind != PlainKind::primitive && !value.unresolved && nodes_[value.node].isGone;
  };
  for (PlainNode& node : nodes_) {
    for (auto at = node.slots.begin(); at != node.slots.end();) {
      PlainSlot& slot = at->second;
      const auto count =
          std::erase_if(slot.values, [&](const PlainValue& v) { return leadsToGone(slot, v); });
      at = count != 0 && slot.values.empty() ? node.slots.erase(at) : std::next(at);
    }
  }
  std::erase_if(roots_, [&](std::size_t root) { return nodes_[root].isGone; });
}

bool PlainModel::removeValues(PlainNode& node, const std::string& property,
                              const std::function<bool(const PlainValue&, std::size_t)>& isGone) {
  const auto found = node.slots.find(property);
  if (node.isGone || found == node.slots.end() || found->second.values.empty()) return false;
  PlainSlot& slot = found->second;
  std::vector<PlainValue> kept;
  for (std::size_t i = 0; i < slot.values.size(); ++i) {
    if (!isGone(slot.values[i], i))
      kept.push_back(slot.values[i]);
    else if (slot.kind == PlainKind::contained)
      markGone(slot.values[i].node);
  }
  const bool hadAny = kept.size() != slot.values.size();
  slot.values = std::move(kept);
  if (slot.values.empty()) node.slots.erase(found);
  if (hadAny) sweep();
  return hadAny;
}

bool PlainModel::removeSlot(PlainNode& node, const std::string& property) {
  if (node.isGone || node.slots.count(property) == 0) return false;
  removeValues(node, property, [](const PlainValue&, std::size_t) { return true; });
  node.slots.erase(property);
  return true;
}

bool PlainModel::removeNodes(const std::function<bool(const PlainNode&)>& isGone) {
  bool hadAny = false;
  for (std::size_t i = 0; i < nodes_.size(); ++i) {
    if (nodes_[i].isGone || !isGone(nodes_[i])) continue;
    markGone(i);
    hadAny = true;
  }
  if (hadAny) sweep();
  return hadAny;
}

Model PlainModel::build(const meta::MetaRegistry& registry) const {
  Model model(registry);
  std::vector<Element> made(nodes_.size());
  for (const std::size_t root : roots_) {
    made[root] = model.createRoot(nodes_[root].type);
    buildTree(registry, root, model, made);
  }
  for (std::size_t i = 0; i < nodes_.size(); ++i)
    if (made[i]) fill(i, made);
  return model;
}

void PlainModel::buildTree(const meta::MetaRegistry& registry, std::size_t root, Model& model,
                           std::vector<Element>& made) const {
  const PlainNode& node = nodes_[root];
  if (node.identity) made[root].setIdentity(node.identity->first, node.identity->second);
  for (const auto& [name, slot] : node.slots) {
    if (slot.kind != PlainKind::contained) continue;
    for (const PlainValue& value : slot.values) {
      made[value.node] = made[root].create(name, nodes_[value.node].type);
      buildTree(registry, value.node, model, made);
    }
  }
}

void PlainModel::fill(std::size_t node, std::vector<Element>& made) const {
  Element element = made[node];
  for (const auto& [name, slot] : nodes_[node].slots) {
    const bool isMany = element.getType()->findProperty(name)->isMany();
    if (slot.values.empty()) element.setEmpty(name);
    for (const PlainValue& value : slot.values) {
      if (slot.kind == PlainKind::primitive)
        isMany ? element.addTextForm(name, value.text) : element.setTextForm(name, value.text);
      else if (slot.kind == PlainKind::reference && value.unresolved)
        element.putUnresolved(name, *value.unresolved);
      else if (slot.kind == PlainKind::reference)
        element.putReference(name, made[value.node]);
    }
  }
}

}  // namespace kr::zero::test
