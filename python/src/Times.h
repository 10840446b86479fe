/// @file
/// Internal: points in time as Python objects.
#pragma once

#include <string>
#include <string_view>

#include "Binding.h"

namespace kr::zero::python {

/// A datetime.datetime where it holds the very moment that a text says, else a kr0.DateTimeText. A new
/// reference; null with a Python error.
PyObject* makeTime(std::string_view text);
/// The text of a datetime.datetime or a str.
/// @throws py::error_already_set for anything else.
std::string timeText(PyObject* value);

}  // namespace kr::zero::python
