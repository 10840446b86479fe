# The Python that the module is built for, and pybind11. Clears KR0_BUILD_PYTHON where one of them is missing.
#
# Of several Pythons the system's comes first: it is the one whose packages (numpy, pybind11) come from where the other
# libraries come from. -DPython3_EXECUTABLE=... takes another one.
if(NOT KR0_BUILD_PYTHON)
  return()
endif()
if(NOT DEFINED Python3_EXECUTABLE AND EXISTS /usr/bin/python3)
  set(Python3_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "The Python to build the module for")
endif()
find_package(Python3 3.11 QUIET COMPONENTS Interpreter Development.Module)
find_package(pybind11 2.10 QUIET CONFIG)
if(NOT Python3_FOUND)
  message(STATUS "the Python module is left out: no Python of at least 3.11 with its headers was found")
  set(KR0_BUILD_PYTHON OFF)
elseif(NOT pybind11_FOUND)
  message(STATUS "the Python module is left out: pybind11 was not found")
  set(KR0_BUILD_PYTHON OFF)
endif()
