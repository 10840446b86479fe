#include "IteratorObject.h"

#include <new>
#include <utility>

#include "ElementObject.h"
#include "Failures.h"

namespace kr::zero::python {

namespace {

using Position = ConstElementRange::Iterator;

struct IteratorObject {
  PyObject_HEAD PyObject* model;
  ModelState* state;
  Position position;
};

PyTypeObject* theIteratorType = nullptr;

IteratorObject* self(PyObject* object) noexcept { return reinterpret_cast<IteratorObject*>(object); }

void dealloc(PyObject* object) {
  PyTypeObject* const type = Py_TYPE(object);
  self(object)->position.~Position();
  Py_DECREF(self(object)->model);
  type->tp_free(object);
  Py_DECREF(type);
}

PyObject* next(PyObject* object) {
  IteratorObject* const iterator = self(object);
  if (iterator->position == std::default_sentinel) return nullptr;
  return guarded([&] {
    PyObject* const element = makeElement(iterator->model, iterator->state, *iterator->position);
    ++iterator->position;
    return element;
  });
}

PyType_Slot theSlots[] = {{Py_tp_dealloc, reinterpret_cast<void*>(dealloc)},
                          {Py_tp_iter, reinterpret_cast<void*>(PyObject_SelfIter)},
                          {Py_tp_iternext, reinterpret_cast<void*>(next)},
                          {0, nullptr}};

PyType_Spec theSpec{"kr0._ElementIterator", sizeof(IteratorObject), 0,
                    Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION, theSlots};

}  // namespace

void addIteratorType() {
  theIteratorType = reinterpret_cast<PyTypeObject*>(PyType_FromSpec(&theSpec));
  if (theIteratorType == nullptr) throw py::error_already_set();
}

PyObject* makeIterator(const py::object& model, ModelState* state, const ConstElementRange& range) {
  Position begin = range.begin();
  PyObject* const made = PyType_GenericAlloc(theIteratorType, 0);
  if (made == nullptr) throw py::error_already_set();
  self(made)->model = py::object(model).release().ptr();
  self(made)->state = state;
  new (&self(made)->position) Position(std::move(begin));
  return made;
}

}  // namespace kr::zero::python
