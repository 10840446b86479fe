/// @file
/// Internal: values of properties as Python objects, and back.
#pragma once

#include <optional>
#include <span>

#include "ElementObject.h"
#include "kr/zero/Cells.h"

namespace kr::zero::python {

/// What a property holds, as Python has it: a value, None, or the list of a collection. A new reference; null
/// with a Python error.
/// @throws what the model does.
PyObject* readProperty(ElementObject* self, std::size_t slot);
/// Gives a property a value, or a collection all of its values.
/// @throws what the model does; py::error_already_set for a value of the wrong sort.
void writeProperty(ElementObject* self, std::size_t slot, PyObject* value);
/// Back to unset.
void unsetProperty(ElementObject* self, std::size_t slot);

/// One value of a collection. A new reference; null with a Python error.
PyObject* readValue(ElementObject* self, meta::Property property, cells::Entry entry, cells::Cell cell);
/// How many values a collection has, and their cells.
std::span<const cells::Cell> cellsOf(const ElementObject* self, std::size_t slot);
/// The entry of a property; nothing where it is unset.
std::optional<cells::Entry> entryOf(const ElementObject* self, std::size_t slot);
/// Adds a value at the end of a collection; where it is a child, moves it there.
void addValue(ElementObject* self, meta::Property property, PyObject* value);
/// Takes values out of a collection, with both sides of references.
void removeValues(ElementObject* self, meta::Property property, std::size_t position, std::size_t count);
/// Puts the values of an iterable in the place of `count` values of a collection.
void replaceValues(ElementObject* self, std::size_t slot, std::size_t first, std::size_t count,
                   PyObject* values);

/// @throws ModelError where an element cannot be moved to a property of children.
void requireAdoptable(const ElementObject* self, meta::Property property, ConstElement child);
/// The target of a reference no longer refers back; nothing where it does not.
void release(ElementObject* self, meta::Property property, ConstElement target);

/// A child or value of a datatype, made in a property, with these attributes.
py::object createChild(ElementObject* self, std::size_t slot, const py::object& type, const py::dict& values);
/// Gives an element the attributes of a call.
void setAll(PyObject* element, const py::dict& values);

}  // namespace kr::zero::python
