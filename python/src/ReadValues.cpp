// Values of a model as Python objects.
#include <bit>

#include "ListObject.h"
#include "Names.h"
#include "Properties.h"
#include "Times.h"
#include "kr/zero/SetValues.h"

namespace kr::zero::python {

using cells::Cell;
using cells::Entry;
using meta::PropertyKind;
using meta::StandardKind;

namespace {

PyObject* number(const meta::Property::Impl& property, Cell cell) {
  switch (property.getNumberInfo().kind) {
    case StandardKind::boolean:
      return PyBool_FromLong(cell != 0);
    case StandardKind::real:
      return PyFloat_FromDouble(std::bit_cast<double>(cell));
    case StandardKind::unsignedInteger:
      return PyLong_FromUnsignedLongLong(cell);
    default:
      return PyLong_FromLongLong(static_cast<std::int64_t>(cell));
  }
}

PyObject* uuid(const std::uint8_t* bytes) {
  const py::bytes raw(reinterpret_cast<const char*>(bytes), 16);
  return importedName("uuid", "UUID")(py::arg("bytes") = raw).release().ptr();
}

PyObject* unresolved(const cells::ReferenceTexts* texts) {
  if (texts == nullptr) return ourName("Unresolved")("", "", "").release().ptr();
  const py::object document = texts->qualifier == nullptr ? py::none() : toStr(texts->qualifier->view());
  return ourName("Unresolved")(toStr(texts->targetType->view()), toStr(texts->id1->view()),
                               toStr(texts->id2->view()), document)
      .release()
      .ptr();
}

PyObject* reference(ElementObject* self, bool isMany, Entry entry, Cell cell) {
  const bool isOutside = isMany ? cells::isUnresolved(cell) : (entry & cells::kUnresolved) != 0;
  if (isOutside) return unresolved(cells::asUnresolved(cell));
  return makeElement(self, SetValues(self->element).target(cell));
}

// What holds where nothing was said, or None.
PyObject* defaultOf(const ElementObject* self, meta::Property property) {
  if (!property->getDefaultText()) Py_RETURN_NONE;
  const ConstElement element = self->read();
  switch (property->getKind()) {
    case PropertyKind::number:
      switch (property->getNumberInfo().kind) {
        case StandardKind::boolean:
          return PyBool_FromLong(element.getBoolean(property));
        case StandardKind::real:
          return PyFloat_FromDouble(element.getReal(property));
        case StandardKind::unsignedInteger:
          return PyLong_FromUnsignedLongLong(element.getUnsigned(property));
        default:
          return PyLong_FromLongLong(element.getInteger(property));
      }
    case PropertyKind::enumeration:
      return self->registry().member(meta::Enum(property->getType()), element.getInteger(property));
    case PropertyKind::text:
      return makeText(element.getText(property));
    case PropertyKind::uuid:
      return uuid(element.getUuid(property).data());
    case PropertyKind::dateTime:
      return makeTime(element.getText(property));
    default:
      Py_RETURN_NONE;
  }
}

}  // namespace

PyObject* readValue(ElementObject* self, meta::Property property, Entry entry, Cell cell) {
  switch (property->getKind()) {
    case PropertyKind::number:
      return number(*property.get(), cell);
    case PropertyKind::text:
      return makeText(cells::asText(cell)->view());
    case PropertyKind::enumeration:
      return self->registry().member(meta::Enum(property->getType()), static_cast<std::int64_t>(cell));
    case PropertyKind::uuid:
      return uuid(reinterpret_cast<const std::uint8_t*>(cell));
    case PropertyKind::dateTime:
      return makeTime(cells::asText(cell)->view());
    case PropertyKind::association:
      return reference(self, property->isMany(), entry, cell);
    default:
      return makeElement(self, SetValues(self->element).element(cell));
  }
}

PyObject* readProperty(ElementObject* self, std::size_t slot) {
  const internal::ElementRecord* const record = internal::ElementAccess::recordOf(self->element);
  if (record->removed) internal::failToUse(record);
  const meta::Property property = record->use->properties[slot];
  if (property->isMany() && property->isStored()) return makeList(self, slot);
  const int at = record->find(slot);
  if (at < 0) return defaultOf(self, property);
  const Entry entry = record->slots()[at];
  if (cells::isEmpty(entry)) Py_RETURN_NONE;
  return readValue(self, property, entry, record->payloads[at]);
}

std::optional<Entry> entryOf(const ElementObject* self, std::size_t slot) {
  const internal::ElementRecord* const record = internal::ElementAccess::recordOf(self->read());
  const int at = record->find(slot);
  if (at < 0) return std::nullopt;
  return record->slots()[at];
}

std::span<const Cell> cellsOf(const ElementObject* self, std::size_t slot) {
  const internal::ElementRecord* const record = internal::ElementAccess::recordOf(self->read());
  const int at = record->find(slot);
  if (at < 0) return {};
  return cells::itemsOf(record->slots()[at], record->payloads[at]);
}

}  // namespace kr::zero::python
