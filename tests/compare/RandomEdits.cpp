#include "compare/RandomEdits.h"

#include <string>
#include <vector>

#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::test {

namespace {

using meta::Class;
using meta::Property;
using meta::PropertyKind;

class Editor {
 public:
  Editor(Model& model, Random& random) : model_(model), random_(random) {
    for (const meta::PackageInfo& package : model.getRegistry().getPackages())
      for (const meta::Type type : package.types)
        if (const Class cls(type); cls && !cls->isAbstract()) classes_.push_back(cls);
  }

  bool edit() {
    switch (random_.below(10)) {
      case 0:
      case 1:
        return insert();
      case 2:
        return remove();
      case 3:
      case 4:
        return move();
      case 5:
        return reorder();
      case 6:
        return refer();
      case 7:
        return identify();
      default:
        return setValue();
    }
  }

 private:
  std::vector<Element> elements() {
    std::vector<Element> all;
    for (const Element element : model_.elements()) all.push_back(element);
    return all;
  }

  Element any() {
    const std::vector<Element> all = elements();
    return all.empty() ? Element() : random_.pick(all);
  }

  /// A property of a kind that documents carry.
  template <class Wanted>
  static std::vector<Property> properties(Element element, Wanted wanted) {
    std::vector<Property> found;
    for (const Property p : element.getType()->getAllProperties())
      if (p->isStored() && !p->isTransient() && wanted(p)) found.push_back(p);
    return found;
  }

  /// A composition of `parent` that has room.
  Property room(Element parent, Class cls) {
    const std::vector<Property> free = properties(parent, [&](Property p) {
      return p->getKind() == PropertyKind::composition && (p->isMany() || !parent.isSet(p)) &&
             (!cls || cls->conformsTo(p->getTarget()));
    });
    return free.empty() ? Property() : random_.pick(free);
  }

  bool insert() {
    if (classes_.empty()) return false;
    const Class cls = random_.pick(classes_);
    Element made;
    if (Element parent = any(); parent && random_.percent(85)) {
      const Property property = room(parent, cls);
      if (!property) return false;
      made = parent.create(property, cls);
    } else {
      made = model_.createRoot(cls);
    }
    for (const Property p :
         properties(made, [](Property each) { return meta::isPrimitive(each->getKind()); }))
      if (random_.percent(70)) put(made, p);
    return true;
  }

  bool remove() {
    const std::vector<Element> all = elements();
    std::vector<Element> small;  // a model that is gone has nothing to edit
    for (const Element element : all)
      if (element.descendants().begin() == element.descendants().end()) small.push_back(element);
    if (small.empty()) return false;
    model_.remove(random_.pick(random_.percent(20) ? all : small));
    return true;
  }

  bool move() {
    const Element element = any();
    Element parent = any();
    if (!element) return false;
    if (random_.percent(10)) {
      if (!element.getContainer()) return false;
      model_.adoptRoot(element);
      return true;
    }
    const Property property = room(parent, element.getClass());
    if (!property || element.getContainer() == parent) return false;
    for (ConstElement above = parent; above; above = above.getContainer())
      if (above == element) return false;
    parent.adopt(property, element, random_.below(parent.size(property) + 1));
    return true;
  }

  bool reorder() {
    const Element element = any();
    if (!element) return false;
    Element container = element.getContainer();
    if (!container) {
      if (model_.getRoots().size() < 2 || model_.getRoots().back() == element) return false;
      model_.adoptRoot(element);
      return true;
    }
    const Property property = element.getContainingProperty();
    if (!property->isMany() || container.size(property) < 2) return false;
    const std::size_t position = random_.below(container.size(property));
    if (container.getElement(property, position) == element) return false;
    container.adopt(property, element, position);
    return true;
  }

  bool refer() {
    Element element = any();
    if (!element) return false;
    const auto references =
        properties(element, [](Property p) { return p->getKind() == PropertyKind::association; });
    if (references.empty()) return false;
    const Property property = random_.pick(references);
    const Element target = any();
    if (random_.percent(20)) {
      element.unset(property);
    } else if (target.getClass()->conformsTo(property->getTarget())) {
      element.putReference(property, target);
    } else {
      element.putUnresolved(property, {target.getType()->qualifiedName(), "id",
                                       std::to_string(random_.below(9)), std::nullopt});
    }
    return true;
  }

  bool identify() {
    Element element = any();
    if (!element) return false;
    if (random_.percent(30))
      element.clearIdentity();
    else
      element.setIdentity("edited", std::to_string(random_.below(1000000)));
    return true;
  }

  bool setValue() {
    Element element = any();
    if (!element) return false;
    const auto values = properties(element, [](Property p) {
      return meta::isPrimitive(p->getKind()) || p->getKind() == PropertyKind::datatype;
    });
    if (values.empty()) return false;
    const Property property = random_.pick(values);
    if (random_.percent(15)) {
      element.unset(property);
    } else if (property->getKind() == PropertyKind::datatype) {
      element.unset(property);
      Element value = element.create(property);
      for (const Property p :
           properties(value, [](Property each) { return meta::isPrimitive(each->getKind()); }))
        put(value, p);
    } else if (random_.percent(15) && (property->isMany() || property->isOptional())) {
      element.setEmpty(property);
    } else {
      put(element, property);
    }
    return true;
  }

  void put(Element element, Property property) {
    const std::string text = anyText(property);
    property->isMany() ? element.addTextForm(property, text) : element.setTextForm(property, text);
  }

  std::string anyText(Property property) {
    const std::string number = std::to_string(random_.below(100));
    switch (property->getKind()) {
      case PropertyKind::number:
        return property->getStandardType() == meta::StandardType::boolean
                   ? (random_.percent(50) ? "true" : "false")
                   : number;
      case PropertyKind::enumeration:
        return random_.pick(meta::Enum(property->getType())->getLiterals()).name;
      case PropertyKind::uuid:
        return "00000000-0000-0000-0000-0000000000" + std::to_string(10 + random_.below(90));
      case PropertyKind::dateTime:
        return "2026-01-" + std::to_string(10 + random_.below(19));
      default:
        return "text " + std::to_string(random_.below(100000));
    }
  }

  Model& model_;
  Random& random_;
  std::vector<Class> classes_;
};

}  // namespace

std::size_t editAtRandom(Model& model, std::size_t edits, Random& random) {
  Editor editor(model, random);
  std::size_t made = 0;
  for (std::size_t tries = 0; made < edits && tries < 50 * edits; ++tries) made += editor.edit();
  return made;
}

}  // namespace kr::zero::test
