// Values of a collection in the place of others: slices, and whole collections.
#include <algorithm>
#include <vector>

#include "Failures.h"
#include "Properties.h"

namespace kr::zero::python {

using meta::PropertyKind;

namespace {

// The values of an iterable, before anything is changed: it may be the collection itself.
py::list listOf(meta::Property property, PyObject* values) {
  if (PyUnicode_Check(values) || PyBytes_Check(values))
    raise(PyExc_TypeError,
          property->name() + ": an iterable of values is wanted, not " + Py_TYPE(values)->tp_name);
  PyObject* const list = PySequence_List(values);
  if (list == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::list>(list);
}

void appendRange(std::vector<std::size_t>& order, std::size_t begin, std::size_t end) {
  for (; begin < end; ++begin) order.push_back(begin);
}

// What elements stand in some places; nothing for those that are not in the model.
std::vector<ConstElement> targetsOf(const ElementObject* self, meta::Property property, std::size_t first,
                                    std::size_t count) {
  std::vector<ConstElement> targets;
  for (std::size_t i = first; i < first + count; ++i)
    if (const ConstElement target = self->read().getReference(property, i)) targets.push_back(target);
  return targets;
}

bool isBefore(const ConstElement& a, const ConstElement& b) { return a.getIndex() < b.getIndex(); }

// Those that are referred to no more get told so.
void releaseGone(ElementObject* self, meta::Property property, const std::vector<ConstElement>& before) {
  std::vector<ConstElement> now = targetsOf(self, property, 0, self->element.size(property));
  std::sort(now.begin(), now.end(), isBefore);
  for (const ConstElement target : before)
    if (!std::binary_search(now.begin(), now.end(), target, isBefore)) release(self, property, target);
}

void replaceCopied(ElementObject* self, meta::Property property, std::size_t first, std::size_t count,
                   const py::list& values) {
  Element& element = self->element;
  const std::size_t size = element.size(property);
  try {
    for (const py::handle value : values) addValue(self, property, value.ptr());
  } catch (...) {
    element.removeRange(property, size, element.size(property) - size);
    throw;
  }
  const bool isTwoSided = property->getKind() == PropertyKind::association && property->getOpposite();
  const std::vector<ConstElement> before =
      isTwoSided ? targetsOf(self, property, first, count) : std::vector<ConstElement>();
  const std::size_t all = element.size(property);
  std::vector<std::size_t> order;
  order.reserve(all);
  appendRange(order, 0, first);
  appendRange(order, size, all);
  appendRange(order, first + count, size);
  appendRange(order, first, first + count);
  element.arrange(property, order);
  element.removeRange(property, all - count, count);
  if (isTwoSided) releaseGone(self, property, before);
  if (all == count && property->getKind() != PropertyKind::datatype) element.setEmpty(property);
}

// A child and where it stands in its collection.
struct Place {
  ConstElement child;
  std::size_t position;
  static bool before(const Place& a, const Place& b) { return isBefore(a.child, b.child); }
};

std::vector<Element> childrenOf(const ElementObject* self, meta::Property property, const py::list& values) {
  std::vector<Element> children;
  for (const py::handle value : values) {
    const ElementObject* const child = asElementObject(value.ptr());
    if (child == nullptr)
      raise(PyExc_TypeError,
            property->name() + ": an element is wanted, not " + Py_TYPE(value.ptr())->tp_name);
    requireAdoptable(self, property, child->read());
    children.push_back(child->element);
  }
  return children;
}

void requireDifferent(std::vector<Element> children) {
  std::sort(children.begin(), children.end(), isBefore);
  const auto same = std::adjacent_find(children.begin(), children.end());
  if (same != children.end())
    throw ModelError(
        {.path = same->getPath(), .problem = "an element stands in one place only, and was given twice"});
}

// Elements that stay or come move; what is replaced and not among them is removed with all below it.
void replaceChildren(ElementObject* self, meta::Property property, std::size_t first, std::size_t count,
                     const py::list& values) {
  Element& element = self->element;
  const std::vector<Element> children = childrenOf(self, property, values);
  requireDifferent(children);
  const std::size_t size = element.size(property);
  for (const Element& child : children)
    if (!(child.getContainer() == element && child.getContainingProperty() == property))
      element.adopt(property, child);

  std::vector<Place> places;
  std::size_t position = 0;
  for (const ConstElement child : element.children(property)) places.push_back({child, position++});
  std::sort(places.begin(), places.end(), Place::before);
  std::vector<bool> isPlaced(places.size());
  std::vector<std::size_t> given;
  for (const Element& child : children) {
    const auto place = std::lower_bound(places.begin(), places.end(), Place{child, 0}, Place::before);
    given.push_back(place->position);
    isPlaced[place->position] = true;
  }
  std::vector<std::size_t> order;
  const auto appendRest = [&](std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i)
      if (!isPlaced[i]) order.push_back(i);
  };
  appendRest(0, first);
  order.insert(order.end(), given.begin(), given.end());
  appendRest(first + count, size);
  const std::size_t kept = order.size();
  appendRest(first, first + count);
  element.arrange(property, order);
  element.removeRange(property, kept, order.size() - kept);
}

}  // namespace

void replaceValues(ElementObject* self, std::size_t slot, std::size_t first, std::size_t count,
                   PyObject* values) {
  const meta::Property property = self->property(slot);
  self->change();
  const py::list list = listOf(property, values);
  if (first + count > self->element.size(property))  // iterating ran a program's own code
    raise(PyExc_RuntimeError, property->name() + ": the list changed while new values were taken");
  if (property->getKind() == PropertyKind::composition)
    replaceChildren(self, property, first, count, list);
  else
    replaceCopied(self, property, first, count, list);
}

}  // namespace kr::zero::python
