#include "Failures.h"

#include <exception>
#include <new>
#include <optional>
#include <string>

#include "Names.h"

namespace kr::zero::python {

namespace {

py::object orNone(const std::optional<std::uint64_t>& number) {
  return number ? py::object(py::int_(*number)) : py::none();
}

// Texts of errors may quote bytes of documents that are no UTF-8.
py::object shown(const std::string& text) {
  if (text.empty()) return py::none();
  PyObject* const made =
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "backslashreplace");
  if (made == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(made);
}

void set(const Error& error) {
  const ErrorDetails& details = error.getDetails();
  const py::object type = ourName("Error");
  py::object made = type(shown(error.what()));
  made.attr("code") = toStr(nameOf(error.getCode()));
  made.attr("file") = shown(details.file);
  made.attr("line") = orNone(details.line);
  made.attr("byte_offset") = orNone(details.byteOffset);
  made.attr("path") = shown(details.path);
  made.attr("problem") = shown(details.problem);
  made.attr("expected") = shown(details.expected);
  made.attr("found") = shown(details.found);
  py::list problems;
  for (const std::string& problem : details.problems) problems.append(shown(problem));
  made.attr("problems") = problems;
  PyErr_SetObject(type.ptr(), made.ptr());
}

// What is no error of Python.
void setLibraryError() {
  try {
    throw;
  } catch (const Error& error) {
    set(error);
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
  } catch (const std::exception& exception) {
    set(Error(ErrorCode::unknown, exception.what()));
  }
}

}  // namespace

void setPythonError() noexcept {
  try {
    try {
      throw;
    } catch (py::error_already_set& error) {
      error.restore();
    } catch (const py::builtin_exception& exception) {
      exception.set_error();
    } catch (...) {
      setLibraryError();
    }
  } catch (py::error_already_set& error) {  // there was no memory to say it
    error.restore();
  } catch (...) {
    PyErr_NoMemory();
  }
}

void raise(PyObject* exception, const std::string& sentence) {
  PyErr_SetObject(exception, toStr(sentence).ptr());
  throw py::error_already_set();
}

void bindErrors(py::module_&) {
  py::register_exception_translator([](std::exception_ptr pointer) {
    try {
      if (pointer) std::rethrow_exception(pointer);
    } catch (const Error& error) {
      set(error);
    }
  });
}

}  // namespace kr::zero::python
