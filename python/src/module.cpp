// The compiled part of the Python package kr0.
#include <pybind11/pybind11.h>

PYBIND11_MODULE(_core, module) {
  module.doc() = "Models, and the formats that they are stored in.";
  module.attr("version") = KR0_VERSION;
}
