#include "ElementObject.h"

#include <string>

#include "Failures.h"
#include "IteratorObject.h"
#include "Names.h"
#include "Properties.h"
#include "TypeObjects.h"
#include "kr/zero/ElementPath.h"
#include "kr/zero/Records.h"

namespace kr::zero::python {

namespace {

PyTypeObject* theElementType = nullptr;

ElementObject* self(PyObject* object) noexcept { return reinterpret_cast<ElementObject*>(object); }

py::object modelOf(const ElementObject* element) {
  return py::reinterpret_borrow<py::object>(element->model);
}

void dealloc(PyObject* object) {
  PyTypeObject* const type = Py_TYPE(object);
  PyObject* const model = self(object)->model;
  self(object)->~ElementObject();
  type->tp_free(object);
  Py_DECREF(model);
  Py_DECREF(type);
}

PyObject* repr(PyObject* object) {
  return guarded([&] {
    const ConstElement element = self(object)->element;
    std::string text = "<";
    if (element.isRemoved())
      text += "removed element>";
    else
      text += element.getType()->qualifiedName() + " " + element.getPath() + ">";
    return makeText(text);
  });
}

Py_hash_t hash(PyObject* object) {
  const auto address =
      reinterpret_cast<std::uintptr_t>(internal::ElementAccess::recordOf(self(object)->element));
  const auto rotated = static_cast<Py_hash_t>(address >> 4);
  return rotated == -1 ? -2 : rotated;
}

PyObject* compare(PyObject* a, PyObject* b, int operation) {
  const ElementObject* const other = asElementObject(b);
  if (other == nullptr || (operation != Py_EQ && operation != Py_NE)) Py_RETURN_NOTIMPLEMENTED;
  return PyBool_FromLong((self(a)->element == other->element) == (operation == Py_EQ));
}

PyObject* getAttribute(PyObject* object, PyObject* name) {
  ElementObject* const element = self(object);
  return guarded([&]() -> PyObject* {
    const std::uint32_t slot = element->registry().attributes(element->type()).find(name);
    if (slot != AttributeTable::kNone) return readProperty(element, slot);
    PyObject* const own = PyObject_GenericGetAttr(object, name);
    if (own == nullptr && PyErr_ExceptionMatches(PyExc_AttributeError) != 0) {
      PyErr_Clear();
      raise(PyExc_AttributeError, "type " + element->type()->qualifiedName() + " has no property \"" +
                                      std::string(textOf(name)) + '"');
    }
    return own;
  });
}

[[noreturn]] void refuseToSet(const ElementObject* element, PyObject* name) {
  const std::string text(textOf(name));
  const std::string type = element->type()->qualifiedName();
  const bool isProperty =
      element->registry().attributes(element->type()).findExact(text) != AttributeTable::kNone;
  raise(PyExc_AttributeError, isProperty
                                  ? "\"" + text + "\" is what every element has; the property of type " +
                                        type + " is \"" + text + "_\""
                                  : "type " + type + " has no property \"" + text + '"');
}

int setAttribute(PyObject* object, PyObject* name, PyObject* value) {
  ElementObject* const element = self(object);
  return guarded(-1, [&] {
    const std::uint32_t slot = element->registry().attributes(element->type()).find(name);
    if (slot == AttributeTable::kNone) {
      if (textOf(name) == "identity") return PyObject_GenericSetAttr(object, name, value);
      refuseToSet(element, name);
    }
    value == nullptr ? unsetProperty(element, slot) : writeProperty(element, slot, value);
    return 0;
  });
}

PyObject* getItem(PyObject* object, PyObject* key) {
  return guarded([&] { return readProperty(self(object), slotOf(self(object), key)); });
}

int setItem(PyObject* object, PyObject* key, PyObject* value) {
  return guarded(-1, [&] {
    const std::size_t slot = slotOf(self(object), key);
    value == nullptr ? unsetProperty(self(object), slot) : writeProperty(self(object), slot, value);
    return 0;
  });
}

int contains(PyObject* object, PyObject* key) {
  return guarded(-1, [&] { return entryOf(self(object), slotOf(self(object), key)) ? 1 : 0; });
}

// Members.

PyObject* getType(PyObject* object, void*) {
  return guarded([&] {
    return toType(self(object)->state->registry(), meta::Type(self(object)->type())).release().ptr();
  });
}

PyObject* getModel(PyObject* object, void*) {
  Py_INCREF(self(object)->model);
  return self(object)->model;
}

PyObject* getContainer(PyObject* object, void*) {
  return guarded(
      [&] { return toElement(modelOf(self(object)), self(object)->read().getContainer()).release().ptr(); });
}

PyObject* getContainingProperty(PyObject* object, void*) {
  return guarded([&] {
    return toProperty(self(object)->state->registry(), self(object)->read().getContainingProperty())
        .release()
        .ptr();
  });
}

PyObject* getPath(PyObject* object, void*) {
  return guarded([&] { return makeText(fullPathOf(self(object)->read())); });
}

PyObject* isRemoved(PyObject* object, void*) { return PyBool_FromLong(self(object)->element.isRemoved()); }

PyObject* getIdentity(PyObject* object, void*) {
  return guarded([&] {
    const std::optional<Identity> identity = self(object)->read().getIdentity();
    const py::object parts =
        identity ? py::object(py::make_tuple(toStr(identity->first), toStr(identity->second))) : py::none();
    return py::object(parts).release().ptr();
  });
}

int setIdentity(PyObject* object, PyObject* value, void*) {
  return guarded(-1, [&] {
    Element element = self(object)->change();
    if (value == nullptr || value == Py_None) {
      element.clearIdentity();
      return 0;
    }
    if (!PyTuple_Check(value) || PyTuple_GET_SIZE(value) != 2)
      raise(PyExc_TypeError, "an identity is a tuple of two str");
    element.setIdentity(textOf(PyTuple_GET_ITEM(value, 0)), textOf(PyTuple_GET_ITEM(value, 1)));
    return 0;
  });
}

PyObject* state(PyObject* object, PyObject* key) {
  return guarded([&] {
    const std::optional<cells::Entry> entry = entryOf(self(object), slotOf(self(object), key));
    const char* const name = !entry ? "unset" : cells::isEmpty(*entry) ? "empty" : "value";
    return py::object(ourName("State").attr(name)).release().ptr();
  });
}

PyObject* children(PyObject* object, PyObject*) {
  return guarded([&] {
    py::list all;
    for (const ConstElement child : self(object)->read().children())
      all.append(toElement(modelOf(self(object)), child));
    return all.release().ptr();
  });
}

PyObject* descendants(PyObject* object, PyObject*) {
  return guarded([&] {
    return makeIterator(modelOf(self(object)), self(object)->state, self(object)->read().descendants());
  });
}

PyObject* referrers(PyObject* object, PyObject*) {
  return guarded([&] {
    py::list all;
    for (const ConstElement element : self(object)->state->read().getReferrers(self(object)->read()))
      all.append(toElement(modelOf(self(object)), element));
    return all.release().ptr();
  });
}

PyObject* remove(PyObject* object, PyObject*) {
  return guarded([&] {
    const Element element = self(object)->change();
    self(object)->state->change().remove(element);
    return py::none().release().ptr();
  });
}

PyObject* create(PyObject* object, PyObject* arguments, PyObject* keywords) {
  return guarded([&] {
    PyObject* property = nullptr;
    PyObject* type = Py_None;
    if (PyArg_UnpackTuple(arguments, "create", 1, 2, &property, &type) == 0) throw py::error_already_set();
    const py::dict values = keywords == nullptr ? py::dict() : py::reinterpret_borrow<py::dict>(keywords);
    return createChild(self(object), slotOf(self(object), property), py::reinterpret_borrow<py::object>(type),
                       values)
        .release()
        .ptr();
  });
}

PyObject* items(PyObject* object, PyObject*) {
  return guarded([&] {
    ElementObject* const element = self(object);
    const meta::StructuredType type = element->read().getType();
    py::list all;
    const auto& properties = type->getAllProperties();
    for (std::size_t slot = 0; slot < properties.size(); ++slot) {
      if (!entryOf(element, slot)) continue;
      PyObject* const value = readProperty(element, slot);
      if (value == nullptr) throw py::error_already_set();
      all.append(py::make_tuple(toStr(properties[slot]->name()), py::reinterpret_steal<py::object>(value)));
    }
    return all.release().ptr();
  });
}

PyObject* dir(PyObject* object, PyObject*) {
  return guarded([&] {
    py::list names = self(object)->registry().attributes(self(object)->type()).names();
    const py::list own(py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(theElementType))
                           .attr("__dict__")
                           .attr("keys")());
    for (const py::handle name : own) names.append(name);
    return names.release().ptr();
  });
}

PyGetSetDef theMembers[] = {
    {"type", getType, nullptr, "The class, or the datatype of a value.", nullptr},
    {"model", getModel, nullptr, "The model that it is in, or was removed from.", nullptr},
    {"container", getContainer, nullptr, "The element that contains this one, or None.", nullptr},
    {"containing_property", getContainingProperty, nullptr,
     "The property of the container that holds this one, or None.", nullptr},
    {"path", getPath, nullptr,
     "The names and positions that lead here, such as \"/library/books[3]\"; Model.find takes it.", nullptr},
    {"is_removed", isRemoved, nullptr, "Whether it was taken out of its model.", nullptr},
    {"identity", getIdentity, setIdentity,
     "The two texts that name it across documents, or None. None and `del` take it away.", nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr}};

PyMethodDef theMethods[] = {
    {"state", state, METH_O,
     "state($self, property, /)\n--\n\nWhether anything was said of a property: State.unset, State.empty "
     "(said to hold "
     "nothing) or State.value."},
    {"children", children, METH_NOARGS,
     "children($self, /)\n--\n\nAll children, over all properties, in document order: a list."},
    {"descendants", descendants, METH_NOARGS,
     "descendants($self, /)\n--\n\nAll elements below this one, in document order: an iterator."},
    {"referrers", referrers, METH_NOARGS,
     "referrers($self, /)\n--\n\nThe elements that refer to this one: a list. Looks through the whole "
     "model."},
    {"remove", remove, METH_NOARGS,
     "remove($self, /)\n--\n\nTakes the element and all below it out of the model, and with them every "
     "reference to "
     "them. Whoever still has one of them gets kr0.Error for whatever is done with it."},
    {"create", asFunction(create), METH_VARARGS | METH_KEYWORDS,
     "create($self, property, type=None, /, **values)\n--\n\nMakes a child, or a value of a datatype, in a "
     "property, "
     "with these attributes, and gives it.\n\n`type` is a class or its qualified name; None: the property's "
     "own."},
    {"items", items, METH_NOARGS,
     "items($self, /)\n--\n\nNames and values of the properties that are set, in the order of the class: a "
     "list."},
    {"__dir__", dir, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr}};

constexpr const char* kDoc =
    "An element of a model, or a value of a datatype.\n\n"
    "Properties are attributes: ``book.title``, ``book.pages = 635``, ``del book.pages``. A property that "
    "has the "
    "name of something\nlisted here, or is a word of Python, gets an underscore: ``element.type_``. "
    "``element[\"type\"]`` "
    "takes every name as it is,\nand ``element[0]`` the position among ``element.type.properties``. "
    "``\"pages\" in book`` tells whether anything was said.\n\n"
    "A property without a value is its default, else None. Collections are lists that change the model.\n"
    "Elements are equal where they are the same one. An element keeps its model alive.";

PyType_Slot theSlots[] = {{Py_tp_doc, const_cast<char*>(kDoc)},
                          {Py_tp_dealloc, reinterpret_cast<void*>(dealloc)},
                          {Py_tp_repr, reinterpret_cast<void*>(repr)},
                          {Py_tp_hash, reinterpret_cast<void*>(hash)},
                          {Py_tp_richcompare, reinterpret_cast<void*>(compare)},
                          {Py_tp_getattro, reinterpret_cast<void*>(getAttribute)},
                          {Py_tp_setattro, reinterpret_cast<void*>(setAttribute)},
                          {Py_mp_subscript, reinterpret_cast<void*>(getItem)},
                          {Py_mp_ass_subscript, reinterpret_cast<void*>(setItem)},
                          {Py_sq_contains, reinterpret_cast<void*>(contains)},
                          {Py_tp_methods, theMethods},
                          {Py_tp_getset, theMembers},
                          {0, nullptr}};

PyType_Spec theSpec{"kr0.Element", sizeof(ElementObject), 0,
                    Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION | Py_TPFLAGS_IMMUTABLETYPE,
                    theSlots};

}  // namespace

ConstElement ElementObject::read() const {
  const internal::ElementRecord* const record = internal::ElementAccess::recordOf(element);
  if (record->removed) internal::failToUse(record);
  return element;
}

Element ElementObject::change() const {
  read();
  state->requireNoReader();
  return element;
}

meta::StructuredType ElementObject::type() const noexcept {
  return internal::ElementAccess::recordOf(element)->use->type;
}

meta::Property ElementObject::property(std::size_t slot) const {
  return internal::ElementAccess::recordOf(element)->use->properties[slot];
}

PyTypeObject* elementType() noexcept { return theElementType; }

void addElementType(py::module_& module) {
  theElementType = reinterpret_cast<PyTypeObject*>(PyType_FromSpec(&theSpec));
  if (theElementType == nullptr) throw py::error_already_set();
  module.add_object("Element", reinterpret_cast<PyObject*>(theElementType));
}

PyObject* makeElement(PyObject* model, ModelState* state, ConstElement element) noexcept {
  PyObject* const made = PyType_GenericAlloc(theElementType, 0);
  if (made == nullptr) return nullptr;
  ElementObject* const object = self(made);
  Py_INCREF(model);
  object->model = model;
  object->state = state;
  object->element = internal::ElementAccess::make<Element>(internal::ElementAccess::storeOf(element),
                                                           internal::ElementAccess::recordOf(element));
  return made;
}

py::object toElement(const py::object& model, ConstElement element) {
  if (!element) return py::none();
  PyObject* const made = makeElement(model.ptr(), py::cast<ModelState*>(model), element);
  if (made == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(made);
}

std::size_t slotOf(const ElementObject* self, PyObject* key) {
  const meta::StructuredType type = self->type();
  if (PyUnicode_Check(key)) {
    const std::string_view name = textOf(key);
    const std::size_t slot = type->findSlot(name);
    if (slot == meta::StructuredType::Impl::npos)
      raise(PyExc_KeyError,
            "type " + type->qualifiedName() + " has no property \"" + std::string(name) + '"');
    return slot;
  }
  const Py_ssize_t count = static_cast<Py_ssize_t>(type->getAllProperties().size());
  const Py_ssize_t index = PyNumber_AsSsize_t(key, PyExc_IndexError);
  if (index == -1 && PyErr_Occurred() != nullptr) throw py::error_already_set();
  const Py_ssize_t slot = index < 0 ? index + count : index;
  if (slot < 0 || slot >= count)
    raise(PyExc_IndexError, "type " + type->qualifiedName() + " has " + std::to_string(count) +
                                " properties, none at " + std::to_string(index));
  return static_cast<std::size_t>(slot);
}

}  // namespace kr::zero::python
