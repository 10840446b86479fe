/// @file
/// Internal: walks over elements as Python iterators.
#pragma once

#include "Binding.h"
#include "ModelState.h"
#include "kr/zero/Model.h"

namespace kr::zero::python {

/// Makes the type.
void addIteratorType();
/// An iterator over a range of a model's elements, which keeps the model. A new reference.
/// @throws py::error_already_set, std::bad_alloc.
PyObject* makeIterator(const py::object& model, ModelState* state, const ConstElementRange& range);

}  // namespace kr::zero::python
