/// @file
/// Internal: collections of an element as Python lists.
#pragma once

#include "ElementObject.h"

namespace kr::zero::python {

/// Makes the type kr0.Values.
void addListType(py::module_& module);
/// The list of a collection, which looks at the element whenever it is asked. A new reference; null with a
/// Python error where there is no memory.
PyObject* makeList(ElementObject* element, std::size_t slot) noexcept;

}  // namespace kr::zero::python
