/// @file
/// Internal: Python's objects in C++.
#pragma once

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <string_view>

namespace kr::zero::python {

namespace py = pybind11;

/// A str of UTF-8; null with a Python error where it is none, or there is no memory.
inline PyObject* makeText(std::string_view text) noexcept {
  return PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), nullptr);
}
/// The same for callers that pass Python's errors on as exceptions.
inline py::object toStr(std::string_view text) {
  PyObject* const made = makeText(text);
  if (made == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(made);
}
/// A str, or None for an empty text.
inline py::object toStrOrNone(std::string_view text) { return text.empty() ? py::none() : toStr(text); }

/// The UTF-8 of a str, which it keeps.
/// @throws py::error_already_set where it is no str, or holds a lone surrogate.
inline std::string_view textOf(PyObject* text) {
  Py_ssize_t size = 0;
  const char* const bytes = PyUnicode_AsUTF8AndSize(text, &size);
  if (bytes == nullptr) throw py::error_already_set();
  return {bytes, static_cast<std::size_t>(size)};
}

/// A function as tables of methods have it, whatever arguments its flags say that it takes.
template <class Function>
PyCFunction asFunction(Function* function) noexcept {
  return reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(function));
}

}  // namespace kr::zero::python
