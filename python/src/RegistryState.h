/// @file
/// Internal: what a Python Registry is.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "AttributeTable.h"
#include "Binding.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::python {

/// A registry with what Python knows of its types. All of it is used with Python's lock held, but for the
/// registry and mapping themselves, which never change.
class RegistryState {
 public:
  /// @param mapping of `registry`; null: the one that describes it is made when it is asked for.
  RegistryState(std::unique_ptr<const meta::MetaRegistry> registry,
                std::shared_ptr<const ecore::Mapping> mapping)
      : registry_(std::move(registry)), mapping_(std::move(mapping)) {}
  RegistryState(const RegistryState&) = delete;
  RegistryState& operator=(const RegistryState&) = delete;

  /// The registry, which lives as long as this.
  const meta::MetaRegistry& registry() const noexcept { return *registry_; }
  /// What XMI and archives need beside it.
  const ecore::Mapping& mapping();
  /// The Python class of an enumeration, made when it is first asked for.
  py::handle enumeration(meta::Enum type);
  /// The member of it for a number, or an int where no literal has that number. A new reference.
  PyObject* member(meta::Enum type, std::int64_t number);
  /// Which attributes the elements of a type have.
  AttributeTable& attributes(meta::StructuredType type);

 private:
  struct Enumeration {
    py::object type;
    std::vector<py::object> members;  // by literal
  };
  const Enumeration& find(meta::Enum type);

  std::unique_ptr<const meta::MetaRegistry> registry_;
  std::shared_ptr<const ecore::Mapping> mapping_;
  std::vector<std::unique_ptr<Enumeration>> enumerations_;   // by type index
  std::vector<std::unique_ptr<AttributeTable>> attributes_;  // by type index
};

}  // namespace kr::zero::python
