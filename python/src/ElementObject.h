/// @file
/// Internal: elements as Python objects. There may be millions, and programs look at them one by one: the
/// type is made with Python's own means and not with those of the bindings, which cost several times as much
/// for each attribute.
#pragma once

#include "Binding.h"
#include "ModelState.h"
#include "kr/zero/Model.h"

namespace kr::zero::python {

/// An element, or a value of a datatype.
struct ElementObject {
  PyObject_HEAD PyObject* model;  ///< the Python Model, which it keeps
  ModelState* state;              ///< what that one is
  Element element;                ///< for changing only where state->change() was asked

  /// The element for reading.
  /// @throws ModelError where it was removed.
  ConstElement read() const;
  /// The element for changing.
  /// @throws ModelError where it was removed, or the model is read by another thread.
  Element change() const;
  meta::StructuredType type() const noexcept;
  meta::Property property(std::size_t slot) const;
  RegistryState& registry() const noexcept { return *state->registry(); }
};

/// The type, once it was made.
PyTypeObject* elementType() noexcept;
/// Makes the type and adds it to the module.
void addElementType(py::module_& module);

/// An element of the model of another object; null with a Python error where there is no memory.
PyObject* makeElement(PyObject* model, ModelState* state, ConstElement element) noexcept;
inline PyObject* makeElement(const ElementObject* beside, ConstElement element) noexcept {
  return makeElement(beside->model, beside->state, element);
}
/// The same for callers that pass Python's errors on as exceptions; None for an empty handle.
py::object toElement(const py::object& model, ConstElement element);

/// What a Python object is, or null where it is no element.
inline ElementObject* asElementObject(PyObject* object) noexcept {
  return Py_TYPE(object) == elementType() ? reinterpret_cast<ElementObject*>(object) : nullptr;
}

/// The slot that a str names, or an int counts, among the properties of the element's type.
/// @throws py::error_already_set (KeyError, IndexError, TypeError).
std::size_t slotOf(const ElementObject* self, PyObject* key);

}  // namespace kr::zero::python
