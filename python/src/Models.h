/// @file
/// Internal: models as Python objects, in parts.
#pragma once

#include <memory>

#include "Binding.h"
#include "ModelState.h"

namespace kr::zero::python {

using ModelClass = py::class_<ModelState, std::shared_ptr<ModelState>>;

/// What a Python Model is.
inline ModelState& stateOf(const py::object& model) { return model.cast<ModelState&>(); }
/// A model that has come into being, for Python.
py::object toModel(std::shared_ptr<RegistryState> registry, Model model);

///@{
/// Parts of the class Model, and functions beside it.
void bindModel(ModelClass& model);
void bindColumns(ModelClass& model);
void bindStudies(ModelClass& model);
void bindDocuments(py::module_& module, ModelClass& model);
///@}

}  // namespace kr::zero::python
