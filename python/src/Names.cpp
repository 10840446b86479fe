#include "Names.h"

#include <map>
#include <utility>

namespace kr::zero::python {

py::object ourName(const char* name) { return importedName("kr0._types", name).cast<py::object>(); }

py::handle importedName(const char* module, const char* name) {
  // Never freed: Python may be gone when the program ends.
  static auto* const known = new std::map<std::pair<const char*, const char*>, py::object>;
  py::object& found = (*known)[{module, name}];
  if (!found) found = py::module_::import(module).attr(name);
  return found;
}

}  // namespace kr::zero::python
