# Debian packages, by CPack: the target package, in a build for /usr (cmake --preset packages).
#
#   libkr0-0.1   the libraries, beside those of other versions
#   libkr0-dev   what is needed to build programs
#   kr0          the command line tool
#   python3-kr0  the Python package, where it is built
#   kr0-doc      formats and guides
#
# Whoever makes them is named in them: DEBFULLNAME and DEBEMAIL, as for other tools of Debian.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr" OR NOT KR0_BUILD_TOOL)
  return()
endif()
set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_SET_DESTDIR ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/compress.cmake)
set(KR0_DEBIAN_VERSION ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

set(KR0_PACKAGER "The developers of kr0 <kr0@localhost>")
if(DEFINED ENV{DEBEMAIL})
  set(KR0_PACKAGER "$ENV{DEBFULLNAME} <$ENV{DEBEMAIL}>")
endif()
set(CPACK_PACKAGE_CONTACT "${KR0_PACKAGER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own

# Where dpkg-shlibdeps looks for libraries of the project: they belong to no installed package.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS)
foreach(library IN LISTS KR0_INSTALLED_LIBRARIES)
  get_target_property(folder ${library} BINARY_DIR)
  list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${folder})
endforeach()
list(REMOVE_DUPLICATES CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS)

# What Debian wants in each package: whose it is, and what was changed when.
set(KR0_DEBIAN_FOLDER ${PROJECT_BINARY_DIR}/debian)
set(ENV{LC_ALL} C)
string(TIMESTAMP KR0_DEBIAN_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(${PROJECT_SOURCE_DIR}/cmake/debian/changelog.in ${KR0_DEBIAN_FOLDER}/changelog.Debian @ONLY)
execute_process(COMMAND gzip -9nf ${KR0_DEBIAN_FOLDER}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)

# kr0_debian_package(<name> <section> <description> [COMPONENTS <component>...] [DEPENDS <package>...]
#                    [RECOMMENDS <package>...] [SUGGESTS <package>...] [ANY_MACHINE])
#
# One package of some components of the installation. The description's first line is its summary.
macro(kr0_debian_package name section description)
  cmake_parse_arguments(PACKAGE "ANY_MACHINE" "" "COMPONENTS;DEPENDS;RECOMMENDS;SUGGESTS" ${ARGN})
  string(TOUPPER ${name} group)
  list(GET PACKAGE_COMPONENTS 0 first_component)
  foreach(component IN LISTS PACKAGE_COMPONENTS)
    string(TOUPPER ${component} component_name)
    set(CPACK_COMPONENT_${component_name}_GROUP ${name})
    list(APPEND CPACK_COMPONENTS_ALL ${component})
  endforeach()
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/copyright ${KR0_DEBIAN_FOLDER}/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name} COMPONENT ${first_component} EXCLUDE_FROM_ALL)
  set(CPACK_DEBIAN_${group}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${group}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${group}_DESCRIPTION "${description}")
  foreach(relation DEPENDS RECOMMENDS SUGGESTS)
    list(JOIN PACKAGE_${relation} ", " packages)
    set(CPACK_DEBIAN_${group}_PACKAGE_${relation} "${packages}")
  endforeach()
  if(PACKAGE_ANY_MACHINE)
    set(CPACK_DEBIAN_${group}_PACKAGE_ARCHITECTURE all)
  endif()
endmacro()

set(KR0_DEBIAN_LIBRARY libkr0-${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(KR0_SAME_LIBRARY "${KR0_DEBIAN_LIBRARY} (= ${KR0_DEBIAN_VERSION})")
kr0_debian_package(${KR0_DEBIAN_LIBRARY} libs "compact storage for models, libraries
 Models and the meta models that describe them, read from and written to
 compact binary documents, archives, XMI, JSON and tables, compared, merged
 and carried over to changed meta models."
  COMPONENTS libraries)
string(TOUPPER ${KR0_DEBIAN_LIBRARY} group)
set(CPACK_DEBIAN_${group}_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
kr0_debian_package(libkr0-dev libdevel "compact storage for models, for building programs
 Headers, the CMake package kr0 and files for pkg-config. The tool comes along,
 for it generates C++ classes for meta models."
  COMPONENTS development
  DEPENDS "${KR0_SAME_LIBRARY}" "kr0 (= ${KR0_DEBIAN_VERSION})" libboost-dev)
kr0_debian_package(kr0 utils "compact storage for models, command line tool
 Converts documents between formats, tells what is in them, checks, compares,
 merges, queries and migrates them, and saves what is left of damaged ones."
  COMPONENTS pages tool
  DEPENDS "${KR0_SAME_LIBRARY}"
  SUGGESTS kr0-doc graphviz)
kr0_debian_package(kr0-doc doc "compact storage for models, formats and guides
 Pages on the formats of documents, byte by byte, and on how to do what."
  COMPONENTS documentation
  ANY_MACHINE)
if(TARGET kr0_python)
  math(EXPR next_minor "${Python3_VERSION_MINOR} + 1")
  kr0_debian_package(python3-kr0 python "compact storage for models, Python package
 Models and meta models in Python, typed, with their columns as arrays, and a
 command that does one thing to many documents."
    COMPONENTS module python
    DEPENDS "${KR0_SAME_LIBRARY}" "python3 (>= 3.${Python3_VERSION_MINOR}~)" "python3 (<< 3.${next_minor})"
    RECOMMENDS python3-numpy
    SUGGESTS python3-pandas python3-networkx python3-dask python3-distributed kr0)
  set(CPACK_DEBIAN_PYTHON3-KR0_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/cmake/debian/postinst ${PROJECT_SOURCE_DIR}/cmake/debian/prerm)
endif()
include(CPack)
