#include "Models.h"

#include <string>
#include <utility>

#include "ElementObject.h"
#include "Failures.h"
#include "IteratorObject.h"
#include "Properties.h"
#include "TypeObjects.h"
#include "kr/zero/ElementPath.h"

namespace kr::zero::python {

namespace {

py::object create(const py::object& self, const py::object& type, const py::dict& values) {
  ModelState& state = stateOf(self);
  Model& model = state.change();
  const Element root = model.createRoot(classOf(*state.registry(), type));
  const py::object made = toElement(self, root);
  try {
    setAll(made.ptr(), values);
  } catch (...) {
    model.remove(root);
    throw;
  }
  return made;
}

py::object elements(const py::object& self, const py::object& type) {
  ModelState& state = stateOf(self);
  const Model& model = state.read();
  const ConstElementRange range =
      type.is_none() ? model.elements() : model.elements(classOf(*state.registry(), type));
  return py::reinterpret_steal<py::object>(makeIterator(self, &state, range));
}

py::list roots(const py::object& self) {
  py::list all;
  for (const ConstElement root : stateOf(self).read().roots()) all.append(toElement(self, root));
  return all;
}

bool contains(const py::object& self, const py::object& element) {
  const ElementObject* const object = asElementObject(element.ptr());
  return object != nullptr && object->model == self.ptr() && !object->element.isRemoved();
}

void moveToTop(const py::object& self, const py::object& element) {
  const ElementObject* const object = asElementObject(element.ptr());
  if (object == nullptr) raise(PyExc_TypeError, "an element is wanted");
  stateOf(self).change().adoptRoot(object->change());
}

py::object copy(const py::object& self) {
  ModelState& state = stateOf(self);
  Model made = [&] {
    const Reading reading(state);
    return state.read().clone();
  }();
  return toModel(state.registry(), std::move(made));
}

std::string show(const ModelState& state) {
  return "<kr0.Model of " + std::to_string(state.read().size()) + " elements>";
}

}  // namespace

py::object toModel(std::shared_ptr<RegistryState> registry, Model model) {
  return py::cast(std::make_shared<ModelState>(std::move(registry), std::move(model)));
}

void bindModel(ModelClass& model) {
  model
      .def(py::init([](const std::shared_ptr<RegistryState>& registry) {
             return std::make_shared<ModelState>(registry, Model(registry->registry()));
           }),
           py::arg("registry"), "An empty model.")
      .def_property_readonly("registry", [](const ModelState& self) { return self.registry(); })
      .def_property_readonly("roots", &roots, "The elements at the top: a list.")
      .def_property_readonly(
          "memory", [](const ModelState& self) { return self.read().getMemoryUsed(); },
          "Bytes that the model holds.")
      .def(
          "create",
          [](const py::object& self, const py::object& type, const py::kwargs& values) {
            return create(self, type, values);
          },
          py::arg("type"), py::pos_only(),
          "Makes an element at the top, of a class or its qualified name, with these attributes.")
      .def("elements", &elements, py::arg("type") = py::none(),
           "The elements in document order, or those of a class and of what inherits from it: an iterator.")
      .def("__iter__", [](const py::object& self) { return elements(self, py::none()); })
      .def("__len__", [](const ModelState& self) { return self.read().size(); })
      .def("__bool__", [](const ModelState&) { return true; })
      .def("__contains__", &contains)
      .def("__repr__", &show)
      .def("move_to_top", &moveToTop, py::arg("element"),
           "Moves an element to the top, behind those that are there.")
      .def("copy", &copy, "A deep copy of everything.")
      .def("__copy__", &copy)
      .def("__deepcopy__", [](const py::object& self, const py::dict&) { return copy(self); })
      .def(
          "find",
          [](const py::object& self, const std::string& path) {
            return toElement(self, findElement(stateOf(self).read(), path));
          },
          py::arg("path"),
          "The element that a path leads to, such as '/library/books[3]' or '/library/books[title=\"Moby "
          "Dick\"]', or "
          "None.")
      .def(
          "find_identity",
          [](const py::object& self, const std::string& first, const std::string& second) {
            return toElement(self, stateOf(self).read().findByIdentity(first, second));
          },
          py::arg("first"), py::arg("second"),
          "The element of an identity, or None. Looks through the whole model.");
}

}  // namespace kr::zero::python
