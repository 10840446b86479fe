# The sources lie four folders above, until there is a released archive: then vcpkg_from_github takes this place.
get_filename_component(SOURCE_PATH "${CURRENT_PORT_DIR}/../../../.." ABSOLUTE)

vcpkg_check_features(OUT_FEATURE_OPTIONS FEATURE_OPTIONS
  FEATURES
    ecore KR0_BUILD_ECORE
    json KR0_BUILD_JSON
    tables KR0_BUILD_TABLES
    study KR0_BUILD_STUDY
    archive KR0_BUILD_ARCHIVE
    archive KR0_BUILD_EVOLUTION
    tool KR0_BUILD_TOOL)

# Some libraries are found by pkg-config.
vcpkg_find_acquire_program(PKGCONFIG)
vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS
    ${FEATURE_OPTIONS}
    "-DPKG_CONFIG_EXECUTABLE=${PKGCONFIG}"
    -DKR0_BUILD_TESTS=OFF
    -DKR0_BUILD_PYTHON=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME kr0 CONFIG_PATH lib/cmake/kr0)
vcpkg_fixup_pkgconfig()
if("tool" IN_LIST FEATURES)
  vcpkg_copy_tools(TOOL_NAMES kr0 AUTO_CLEAN)
endif()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
file(INSTALL "${CMAKE_CURRENT_LIST_DIR}/usage" DESTINATION "${CURRENT_PACKAGES_DIR}/share/${PORT}")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
