#include "TypeObjects.h"

#include <string>

#include "Failures.h"

namespace kr::zero::python {

namespace {

meta::Property propertyNamed(const StructuredObject& self, std::string_view name) {
  return meta::StructuredType(self.type)->findProperty(name);
}

py::tuple toTuple(const std::shared_ptr<RegistryState>& registry,
                  const std::vector<meta::Property>& properties) {
  py::tuple all(properties.size());
  for (std::size_t i = 0; i < properties.size(); ++i) all[i] = toProperty(registry, properties[i]);
  return all;
}

const char* kindName(meta::PropertyKind kind) {
  constexpr const char* kNames[] = {"none",     "number",   "enumeration", "text",       "uuid",
                                    "datetime", "datatype", "composition", "association"};
  return kNames[static_cast<std::size_t>(kind)];
}

template <class Object>
py::object cast(const std::shared_ptr<RegistryState>& registry, meta::Type type) {
  return py::cast(Object{{registry, type}});
}
template <class Object>
py::object castStructured(const std::shared_ptr<RegistryState>& registry, meta::Type type) {
  return py::cast(Object{{{registry, type}}});
}

template <class Object>
bool isSame(const Object& a, const py::object& b) {
  return py::isinstance<Object>(b) && b.cast<Object>().type == a.type;
}

void bindProperty(py::module_& module) {
  using P = PropertyObject;
  const auto flag = [](auto question) {
    return [question](const P& self) { return (*self.property.get().*question)(); };
  };
  using Impl = meta::Property::Impl;
  py::class_<P>(module, "Property", "A property of a class or datatype.")
      .def_property_readonly("name", [](const P& self) { return toStr(self.property->name()); })
      .def_property_readonly("type",
                             [](const P& self) { return toType(self.registry, self.property->getType()); })
      .def_property_readonly(
          "owner", [](const P& self) { return toType(self.registry, meta::Type(self.property->getOwner())); },
          "The type that declares it.")
      .def_property_readonly(
          "kind", [](const P& self) { return kindName(self.property->getKind()); },
          "\"number\" (Booleans too), \"enumeration\", \"text\", \"uuid\", \"datetime\", \"datatype\", "
          "\"composition\", "
          "\"association\", or \"none\" for what holds nothing.")
      .def_property_readonly(
          "id", [](const P& self) { return self.property->getIdentifier(); },
          "The number that the binary formats carry; 0 for what is not stored.")
      .def_property_readonly(
          "lower", [](const P& self) { return self.property->getLower(); }, "The least number of values.")
      .def_property_readonly(
          "upper",
          [](const P& self) -> py::object {
            if (self.property->getUpper() < 0) return py::none();
            return py::int_(self.property->getUpper());
          },
          "The greatest number of values; None for no bound.")
      .def_property_readonly("is_many", flag(&Impl::isMany), "Whether it is a collection.")
      .def_property_readonly("is_composite", flag(&Impl::isComposite), "Whether it holds its elements.")
      .def_property_readonly("is_ordered", flag(&Impl::isOrdered))
      .def_property_readonly("is_unique", flag(&Impl::isUnique))
      .def_property_readonly("is_derived", flag(&Impl::isDerived))
      .def_property_readonly("is_static", flag(&Impl::isStatic))
      .def_property_readonly("is_transient", flag(&Impl::isTransient), "Held in memory, never written.")
      .def_property_readonly("is_stored", flag(&Impl::isStored), "Whether an element can hold a value of it.")
      .def_property_readonly(
          "opposite", [](const P& self) { return toProperty(self.registry, self.property->getOpposite()); })
      .def_property_readonly(
          "default",
          [](const P& self) -> py::object {
            const auto& text = self.property->getDefaultText();
            return text ? toStr(*text) : py::none();
          },
          "The text of what holds where nothing was said, or None.")
      .def("__eq__",
           [](const P& self, const py::object& other) {
             return py::isinstance<P>(other) && other.cast<P>().property == self.property;
           })
      .def("__hash__",
           [](const P& self) { return reinterpret_cast<std::uintptr_t>(self.property.get()) >> 4; })
      .def("__repr__", [](const P& self) {
        return "<property " + self.property->getOwner()->qualifiedName() + "." + self.property->name() + ">";
      });
}

void bindType(py::module_& module) {
  using T = TypeObject;
  py::class_<T>(module, "Type", "A type of a meta model.")
      .def_property_readonly("name", [](const T& self) { return toStr(self.type->name()); })
      .def_property_readonly(
          "qualified_name", [](const T& self) { return toStr(self.type->qualifiedName()); },
          "Packages and name, joined by dots: \"library.Book\".")
      .def_property_readonly(
          "package_uri", [](const T& self) { return toStr(self.type->packageUri()); },
          "The URI of its package; empty for standard types.")
      .def_property_readonly("registry", [](const T& self) { return self.registry; })
      .def("__eq__", &isSame<T>)
      .def("__hash__", [](const T& self) { return reinterpret_cast<std::uintptr_t>(self.type.get()) >> 4; })
      .def("__repr__", [](const py::object& self) {
        return "<" + py::type::of(self).attr("__name__").cast<std::string>() + " " +
               self.cast<T>().type->qualifiedName() + ">";
      });
}

void bindStructured(py::module_& module) {
  using S = StructuredObject;
  py::class_<S, TypeObject>(module, "StructuredType", "A type with properties.")
      .def_property_readonly(
          "properties",
          [](const S& self) {
            return toTuple(self.registry, meta::StructuredType(self.type)->getAllProperties());
          },
          "Inherited ones first, then its own: a tuple.")
      .def_property_readonly(
          "own_properties",
          [](const S& self) {
            return toTuple(self.registry, meta::StructuredType(self.type)->getOwnedAttributes());
          },
          "Those that it declares itself.")
      .def(
          "__getitem__",
          [](const S& self, const std::string& name) {
            const meta::Property property = propertyNamed(self, name);
            if (!property)
              raise(PyExc_KeyError,
                    "type " + self.type->qualifiedName() + " has no property \"" + name + '"');
            return toProperty(self.registry, property);
          },
          py::arg("name"))
      .def("__contains__", [](const S& self, const py::object& name) {
        return PyUnicode_Check(name.ptr()) && static_cast<bool>(propertyNamed(self, textOf(name.ptr())));
      });
  py::class_<DatatypeObject, S>(module, "Datatype", "A value made of parts.");
  using C = ClassObject;
  py::class_<C, S>(module, "Class", "A type whose values are elements.")
      .def_property_readonly(
          "is_abstract", [](const C& self) { return meta::Class(self.type)->isAbstract(); },
          "Whether it has no elements of its own.")
      .def_property_readonly(
          "supertypes",
          [](const C& self) {
            const auto& supertypes = meta::Class(self.type)->getSupertypes();
            py::tuple all(supertypes.size());
            for (std::size_t i = 0; i < supertypes.size(); ++i)
              all[i] = toType(self.registry, meta::Type(supertypes[i]));
            return all;
          },
          "What it inherits from directly.")
      .def(
          "conforms_to",
          [](const C& self, const C& other) {
            return meta::Class(self.type)->conformsTo(meta::Class(other.type));
          },
          py::arg("other"), "Whether it is a class or inherits from it.");
}

void bindEnumeration(py::module_& module) {
  using E = EnumerationObject;
  py::class_<E, TypeObject>(module, "Enumeration", "An enumeration of a meta model.")
      .def_property_readonly(
          "literals",
          [](const E& self) {
            const auto& literals = meta::Enum(self.type)->getLiterals();
            py::tuple names(literals.size());
            for (std::size_t i = 0; i < literals.size(); ++i) names[i] = toStr(literals[i].name);
            return names;
          },
          "The names of its literals.")
      .def_property_readonly(
          "python",
          [](const E& self) {
            return py::reinterpret_borrow<py::object>(self.registry->enumeration(meta::Enum(self.type)));
          },
          "The enum.Enum whose members are its values, by name with the number as value.");
}

}  // namespace

py::object toType(const std::shared_ptr<RegistryState>& registry, meta::Type type) {
  if (!type) return py::none();
  if (meta::Class(type)) return castStructured<ClassObject>(registry, type);
  if (meta::StructuredType(type)) return castStructured<DatatypeObject>(registry, type);
  if (meta::Enum(type)) return cast<EnumerationObject>(registry, type);
  return cast<PrimitiveObject>(registry, type);
}

py::object toProperty(const std::shared_ptr<RegistryState>& registry, meta::Property property) {
  if (!property) return py::none();
  return py::cast(PropertyObject{registry, property});
}

meta::Type typeOf(const RegistryState& registry, const py::handle& type) {
  if (PyUnicode_Check(type.ptr())) {
    const std::string_view name = textOf(type.ptr());
    const meta::Type found = registry.registry().findType(name);
    if (!found) raise(PyExc_KeyError, "there is no type \"" + std::string(name) + '"');
    return found;
  }
  if (!py::isinstance<TypeObject>(type))
    raise(PyExc_TypeError,
          std::string("a type or its qualified name is wanted, not ") + Py_TYPE(type.ptr())->tp_name);
  const TypeObject& object = type.cast<const TypeObject&>();
  if (object.registry.get() != &registry)
    raise(PyExc_ValueError,
          "type " + object.type->qualifiedName() + " is of another registry than the model");
  return object.type;
}

meta::Class classOf(const RegistryState& registry, const py::handle& type) {
  const meta::Type found = typeOf(registry, type);
  const meta::Class cls(found);
  if (!cls) raise(PyExc_TypeError, "type " + found->qualifiedName() + " is no class and has no elements");
  return cls;
}

void bindTypes(py::module_& module) {
  bindType(module);
  py::class_<PrimitiveObject, TypeObject>(module, "PrimitiveType", "A type of values without parts.");
  bindEnumeration(module);
  bindStructured(module);
  bindProperty(module);
}

}  // namespace kr::zero::python
