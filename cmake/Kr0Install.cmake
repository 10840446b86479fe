# Installs libraries, headers, the tool, the Python module, documentation, a CMake package (find_package(kr0)) and
# pkg-config files. All of it, or one component (cmake --install ... --component NAME):
#
#   libraries      what programs need that are built
#   development    what is needed to build programs: headers, the CMake package, pkg-config files
#   tool, pages    the command line tool; its manual pages and completion scripts
#   module, python the compiled part of the Python package; what is written in Python, and its command
#   documentation  formats, guides and the pages that they lead to
include(CMakePackageConfigHelpers)

option(KR0_INSTALL "Have the install target install this project" ${PROJECT_IS_TOP_LEVEL})
if(NOT KR0_INSTALL)
  return()
endif()

set(KR0_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kr0)
set(KR0_INSTALLED_LIBRARIES kr0_framework kr0_binary_io)
# All headers share one folder: names like foundation/ and fl/ belong to nobody.
set(KR0_HEADERS_DIR ${CMAKE_INSTALL_INCLUDEDIR}/kr0)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/src/framework/include/ ${PROJECT_SOURCE_DIR}/include/kr0/
  DESTINATION ${KR0_HEADERS_DIR} COMPONENT development FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kr
  DESTINATION ${KR0_HEADERS_DIR} COMPONENT development FILES_MATCHING PATTERN "*.h")
if(TARGET kr0_ecore)
  list(APPEND KR0_INSTALLED_LIBRARIES kr0_ecore)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/interop/ecore/include/
    DESTINATION ${KR0_HEADERS_DIR} COMPONENT development FILES_MATCHING PATTERN "*.h")
endif()
foreach(part json tables)
  if(TARGET kr0_${part})
    list(APPEND KR0_INSTALLED_LIBRARIES kr0_${part})
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/interop/${part}/include/
      DESTINATION ${KR0_HEADERS_DIR} COMPONENT development FILES_MATCHING PATTERN "*.h")
  endif()
endforeach()
foreach(part evolution compare archive study inspect)
  if(TARGET kr0_${part})
    list(APPEND KR0_INSTALLED_LIBRARIES kr0_${part})
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/${part}/include/
      DESTINATION ${KR0_HEADERS_DIR} COMPONENT development FILES_MATCHING PATTERN "*.h")
  endif()
endforeach()
if(KR0_BUILD_TOOL)
  # The installed tool finds the libraries beside it, wherever the two were put.
  file(RELATIVE_PATH KR0_BIN_TO_LIB "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(kr0 PROPERTIES INSTALL_RPATH "$ORIGIN/${KR0_BIN_TO_LIB}")
  install(TARGETS kr0 EXPORT kr0Targets RUNTIME COMPONENT tool)
  if(TARGET kr0_pages)
    get_target_property(KR0_PAGES kr0_pages BINARY_DIR)
    install(DIRECTORY ${KR0_PAGES}/share/man1 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT pages)
    install(FILES ${KR0_PAGES}/share/kr0
      DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions COMPONENT pages)
    install(FILES ${KR0_PAGES}/share/_kr0
      DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/zsh/site-functions COMPONENT pages)
    install(FILES ${KR0_PAGES}/share/kr0.fish
      DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/fish/vendor_completions.d COMPONENT pages)
  endif()
endif()
set_target_properties(${KR0_INSTALLED_LIBRARIES} PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS ${KR0_INSTALLED_LIBRARIES} EXPORT kr0Targets
  RUNTIME COMPONENT libraries
  LIBRARY COMPONENT libraries NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development)
if(TARGET kr0_python)
  # Relative to the prefix. Debian's Python looks there below /usr; elsewhere PYTHONPATH names it.
  set(KR0_PYTHON_DIR lib/python3/dist-packages CACHE STRING "Where the Python package is installed")
  file(RELATIVE_PATH KR0_PYTHON_TO_LIB "/${KR0_PYTHON_DIR}/kr0" "/${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(kr0_python PROPERTIES INSTALL_RPATH "$ORIGIN/${KR0_PYTHON_TO_LIB}")
  install(TARGETS kr0_python LIBRARY DESTINATION ${KR0_PYTHON_DIR}/kr0 COMPONENT module)
  # The tool is on the path by itself here: what starts it from within a wheel is not needed.
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/kr0 DESTINATION ${KR0_PYTHON_DIR} COMPONENT python
    FILES_MATCHING PATTERN "*.py" PATTERN "*.pyi" PATTERN py.typed PATTERN __pycache__ EXCLUDE PATTERN _tool.py EXCLUDE)
  install(PROGRAMS ${PROJECT_SOURCE_DIR}/python/kr0-corpus DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT python)
endif()

# As in the source tree, so that the pages' links lead somewhere.
set(KR0_DOC_DIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/kr0)
foreach(page LICENSE README.md CHANGELOG.md SECURITY.md)
  install(FILES ${PROJECT_SOURCE_DIR}/${page} DESTINATION ${KR0_DOC_DIR} COMPONENT documentation)
endforeach()
foreach(pages formats guide benchmarks images)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/${pages} DESTINATION ${KR0_DOC_DIR}/docs COMPONENT documentation)
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${KR0_DOC_DIR} COMPONENT documentation
  USE_SOURCE_PERMISSIONS)
foreach(page architecture generated-code security)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/${page}.md DESTINATION ${KR0_DOC_DIR}/docs COMPONENT documentation)
endforeach()

install(EXPORT kr0Targets NAMESPACE kr0:: DESTINATION ${KR0_PACKAGE_DIR} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kr0Config.cmake.in
  ${PROJECT_BINARY_DIR}/kr0Config.cmake INSTALL_DESTINATION ${KR0_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kr0ConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kr0Config.cmake ${PROJECT_BINARY_DIR}/kr0ConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/Kr0GenerateCpp.cmake
  DESTINATION ${KR0_PACKAGE_DIR} COMPONENT development)

# One .pc file per library that is built: kr0_pkg_config(<target> <description> [required packages...])
#
# Where the system's loader looks anyway nothing is said of it; a program that links with another prefix gets the
# path of the libraries. Which of the two is known when the install target runs.
function(kr0_pkg_config target KR0_PC_DESCRIPTION)
  if(NOT TARGET ${target})
    return()
  endif()
  string(REPLACE "_" "-" KR0_PC_NAME ${target})
  string(REPLACE ";" " " KR0_PC_REQUIRES "${ARGN}")
  set(KR0_PC_LIBRARY ${target})
  set(KR0_PC_RPATH "")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/kr0.pc.in ${PROJECT_BINARY_DIR}/pc/system/${KR0_PC_NAME}.pc @ONLY)
  set(KR0_PC_RPATH " -Wl,-rpath,\${libdir}")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/kr0.pc.in ${PROJECT_BINARY_DIR}/pc/other/${KR0_PC_NAME}.pc @ONLY)
  install(CODE "
    if(CMAKE_INSTALL_PREFIX MATCHES \"^/usr(/local)?/?$\")
      set(KR0_PC_KIND system)
    else()
      set(KR0_PC_KIND other)
    endif()
    file(INSTALL \"${PROJECT_BINARY_DIR}/pc/\${KR0_PC_KIND}/${KR0_PC_NAME}.pc\"
      DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig\")" COMPONENT development)
endfunction()

# From <libdir>/pkgconfig back to the prefix, so that an installed tree may be moved.
file(RELATIVE_PATH KR0_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
kr0_pkg_config(kr0_framework "Meta models, models and their formats by name")
kr0_pkg_config(kr0_binary_io "Compact binary storage for models" kr0-framework)
kr0_pkg_config(kr0_ecore "Ecore meta models and XMI models" kr0-framework)
kr0_pkg_config(kr0_json "Models as JSON" kr0-framework)
kr0_pkg_config(kr0_tables "Models as tables, and queries to them" kr0-framework)
kr0_pkg_config(kr0_evolution "Models carried over to changed meta models" kr0-framework)
kr0_pkg_config(kr0_study "What models say and hold, in figures" kr0-framework)
kr0_pkg_config(kr0_compare "Differences of models, and merges" kr0-framework)
set(below_archive kr0-ecore kr0-binary-io)
if(TARGET kr0_evolution)
  list(APPEND below_archive kr0-evolution)
endif()
kr0_pkg_config(kr0_archive "Documents that bring their meta model" ${below_archive})
kr0_pkg_config(kr0_inspect "The bytes of documents, and what is left of damaged ones" kr0-binary-io)
