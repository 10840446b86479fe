/// @file
/// Internal: errors of the library as Python's exceptions.
#pragma once

#include "Binding.h"
#include "kr/zero/Error.h"

namespace kr::zero::python {

/// Sets the Python error that says what the C++ exception being handled says. To be called in a catch block.
void setPythonError() noexcept;

/// Calls `work` and gives what it gives; where it throws, sets the Python error and gives `failed`. For
/// functions that Python calls directly.
template <class Result, class Work>
Result guarded(Result failed, Work&& work) noexcept {
  try {
    return work();
  } catch (...) {
    setPythonError();
    return failed;
  }
}
template <class Work>
PyObject* guarded(Work&& work) noexcept {
  return guarded(static_cast<PyObject*>(nullptr), static_cast<Work&&>(work));
}

/// Raises a Python exception of that class.
[[noreturn]] void raise(PyObject* exception, const std::string& sentence);

/// Makes bindings raise kr0.Error for the library's errors.
void bindErrors(py::module_& module);

}  // namespace kr::zero::python
