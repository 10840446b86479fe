/// @file
/// Internal: what the compiled part takes from the part that is written in Python, and from Python's library.
#pragma once

#include "Binding.h"

namespace kr::zero::python {

/// A name of kr0._types: a class of plain data that Python itself defines.
py::object ourName(const char* name);
/// A name of another module, which is imported when it is first asked for. Good for ever.
/// @param module,name live as long as the program, and are told apart by address.
py::handle importedName(const char* module, const char* name);

}  // namespace kr::zero::python
