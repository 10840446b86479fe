// Elements that Python programs make.
#include <string>

#include "Failures.h"
#include "Properties.h"
#include "TypeObjects.h"

namespace kr::zero::python {

py::object createChild(ElementObject* self, std::size_t slot, const py::object& type,
                       const py::dict& values) {
  const meta::Property property = self->property(slot);
  Element parent = self->change();
  meta::StructuredType wanted;
  if (!type.is_none()) {
    const meta::Type found = typeOf(self->registry(), type);
    wanted = meta::StructuredType(found);
    if (!wanted) raise(PyExc_TypeError, "type " + found->qualifiedName() + " has no elements");
  }
  const Element child = parent.create(property, wanted);
  const py::object made = toElement(py::reinterpret_borrow<py::object>(self->model), child);
  try {
    setAll(made.ptr(), values);
  } catch (...) {  // all or nothing: the element that was made goes again
    if (property->isMany())
      parent.removeAt(property, parent.size(property) - 1);
    else
      parent.unset(property);
    throw;
  }
  return made;
}

void setAll(PyObject* element, const py::dict& values) {
  for (const auto& [name, value] : values)
    if (PyObject_SetAttr(element, name.ptr(), value.ptr()) < 0) throw py::error_already_set();
}

}  // namespace kr::zero::python
