# Installs libraries, headers, the tool, a CMake package (find_package(kr0)) and pkg-config files.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

option(KR0_INSTALL "Have the install target install this project" ${PROJECT_IS_TOP_LEVEL})
if(NOT KR0_INSTALL)
  return()
endif()

set(KR0_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kr0)
set(KR0_INSTALLED_LIBRARIES kr0_framework kr0_binary_io)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/src/framework/include/ ${PROJECT_SOURCE_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
if(KR0_BUILD_TOOL)
  list(APPEND KR0_INSTALLED_LIBRARIES kr0_ecore)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/interop/ecore/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
  # The installed tool finds the libraries beside it, wherever the two were put.
  file(RELATIVE_PATH KR0_BIN_TO_LIB "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(kr0 PROPERTIES INSTALL_RPATH "$ORIGIN/${KR0_BIN_TO_LIB}")
  install(TARGETS kr0 EXPORT kr0Targets)
endif()
set_target_properties(${KR0_INSTALLED_LIBRARIES} PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS ${KR0_INSTALLED_LIBRARIES} EXPORT kr0Targets)

install(EXPORT kr0Targets NAMESPACE kr0:: DESTINATION ${KR0_PACKAGE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kr0Config.cmake.in
  ${PROJECT_BINARY_DIR}/kr0Config.cmake INSTALL_DESTINATION ${KR0_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kr0ConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kr0Config.cmake ${PROJECT_BINARY_DIR}/kr0ConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/Kr0GenerateCpp.cmake
  DESTINATION ${KR0_PACKAGE_DIR})

# One .pc file per library: kr0_pkg_config(<target> <description> [required packages...])
function(kr0_pkg_config target KR0_PC_DESCRIPTION)
  string(REPLACE "_" "-" KR0_PC_NAME ${target})
  string(REPLACE ";" " " KR0_PC_REQUIRES "${ARGN}")
  set(KR0_PC_LIBRARY ${target})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/kr0.pc.in ${PROJECT_BINARY_DIR}/${KR0_PC_NAME}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${KR0_PC_NAME}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

# From <libdir>/pkgconfig back to the prefix, so that an installed tree may be moved.
file(RELATIVE_PATH KR0_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
kr0_pkg_config(kr0_framework "Meta models, models and their formats by name")
kr0_pkg_config(kr0_binary_io "Compact binary storage for models" kr0-framework)
if(KR0_BUILD_TOOL)
  kr0_pkg_config(kr0_ecore "Ecore meta models and XMI models" kr0-framework)
endif()
