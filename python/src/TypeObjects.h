/// @file
/// Internal: registries, types and properties as Python objects.
#pragma once

#include <memory>

#include "Binding.h"
#include "RegistryState.h"

namespace kr::zero::python {

/// A type with what keeps it alive.
struct TypeObject {
  std::shared_ptr<RegistryState> registry;
  meta::Type type;
};
///@{
/// What the types of Python's types are: which one is known when an object is made.
struct PrimitiveObject : TypeObject {};
struct EnumerationObject : TypeObject {};
struct StructuredObject : TypeObject {};
struct DatatypeObject : StructuredObject {};
struct ClassObject : StructuredObject {};
///@}

/// A property with what keeps it alive.
struct PropertyObject {
  std::shared_ptr<RegistryState> registry;
  meta::Property property;
};

///@{
/// As Python objects; None for an empty handle.
py::object toType(const std::shared_ptr<RegistryState>& registry, meta::Type type);
py::object toProperty(const std::shared_ptr<RegistryState>& registry, meta::Property property);
///@}

/// The type that a str names or a Type is.
/// @throws py::error_already_set: KeyError for an unknown name, TypeError for anything else; ValueError for a
///   type of another registry.
meta::Type typeOf(const RegistryState& registry, const py::handle& type);
/// The same for a class.
meta::Class classOf(const RegistryState& registry, const py::handle& type);

void bindTypes(py::module_& module);
void bindRegistry(py::module_& module);
void bindBuilders(py::module_& module);

}  // namespace kr::zero::python
