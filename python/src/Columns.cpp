// The values of a property over all elements of a class, side by side.
#include <pybind11/numpy.h>

#include <bit>
#include <cstring>
#include <string>
#include <vector>

#include "ElementObject.h"
#include "Failures.h"
#include "Models.h"
#include "Properties.h"
#include "TypeObjects.h"
#include "kr/zero/Records.h"

namespace kr::zero::python {

using internal::ElementRecord;
using meta::PropertyKind;
using meta::StandardKind;

namespace {

struct Column {
  const Model& model;
  meta::Class cls;
  meta::Property property;
};

// Where the property stands in the type of an element: the same for one after the other mostly.
class Slots {
 public:
  explicit Slots(meta::Property property) : property_(property) {}
  std::size_t of(const internal::TypeUse* use) {
    if (use != last_) {
      last_ = use;
      slot_ = use->type->slotOf(property_);
    }
    return slot_;
  }

 private:
  meta::Property property_;
  const internal::TypeUse* last_ = nullptr;
  std::size_t slot_ = 0;
};

// Calls take(cell) for each element that has a value, and miss() for each that has none.
template <class Take, class Miss>
void walk(const Column& column, Take take, Miss miss) {
  Slots slots(column.property);
  for (const ConstElement element : column.model.elements(column.cls)) {
    const ElementRecord* const record = internal::ElementAccess::recordOf(element);
    const int at = record->find(slots.of(record->use));
    if (at < 0 || cells::isEmpty(record->slots()[at]))
      miss(at < 0);
    else
      take(element, record->slots()[at], record->payloads[at]);
  }
}

// An array of numbers, and which of them are missing.
template <class Number>
struct Numbers {
  std::vector<Number> values;
  std::vector<std::uint8_t> isMissing;
  bool hasMissing = false;
};

template <class T>
py::array asArray(std::vector<T>&& values) {
  auto* const kept = new std::vector<T>(std::move(values));
  const py::capsule owner(kept, [](void* data) { delete static_cast<std::vector<T>*>(data); });
  return py::array_t<T>(static_cast<py::ssize_t>(kept->size()), kept->data(), owner);
}

py::object masked(const py::object& values, std::vector<std::uint8_t>&& isMissing, bool hasMissing) {
  if (!hasMissing) return values;
  const py::array mask = asArray(std::move(isMissing));
  return py::module_::import("numpy.ma").attr("array")(values, py::arg("mask") = mask.attr("view")("bool"));
}

template <class Number>
Number fromCell(cells::Cell cell) {
  if constexpr (std::is_same_v<Number, double>)
    return std::bit_cast<double>(cell);
  else
    return static_cast<Number>(cell);
}

// What the default text says, if there is one: it stands where nothing was said.
template <class Number>
std::optional<Number> defaultOf(const Column& column) {
  if (!column.property->getDefaultText()) return std::nullopt;
  for (const ConstElement element : column.model.elements(column.cls)) {
    if (element.getState(column.property) != PropertyState::unset) continue;
    if constexpr (std::is_same_v<Number, double>)
      return element.getReal(column.property);
    else if (column.property->getNumberInfo().kind == StandardKind::boolean)
      return static_cast<Number>(element.getBoolean(column.property));
    else if (column.property->getNumberInfo().kind == StandardKind::unsignedInteger)
      return static_cast<Number>(element.getUnsigned(column.property));
    else
      return static_cast<Number>(element.getInteger(column.property));
  }
  return std::nullopt;
}

template <class Number>
Numbers<Number> gather(const Column& column, std::size_t expected) {
  Numbers<Number> found;
  found.values.reserve(expected);
  found.isMissing.reserve(expected);
  const std::optional<Number> standard = defaultOf<Number>(column);
  walk(
      column,
      [&](ConstElement, cells::Entry, cells::Cell cell) {
        found.values.push_back(fromCell<Number>(cell));
        found.isMissing.push_back(0);
      },
      [&](bool isUnset) {
        const bool isThere = isUnset && standard;
        found.values.push_back(isThere ? *standard : Number{});
        found.isMissing.push_back(isThere ? 0 : 1);
        found.hasMissing = found.hasMissing || !isThere;
      });
  return found;
}

template <class Number>
py::object numbers(ModelState& state, const Column& column, const char* dtype = nullptr) {
  Numbers<Number> found = [&] {
    const Reading reading(state);
    return gather<Number>(column, column.model.size());
  }();
  py::object values = asArray(std::move(found.values));
  if (dtype != nullptr) values = values.attr("view")(dtype);
  return masked(values, std::move(found.isMissing), found.hasMissing);
}

py::object numberColumn(ModelState& state, const Column& column) {
  const meta::StandardTypeInfo& info = column.property->getNumberInfo();
  if (info.kind == StandardKind::boolean) return numbers<std::uint8_t>(state, column, "bool");
  if (info.kind == StandardKind::real) return numbers<double>(state, column);
  const bool isSigned = info.kind == StandardKind::signedInteger;
  switch (info.width) {
    case 1:
      return isSigned ? numbers<std::int8_t>(state, column) : numbers<std::uint8_t>(state, column);
    case 2:
      return isSigned ? numbers<std::int16_t>(state, column) : numbers<std::uint16_t>(state, column);
    case 4:
      return isSigned ? numbers<std::int32_t>(state, column) : numbers<std::uint32_t>(state, column);
    default:
      return isSigned ? numbers<std::int64_t>(state, column) : numbers<std::uint64_t>(state, column);
  }
}

// Where each element stands among all: what a reference becomes in a column.
std::vector<std::int64_t> positionsOf(const Model& model) {
  std::vector<std::int64_t> positions;
  std::int64_t position = 0;
  for (const ConstElement element : model.elements()) {
    const std::uint32_t index = element.getIndex();
    if (index >= positions.size()) positions.resize(std::size_t{index} + 1, -1);
    positions[index] = position++;
  }
  return positions;
}

// Where the elements of a class stand among all.
py::array positions(const py::object& self, const py::object& type) {
  ModelState& state = stateOf(self);
  const meta::Class cls = classOf(*state.registry(), type);
  std::vector<std::int64_t> found;
  {
    const Reading reading(state);
    const std::vector<std::int64_t> places = positionsOf(state.read());
    for (const ConstElement element : state.read().elements(cls)) found.push_back(places[element.getIndex()]);
  }
  return asArray(std::move(found));
}

py::object referenceColumn(ModelState& state, const Column& column) {
  Numbers<std::int64_t> found = [&] {
    const Reading reading(state);
    const std::vector<std::int64_t> positions = positionsOf(column.model);
    Numbers<std::int64_t> targets;
    const auto miss = [&](bool) {
      targets.values.push_back(-1);
      targets.isMissing.push_back(1);
      targets.hasMissing = true;
    };
    walk(
        column,
        [&](ConstElement element, cells::Entry, cells::Cell) {
          const ConstElement target = element.get<ConstElement>(column.property);
          if (!target) return miss(false);
          targets.values.push_back(positions[target.getIndex()]);
          targets.isMissing.push_back(0);
        },
        miss);
    return targets;
  }();
  return masked(asArray(std::move(found.values)), std::move(found.isMissing), found.hasMissing);
}

// Texts and the like are Python objects.
py::object objectColumn(const py::object& self, const Column& column) {
  py::list values;
  std::vector<std::uint8_t> isMissing;
  bool hasMissing = false;
  Slots slots(column.property);
  for (const ConstElement element : column.model.elements(column.cls)) {
    const py::object object = toElement(self, element);
    const std::size_t slot = slots.of(internal::ElementAccess::recordOf(element)->use);
    PyObject* const value = readProperty(asElementObject(object.ptr()), slot);
    if (value == nullptr) throw py::error_already_set();
    values.append(py::reinterpret_steal<py::object>(value));
    isMissing.push_back(value == Py_None ? 1 : 0);
    hasMissing = hasMissing || value == Py_None;
  }
  const py::module_ numpy = py::module_::import("numpy");
  const py::object array = numpy.attr("empty")(values.size(), py::arg("dtype") = "object");
  array[py::slice(py::none(), py::none(), py::none())] = values;
  return masked(array, std::move(isMissing), hasMissing);
}

py::object column(const py::object& self, const py::object& type, const std::string& name) {
  ModelState& state = self.cast<ModelState&>();
  const meta::Class cls = classOf(*state.registry(), type);
  const meta::Property property = cls->findProperty(name);
  if (!property) raise(PyExc_KeyError, "class " + cls->qualifiedName() + " has no property \"" + name + '"');
  if (property->isMany())
    raise(PyExc_TypeError,
          cls->qualifiedName() + "." + name + " holds several values, and a column one of each element");
  if (!property->isStored())
    raise(PyExc_TypeError, cls->qualifiedName() + "." + name + " is derived and holds no value");
  const Column column{state.read(), cls, property};
  switch (property->getKind()) {
    case PropertyKind::number:
      return numberColumn(state, column);
    case PropertyKind::enumeration:
      return numbers<std::int32_t>(state, column);
    case PropertyKind::association:
    case PropertyKind::composition:
      return referenceColumn(state, column);
    default:
      return objectColumn(self, column);
  }
}

// What another library makes is made in Python.
py::object inPython(const char* function, const py::object& self, const py::args& arguments,
                    const py::kwargs& named) {
  return py::module_::import("kr0.frames").attr(function)(self, *arguments, **named);
}

}  // namespace

void bindColumns(ModelClass& model) {
  model.def("positions", &positions, py::arg("type"),
            "Where the elements of a class, and of what inherits from it, stand among ``model.elements()``: "
            "a NumPy array.");
  model.def(
      "column", &column, py::arg("type"), py::arg("property"),
      R"(The values of a property, one for each element of a class and of what inherits from it, in document order.

A NumPy array: of numbers in their own width, of Booleans, of an enumeration's numbers, of the positions among
``model.elements()`` for references and children, of Python objects for everything else. Where values are missing it is a
masked array.

>>> model.column("library.Book", "pages")
array([635, 474], dtype=int32)
)");
  model.def(
      "to_pandas",
      [](const py::object& self, const py::args& arguments, const py::kwargs& named) {
        return inPython("to_pandas", self, arguments, named);
      },
      R"(The elements of a class as a frame: a row for each, a column for each property of one value.

References and children are positions among ``model.elements()``, which also tell the elements themselves: they
are the index of the frame. Enumerations are categories. Missing numbers are <NA>.

>>> model.to_pandas("library.Book", ["title", "pages"])
        title  pages
1  Moby Dick    635
2       Emma    474
)");
  model.def(
      "to_networkx", [](const py::object& self) { return inPython("to_networkx", self, {}, {}); },
      R"(The elements as a graph: nodes are positions among ``model.elements()``.

A node has the attribute `type`, the qualified name of its class; an edge has `property` and `composite`, and
leads from a container to a child and from an element to what it refers to.

>>> graph = model.to_networkx()
>>> sorted(graph.edges(data="property"))
[(0, 1, 'books'), (0, 2, 'books')]
)");
}

}  // namespace kr::zero::python
