# What all targets of the project share: language level, hidden symbols, warnings, sanitizers.
function(kr0_target_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow
    $<$<BOOL:${KR0_WARNINGS_AS_ERRORS}>:-Werror>
    # Nobody puts a function of a library in the place of ours: the compiler may inline exported ones.
    -fno-semantic-interposition)
  # Where several sources are compiled as one, what is hidden in one of them is not in "the main file".
  if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
  endif()
  # These come from the optimiser and depend on what it inlined; g++ 12 sees them in its own headers.
  if(KR0_WARNINGS_AS_ERRORS AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE
      -Wno-error=restrict -Wno-error=stringop-overread -Wno-error=stringop-overflow
      -Wno-error=array-bounds -Wno-error=maybe-uninitialized -Wno-error=null-dereference)
  endif()
  if(KR0_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${KR0_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${KR0_SANITIZE})
  endif()
  if(KR0_COVERAGE)
    # Tests are not counted; what they instantiate of the project's headers is.
    # Counts of threads that run side by side would be lost without atomic steps, and differences of counts be wrong.
    set(counted "${PROJECT_SOURCE_DIR}/cmake/coverage.list")
    target_compile_options(${target} PRIVATE -fprofile-instr-generate -fprofile-update=atomic -fcoverage-mapping -fprofile-list=${counted})
    target_link_options(${target} PRIVATE -fprofile-instr-generate)
  endif()
endfunction()

# kr0_debug_lines_only(<target>): what debuggers show of variables takes a quarter of the compilation. Where sources are
# compiled several at a time, which is not for who works on them, a target that nobody links to goes without. Builds that
# have nothing for debuggers stay so.
function(kr0_debug_lines_only target)
  if(CMAKE_UNITY_BUILD AND CMAKE_CXX_FLAGS_RELWITHDEBINFO MATCHES "-g( |$)")
    target_compile_options(${target} PRIVATE $<$<CONFIG:RelWithDebInfo>:-g1>)
  endif()
endfunction()

# kr0_allow_stable_sort(<source>...): std::stable_sort of libstdc++ 12 calls what that library deprecates itself, which
# newer versions of clang say of the sources that sort.
function(kr0_allow_stable_sort)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -Wno-deprecated-declarations)
  endif()
endfunction()

# Has the standard headers that most sources include compiled once for a target of many sources. Sources still include
# what they use.
function(kr0_precompile_standard_headers target)
  target_precompile_headers(${target} PRIVATE
    <algorithm> <array> <cstdint> <functional> <map> <memory> <optional> <span> <string> <string_view> <unordered_map>
    <variant> <vector>)
endfunction()

# The library of a room: all sources of the folder, with its include/ for others.
function(kr0_add_room name)
  file(GLOB sources CONFIGURE_DEPENDS *.cpp)
  kr0_add_library(${name} ${sources})
  target_include_directories(kr0_${name}
    PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>
    PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
endfunction()

# A shared library kr0_<name> with the alias kr0::<name>.
function(kr0_add_library name)
  add_library(kr0_${name} SHARED ${ARGN})
  add_library(kr0::${name} ALIAS kr0_${name})
  kr0_target_defaults(kr0_${name})
  if(UNIX AND NOT APPLE)
    target_link_options(kr0_${name} PRIVATE "LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map")
    set_property(TARGET kr0_${name} APPEND PROPERTY LINK_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/exports.map")
  endif()
  # <kr0/kr0.h> is found by the first, all other headers by the second.
  target_include_directories(kr0_${name} INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kr0>)
  set_target_properties(kr0_${name} PROPERTIES
    EXPORT_NAME ${name}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
endfunction()
