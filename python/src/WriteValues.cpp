// Python objects as values of a model.
#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "Failures.h"
#include "Names.h"
#include "Properties.h"
#include "Times.h"
#include "kr/zero/ElementCopier.h"

namespace kr::zero::python {

using meta::PropertyKind;
using meta::StandardKind;

namespace {

// Of a model that may be changed.
Element changeable(ConstElement element) {
  return internal::ElementAccess::make<Element>(internal::ElementAccess::storeOf(element),
                                                internal::ElementAccess::recordOf(element));
}

[[noreturn]] void refuse(meta::Property property, const char* wanted, PyObject* value) {
  raise(PyExc_TypeError, property->name() + ": " + wanted + " is wanted, not " + Py_TYPE(value)->tp_name);
}

// NumPy's Booleans are no bool, and are meant to be taken for one.
bool isBoolean(PyObject* value) {
  return PyBool_Check(value) || std::string_view(Py_TYPE(value)->tp_name) == "numpy.bool_";
}

py::object toIndex(meta::Property property, PyObject* value) {
  if (isBoolean(value) || !PyIndex_Check(value)) refuse(property, "an int", value);
  PyObject* const index = PyNumber_Index(value);
  if (index == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(index);
}

// Calls one of two functions, with the number as what holds it.
template <class Signed, class Unsigned>
void withInteger(meta::Property property, PyObject* value, Signed asSigned, Unsigned asUnsigned) {
  const py::object index = toIndex(property, value);
  int overflow = 0;
  const long long number = PyLong_AsLongLongAndOverflow(index.ptr(), &overflow);
  if (overflow == 0) return asSigned(std::int64_t{number});
  const unsigned long long large = overflow > 0 ? PyLong_AsUnsignedLongLong(index.ptr()) : 0;
  if (overflow < 0 || PyErr_Occurred() != nullptr) {
    PyErr_Clear();
    throw ModelError(
        {.path = property->name(), .problem = "no property holds a number of more than 64 bits"});
  }
  asUnsigned(std::uint64_t{large});
}

double toReal(meta::Property property, PyObject* value) {
  if (isBoolean(value) || PyUnicode_Check(value)) refuse(property, "a float", value);
  const double real = PyFloat_AsDouble(value);
  if (real == -1 && PyErr_Occurred() != nullptr) {
    if (PyErr_ExceptionMatches(PyExc_TypeError) == 0) throw py::error_already_set();
    PyErr_Clear();
    refuse(property, "a float", value);
  }
  return real;
}

Uuid toUuid(const py::handle& value) {
  Uuid uuid{};
  const auto bytes = value.attr("bytes").cast<std::string_view>();
  std::copy_n(bytes.begin(), std::min(bytes.size(), uuid.size()), uuid.begin());
  return uuid;
}

// How a primitive value gets into a property: set where it holds one, added where it holds several.
struct Setting {
  Element element;
  meta::Property property;
  void boolean(bool value) { element.setBoolean(property, value); }
  void integer(std::int64_t value) { element.setInteger(property, value); }
  void large(std::uint64_t value) { element.setUnsigned(property, value); }
  void real(double value) { element.setReal(property, value); }
  void text(std::string_view value) { element.setText(property, value); }
  void form(std::string_view value) { element.setTextForm(property, value); }
  void uuid(const Uuid& value) { element.setUuid(property, value); }
};
struct Adding {
  Element element;
  meta::Property property;
  void boolean(bool value) { element.addBoolean(property, value); }
  void integer(std::int64_t value) { element.addInteger(property, value); }
  void large(std::uint64_t value) { element.addUnsigned(property, value); }
  void real(double value) { element.addReal(property, value); }
  void text(std::string_view value) { element.addText(property, value); }
  void form(std::string_view value) { element.addTextForm(property, value); }
  void uuid(const Uuid& value) { element.addUuid(property, value); }
};

template <class How>
void putNumber(How how, PyObject* value) {
  const meta::Property property = how.property;
  switch (property->getNumberInfo().kind) {
    case StandardKind::boolean:
      if (!isBoolean(value)) refuse(property, "a bool", value);
      return how.boolean(PyObject_IsTrue(value) == 1);
    case StandardKind::real:
      return how.real(toReal(property, value));
    default:
      return withInteger(
          property, value, [&](std::int64_t number) { how.integer(number); },
          [&](std::uint64_t number) { how.large(number); });
  }
}

template <class How>
void putLiteral(How how, RegistryState& registry, PyObject* value) {
  const meta::Property property = how.property;
  if (PyUnicode_Check(value)) return how.form(textOf(value));
  const py::handle type = registry.enumeration(meta::Enum(property->getType()));
  if (py::isinstance(value, type)) return how.integer(py::handle(value).attr("value").cast<std::int64_t>());
  if (isBoolean(value) || !PyIndex_Check(value))
    refuse(property, ("a member of " + property->getType()->name() + ", its name or its number").c_str(),
           value);
  withInteger(
      property, value, [&](std::int64_t number) { how.integer(number); },
      [&](std::uint64_t number) { how.large(number); });
}

template <class How>
void putUuid(How how, PyObject* value) {
  if (PyUnicode_Check(value)) return how.form(textOf(value));
  if (!py::isinstance(value, importedName("uuid", "UUID"))) refuse(how.property, "a UUID or its text", value);
  how.uuid(toUuid(value));
}

template <class How>
void putPrimitive(How how, RegistryState& registry, PyObject* value) {
  switch (how.property->getKind()) {
    case PropertyKind::number:
      return putNumber(how, value);
    case PropertyKind::enumeration:
      return putLiteral(how, registry, value);
    case PropertyKind::uuid:
      return putUuid(how, value);
    case PropertyKind::dateTime:
      return how.text(timeText(value));
    default:
      if (!PyUnicode_Check(value)) refuse(how.property, "a str", value);
      return how.text(textOf(value));
  }
}

ElementObject* toElementOf(meta::Property property, PyObject* value) {
  ElementObject* const element = asElementObject(value);
  if (element == nullptr) refuse(property, "an element", value);
  return element;
}

// For the model to refuse where it is of another one.
Element other(meta::Property property, PyObject* value) { return toElementOf(property, value)->element; }

std::optional<UnresolvedReference> asUnresolved(PyObject* value) {
  if (!py::isinstance(value, ourName("Unresolved"))) return std::nullopt;
  const auto [type, first, second, document] =
      py::cast<std::tuple<std::string, std::string, std::string, std::optional<std::string>>>(
          py::handle(value));
  return UnresolvedReference{type, first, second, document};
}

}  // namespace

void requireAdoptable(const ElementObject* self, meta::Property property, ConstElement child) {
  const auto fail = [&](const char* problem) {
    throw ModelError({.path = self->element.getPath() + "." + property->name(), .problem = problem});
  };
  const meta::Class type = child.getClass();
  if (&child.getModel() != &ConstElement(self->element).getModel())
    fail("only an element of the same model can be moved");
  if (!type || !type->conformsTo(property->getTarget()))
    fail(("an element of class " + child.getType()->qualifiedName() + " does not fit a property of type " +
          property->getType()->qualifiedName())
             .c_str());
  for (ConstElement above = self->element; above; above = above.getContainer())
    if (above == child) fail("an element cannot be moved into itself or below itself");
}

void release(ElementObject* self, meta::Property property, ConstElement target) {
  const meta::Property opposite = property->getOpposite();
  if (!opposite || !target || opposite->getKind() != PropertyKind::association) return;
  Element there = changeable(target);
  const ConstElement here = self->element;
  if (!opposite->isMany()) {
    if (there.getReference(opposite) == here) there.unset(opposite);
    return;
  }
  for (std::size_t i = 0; i < there.size(opposite); ++i)
    if (there.getReference(opposite, i) == here) return there.removeAt(opposite, i);
}

namespace {

void releaseSingle(ElementObject* self, meta::Property property) {
  if (property->getKind() == PropertyKind::association)
    release(self, property, self->element.getReference(property));
}

void setReference(ElementObject* self, meta::Property property, PyObject* value) {
  if (const auto unresolved = asUnresolved(value)) {
    releaseSingle(self, property);
    return self->element.putUnresolved(property, *unresolved);
  }
  self->element.setReference(property, other(property, value));
}

void addReference(ElementObject* self, meta::Property property, PyObject* value) {
  if (const auto unresolved = asUnresolved(value)) return self->element.putUnresolved(property, *unresolved);
  self->element.addReference(property, other(property, value));
}

// A value of a datatype is copied: it has no life of its own. A dict makes one.
void putDatatype(ElementObject* self, std::size_t slot, PyObject* value) {
  const meta::Property property = self->property(slot);
  if (PyDict_Check(value)) {
    createChild(self, slot, py::none(), py::reinterpret_borrow<py::dict>(value));
    return;
  }
  ElementObject* const original = toElementOf(property, value);
  ElementCopier copier(original->state->read(), self->state->change());
  copier.copyInto(self->element, property, original->read());
  copier.finish();
}

void setDatatype(ElementObject* self, std::size_t slot, PyObject* value) {
  const meta::Property property = self->property(slot);
  ElementObject* const original = asElementObject(value);
  if (original != nullptr && self->element.getElement(property) == original->element) return;
  if (original == nullptr && !PyDict_Check(value)) refuse(property, "a value of it or a dict", value);
  if (original != nullptr && !(original->read().getType() == meta::StructuredType(property->getType())))
    refuse(property, ("a value of type " + property->getType()->name()).c_str(), value);
  self->element.unset(property);
  putDatatype(self, slot, value);
}

void setChild(ElementObject* self, meta::Property property, PyObject* value) {
  const Element child = other(property, value);
  const ConstElement held = self->element.getElement(property);
  if (held == child) return;
  if (!held) return self->element.adopt(property, child);
  requireAdoptable(self, property, child);
  for (ConstElement above = child; above; above = above.getContainer())
    if (above == held)
      throw ModelError(
          {.path = child.getPath(),
           .problem = "the element stands below the one that it would replace; move it out first"});
  self->element.unset(property);
  self->element.adopt(property, child);
}

void setSingle(ElementObject* self, std::size_t slot, PyObject* value) {
  const meta::Property property = self->property(slot);
  if (value == Py_None) {
    releaseSingle(self, property);
    return self->element.set(property, std::nullopt);
  }
  switch (property->getKind()) {
    case PropertyKind::association:
      return setReference(self, property, value);
    case PropertyKind::composition:
      return setChild(self, property, value);
    case PropertyKind::datatype:
      return setDatatype(self, slot, value);
    default:
      return putPrimitive(Setting{self->element, property}, self->registry(), value);
  }
}

void requireStored(const ElementObject* self, meta::Property property) {
  if (property->isStored()) return;
  throw ModelError(
      {.path = self->read().getPath() + "." + property->name(), .problem = "is derived and holds no value"});
}

}  // namespace

void addValue(ElementObject* self, meta::Property property, PyObject* value) {
  self->change();
  switch (property->getKind()) {
    case PropertyKind::association:
      return addReference(self, property, value);
    case PropertyKind::composition:
      return self->element.adopt(property, other(property, value));
    case PropertyKind::datatype:
      return putDatatype(self, self->type()->slotOf(property), value);
    default:
      return putPrimitive(Adding{self->element, property}, self->registry(), value);
  }
}

void removeValues(ElementObject* self, meta::Property property, std::size_t position, std::size_t count) {
  self->change();
  if (property->getOpposite() && property->getKind() == PropertyKind::association)
    for (std::size_t i = 0; i < count; ++i)
      release(self, property, self->element.getReference(property, position + i));
  self->element.removeRange(property, position, count);
}

void unsetProperty(ElementObject* self, std::size_t slot) {
  const meta::Property property = self->property(slot);
  self->change();
  requireStored(self, property);
  if (!property->isMany())
    releaseSingle(self, property);
  else if (property->getKind() == PropertyKind::association)
    removeValues(self, property, 0, self->element.size(property));
  self->element.unset(property);
}

void writeProperty(ElementObject* self, std::size_t slot, PyObject* value) {
  const meta::Property property = self->property(slot);
  self->change();
  requireStored(self, property);
  if (!property->isMany()) return setSingle(self, slot, value);
  replaceValues(self, slot, 0, self->element.size(property), value);
}

}  // namespace kr::zero::python
