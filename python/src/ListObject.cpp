#include "ListObject.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "Failures.h"
#include "Names.h"
#include "Properties.h"

namespace kr::zero::python {

namespace {

struct ListObject {
  PyObject_HEAD ElementObject* element;
  std::size_t slot;

  meta::Property property() const { return element->property(slot); }
  std::size_t size() const { return cellsOf(element, slot).size(); }
};

PyTypeObject* theListType = nullptr;

ListObject* self(PyObject* object) noexcept { return reinterpret_cast<ListObject*>(object); }

void dealloc(PyObject* object) {
  PyTypeObject* const type = Py_TYPE(object);
  Py_DECREF(reinterpret_cast<PyObject*>(self(object)->element));
  type->tp_free(object);
  Py_DECREF(type);
}

py::object valueAt(const ListObject* list, std::size_t position) {
  const auto cells = cellsOf(list->element, list->slot);
  if (position >= cells.size()) raise(PyExc_IndexError, "list index out of range");
  const cells::Entry entry = *entryOf(list->element, list->slot);
  PyObject* const value = readValue(list->element, list->property(), entry, cells[position]);
  if (value == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(value);
}

py::list allOf(const ListObject* list) {
  py::list all;
  for (std::size_t i = 0; i < list->size(); ++i) all.append(valueAt(list, i));
  return all;
}

// A position that an index from either end means.
std::size_t positionOf(const ListObject* list, Py_ssize_t index) {
  const auto size = static_cast<Py_ssize_t>(list->size());
  const Py_ssize_t position = index < 0 ? index + size : index;
  if (position < 0 || position >= size) raise(PyExc_IndexError, "list index out of range");
  return static_cast<std::size_t>(position);
}

Py_ssize_t toIndex(PyObject* key) {
  if (!PyIndex_Check(key))
    raise(PyExc_TypeError, std::string("list indices are int or slices, not ") + Py_TYPE(key)->tp_name);
  const Py_ssize_t index = PyNumber_AsSsize_t(key, PyExc_IndexError);
  if (index == -1 && PyErr_Occurred() != nullptr) throw py::error_already_set();
  return index;
}

struct Slice {
  Py_ssize_t start = 0, stop = 0, step = 0, count = 0;
  std::size_t first() const {
    return static_cast<std::size_t>(step > 0 ? start : start + (count - 1) * step);
  }
};

Slice sliceOf(const ListObject* list, PyObject* key) {
  Slice slice;
  if (PySlice_Unpack(key, &slice.start, &slice.stop, &slice.step) < 0) throw py::error_already_set();
  slice.count =
      PySlice_AdjustIndices(static_cast<Py_ssize_t>(list->size()), &slice.start, &slice.stop, slice.step);
  return slice;
}

void replace(ListObject* list, std::size_t first, std::size_t count, const py::handle& values) {
  replaceValues(list->element, list->slot, first, count, values.ptr());
}

// A list as Python changes one, for what only a list does, put in the place of this one.
template <class Change>
void changeAll(ListObject* list, Change change) {
  if (list->size() == 0) return;
  py::list all = allOf(list);
  change(all);
  replace(list, 0, list->size(), all);
}

Py_ssize_t length(PyObject* object) {
  return guarded(Py_ssize_t{-1}, [&] { return static_cast<Py_ssize_t>(self(object)->size()); });
}

// Python adds the length to negative ones before.
PyObject* item(PyObject* object, Py_ssize_t index) {
  return guarded([&] {
    if (index < 0) raise(PyExc_IndexError, "list index out of range");
    return valueAt(self(object), static_cast<std::size_t>(index)).release().ptr();
  });
}

PyObject* getItem(PyObject* object, PyObject* key) {
  return guarded([&] {
    ListObject* const list = self(object);
    if (!PySlice_Check(key)) return valueAt(list, positionOf(list, toIndex(key))).release().ptr();
    const Slice slice = sliceOf(list, key);
    py::list values;
    for (Py_ssize_t i = 0; i < slice.count; ++i)
      values.append(valueAt(list, static_cast<std::size_t>(slice.start + i * slice.step)));
    return values.release().ptr();
  });
}

void setSlice(ListObject* list, PyObject* key, PyObject* value) {
  const Slice slice = sliceOf(list, key);
  const auto count = static_cast<std::size_t>(std::max<Py_ssize_t>(slice.count, 0));
  if (slice.step == 1) {
    if (value == nullptr)
      removeValues(list->element, list->property(), slice.first(), count);
    else
      replace(list, static_cast<std::size_t>(slice.start), count, value);
    return;
  }
  const py::object change = value == nullptr ? py::object() : py::reinterpret_borrow<py::object>(value);
  changeAll(list, [&](py::list& all) {
    if ((change ? PyObject_SetItem(all.ptr(), key, change.ptr()) : PyObject_DelItem(all.ptr(), key)) < 0)
      throw py::error_already_set();
  });
}

int setItem(PyObject* object, PyObject* key, PyObject* value) {
  return guarded(-1, [&] {
    ListObject* const list = self(object);
    list->element->change();
    if (PySlice_Check(key)) {
      setSlice(list, key, value);
      return 0;
    }
    const std::size_t position = positionOf(list, toIndex(key));
    if (value == nullptr)
      removeValues(list->element, list->property(), position, 1);
    else
      replace(list, position, 1, py::make_tuple(py::reinterpret_borrow<py::object>(value)));
    return 0;
  });
}

// Position of a value from one on, or the size where there is none.
std::size_t find(const ListObject* list, PyObject* value, std::size_t from = 0) {
  for (std::size_t i = from; i < list->size(); ++i) {
    const int isEqual = PyObject_RichCompareBool(valueAt(list, i).ptr(), value, Py_EQ);
    if (isEqual < 0) throw py::error_already_set();
    if (isEqual == 1) return i;
  }
  return list->size();
}

int contains(PyObject* object, PyObject* value) {
  return guarded(-1, [&] { return find(self(object), value) < self(object)->size() ? 1 : 0; });
}

PyObject* repr(PyObject* object) {
  return guarded([&] { return py::repr(allOf(self(object))).release().ptr(); });
}

// Equal to lists and tuples of equal values.
PyObject* compare(PyObject* a, PyObject* b, int operation) {
  return guarded([&]() -> PyObject* {
    const bool isList = Py_TYPE(b) == theListType;
    if (!isList && !PyList_Check(b) && !PyTuple_Check(b)) Py_RETURN_NOTIMPLEMENTED;
    PyObject* const other = isList ? allOf(self(b)).release().ptr() : PySequence_List(b);
    if (other == nullptr) throw py::error_already_set();
    const py::object right = py::reinterpret_steal<py::object>(other);
    return PyObject_RichCompare(allOf(self(a)).ptr(), right.ptr(), operation);
  });
}

PyObject* none() { return py::none().release().ptr(); }

PyObject* append(PyObject* object, PyObject* value) {
  return guarded([&] {
    addValue(self(object)->element, self(object)->property(), value);
    return none();
  });
}

PyObject* insert(PyObject* object, PyObject* const* arguments, Py_ssize_t count) {
  return guarded([&] {
    if (count != 2) raise(PyExc_TypeError, "insert takes an index and a value");
    ListObject* const list = self(object);
    const auto size = static_cast<Py_ssize_t>(list->size());
    const Py_ssize_t index = toIndex(arguments[0]);
    const Py_ssize_t position = std::clamp(index < 0 ? index + size : index, Py_ssize_t{0}, size);
    replace(list, static_cast<std::size_t>(position), 0,
            py::make_tuple(py::reinterpret_borrow<py::object>(arguments[1])));
    return none();
  });
}

PyObject* extend(PyObject* object, PyObject* values) {
  return guarded([&] {
    replace(self(object), self(object)->size(), 0, py::handle(values));
    return none();
  });
}

PyObject* addInPlace(PyObject* object, PyObject* values) {
  PyObject* const done = extend(object, values);
  if (done == nullptr) return nullptr;
  Py_DECREF(done);
  Py_INCREF(object);
  return object;
}

PyObject* remove(PyObject* object, PyObject* value) {
  return guarded([&] {
    ListObject* const list = self(object);
    const std::size_t position = find(list, value);
    if (position == list->size()) raise(PyExc_ValueError, "the list holds no such value");
    removeValues(list->element, list->property(), position, 1);
    return none();
  });
}

PyObject* pop(PyObject* object, PyObject* const* arguments, Py_ssize_t count) {
  return guarded([&] {
    if (count > 1) raise(PyExc_TypeError, "pop takes an index or nothing");
    ListObject* const list = self(object);
    const meta::PropertyKind kind = list->property()->getKind();
    if (kind == meta::PropertyKind::composition || kind == meta::PropertyKind::datatype)
      raise(PyExc_TypeError,
            "children cannot be popped, for an element is removed from its model with its place");
    if (list->size() == 0) raise(PyExc_IndexError, "pop from empty list");
    const std::size_t position = positionOf(list, count == 0 ? -1 : toIndex(arguments[0]));
    const py::object value = valueAt(list, position);
    removeValues(list->element, list->property(), position, 1);
    return py::object(value).release().ptr();
  });
}

PyObject* clear(PyObject* object, PyObject*) {
  return guarded([&] {
    replace(self(object), 0, self(object)->size(), py::list());
    return none();
  });
}

PyObject* index(PyObject* object, PyObject* const* arguments, Py_ssize_t count) {
  return guarded([&] {
    if (count < 1) raise(PyExc_TypeError, "index takes a value");
    const py::list all = allOf(self(object));
    const auto method = all.attr("index");
    py::tuple given(static_cast<std::size_t>(count));
    for (Py_ssize_t i = 0; i < count; ++i)
      given[static_cast<std::size_t>(i)] = py::reinterpret_borrow<py::object>(arguments[i]);
    return method(*given).release().ptr();
  });
}

PyObject* countOf(PyObject* object, PyObject* value) {
  return guarded([&] { return allOf(self(object)).attr("count")(py::handle(value)).release().ptr(); });
}

PyObject* reverse(PyObject* object, PyObject*) {
  return guarded([&] {
    ListObject* const list = self(object);
    std::vector<std::size_t> order(list->size());
    std::iota(order.rbegin(), order.rend(), std::size_t{0});
    list->element->change().arrange(list->property(), order);
    return none();
  });
}

PyObject* sort(PyObject* object, PyObject* arguments, PyObject* keywords) {
  return guarded([&] {
    if (PyTuple_GET_SIZE(arguments) != 0) raise(PyExc_TypeError, "sort takes key and reverse by name only");
    const py::dict named = keywords == nullptr ? py::dict() : py::reinterpret_borrow<py::dict>(keywords);
    changeAll(self(object), [&](py::list& all) { all.attr("sort")(**named); });
    return none();
  });
}

PyObject* create(PyObject* object, PyObject* arguments, PyObject* keywords) {
  return guarded([&] {
    PyObject* type = Py_None;
    if (PyArg_UnpackTuple(arguments, "create", 0, 1, &type) == 0) throw py::error_already_set();
    const py::dict values = keywords == nullptr ? py::dict() : py::reinterpret_borrow<py::dict>(keywords);
    return createChild(self(object)->element, self(object)->slot, py::reinterpret_borrow<py::object>(type),
                       values)
        .release()
        .ptr();
  });
}

// Walks over a list by position. It ends where the list then ends, without an exception: that costs more than
// all values of a short list.
struct WalkObject {
  PyObject_HEAD ListObject* list;
  std::size_t position;
};

PyTypeObject* theWalkType = nullptr;

WalkObject* walk(PyObject* object) noexcept { return reinterpret_cast<WalkObject*>(object); }

PyObject* iterate(PyObject* object) {
  PyObject* const made = PyType_GenericAlloc(theWalkType, 0);
  if (made == nullptr) return nullptr;
  Py_INCREF(object);
  walk(made)->list = self(object);
  return made;
}

void deallocWalk(PyObject* object) {
  PyTypeObject* const type = Py_TYPE(object);
  Py_DECREF(reinterpret_cast<PyObject*>(walk(object)->list));
  type->tp_free(object);
  Py_DECREF(type);
}

PyObject* next(PyObject* object) {
  return guarded([&]() -> PyObject* {
    const ListObject* const list = walk(object)->list;
    const auto cells = cellsOf(list->element, list->slot);
    const std::size_t position = walk(object)->position;
    if (position >= cells.size()) return nullptr;
    ++walk(object)->position;
    return readValue(list->element, list->property(), *entryOf(list->element, list->slot), cells[position]);
  });
}

PyMethodDef theMethods[] = {
    {"append", append, METH_O,
     "append($self, value, /)\n--\n\nAdds a value at the end; a child is moved here."},
    {"insert", asFunction(insert), METH_FASTCALL,
     "insert($self, index, value, /)\n--\n\nAdds a value before an index; a child is moved here."},
    {"extend", extend, METH_O,
     "extend($self, values, /)\n--\n\nAdds all values of an iterable, or none of them."},
    {"remove", remove, METH_O,
     "remove($self, value, /)\n--\n\nTakes out the first value that is equal; a child is removed from its "
     "model."},
    {"pop", asFunction(pop), METH_FASTCALL,
     "pop($self, index=-1, /)\n--\n\nTakes out a value and gives it. Children cannot be popped."},
    {"clear", clear, METH_NOARGS, "clear($self, /)\n--\n\nTakes out all values; children are removed."},
    {"index", asFunction(index), METH_FASTCALL,
     "index($self, value, start=0, stop=9223372036854775807, /)\n--\n\nThe first index of a value."},
    {"count", countOf, METH_O, "count($self, value, /)\n--\n\nHow many values are equal."},
    {"reverse", reverse, METH_NOARGS, "reverse($self, /)\n--\n\nTurns the order round."},
    {"sort", asFunction(sort), METH_VARARGS | METH_KEYWORDS,
     "sort($self, /, *, key=None, reverse=False)\n--\n\nSorts, as list.sort does."},
    {"create", asFunction(create), METH_VARARGS | METH_KEYWORDS,
     "create($self, type=None, /, **values)\n--\n\nMakes a child, or a value of a datatype, at the end; see "
     "Element.create."},
    {nullptr, nullptr, 0, nullptr}};

constexpr const char* kDoc =
    "The values of a property that holds several: a list that shows what the element has, and changes it.\n\n"
    "Children that are taken out are removed from their model; elements that are put in are moved. Slices "
    "are plain "
    "lists.";

PyType_Slot theSlots[] = {{Py_tp_doc, const_cast<char*>(kDoc)},
                          {Py_tp_dealloc, reinterpret_cast<void*>(dealloc)},
                          {Py_tp_repr, reinterpret_cast<void*>(repr)},
                          {Py_tp_hash, reinterpret_cast<void*>(PyObject_HashNotImplemented)},
                          {Py_tp_richcompare, reinterpret_cast<void*>(compare)},
                          {Py_tp_iter, reinterpret_cast<void*>(iterate)},
                          {Py_sq_length, reinterpret_cast<void*>(length)},
                          {Py_sq_item, reinterpret_cast<void*>(item)},
                          {Py_sq_contains, reinterpret_cast<void*>(contains)},
                          {Py_sq_inplace_concat, reinterpret_cast<void*>(addInPlace)},
                          {Py_mp_length, reinterpret_cast<void*>(length)},
                          {Py_mp_subscript, reinterpret_cast<void*>(getItem)},
                          {Py_mp_ass_subscript, reinterpret_cast<void*>(setItem)},
                          {Py_tp_methods, theMethods},
                          {0, nullptr}};

PyType_Spec theSpec{"kr0.Values", sizeof(ListObject), 0,
                    Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION | Py_TPFLAGS_SEQUENCE, theSlots};

PyType_Slot theWalkSlots[] = {{Py_tp_dealloc, reinterpret_cast<void*>(deallocWalk)},
                              {Py_tp_iter, reinterpret_cast<void*>(PyObject_SelfIter)},
                              {Py_tp_iternext, reinterpret_cast<void*>(next)},
                              {0, nullptr}};

PyType_Spec theWalkSpec{"kr0._ValueIterator", sizeof(WalkObject), 0,
                        Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION, theWalkSlots};

}  // namespace

void addListType(py::module_& module) {
  theListType = reinterpret_cast<PyTypeObject*>(PyType_FromSpec(&theSpec));
  theWalkType = reinterpret_cast<PyTypeObject*>(PyType_FromSpec(&theWalkSpec));
  if (theListType == nullptr || theWalkType == nullptr) throw py::error_already_set();
  const auto type = py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(theListType));
  module.attr("Values") = type;
  py::module_::import("collections.abc").attr("MutableSequence").attr("register")(type);
}

PyObject* makeList(ElementObject* element, std::size_t slot) noexcept {
  PyObject* const made = PyType_GenericAlloc(theListType, 0);
  if (made == nullptr) return nullptr;
  Py_INCREF(reinterpret_cast<PyObject*>(element));
  self(made)->element = element;
  self(made)->slot = slot;
  return made;
}

}  // namespace kr::zero::python
