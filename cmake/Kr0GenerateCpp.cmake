# kr0_generate_cpp(<target> META.ecore... [NAMESPACE acme::models])
#
# Gives an existing target typed C++ access to the elements of meta models: generates classes when it is built,
# compiles what registers the meta models into it, and lets it and all that link to it include the headers, one
# for each package (#include "library.kr0.h"). Once for each target; links it to kr0::framework.
function(kr0_generate_cpp target)
  cmake_parse_arguments(PARSE_ARGV 1 KR0 "" "NAMESPACE" "")
  if(NOT TARGET ${target})
    message(FATAL_ERROR "kr0_generate_cpp: there is no target ${target}")
  endif()
  if(NOT TARGET kr0::kr0)
    message(FATAL_ERROR "kr0_generate_cpp(${target}): the tool is missing, build kr0 with KR0_BUILD_TOOL=ON")
  endif()
  if(NOT KR0_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "kr0_generate_cpp(${target}): name the meta models")
  endif()
  get_target_property(already ${target} KR0_GENERATED_CPP)
  if(already)
    message(FATAL_ERROR "kr0_generate_cpp(${target}): was called before, name all meta models in one call")
  endif()
  set_target_properties(${target} PROPERTIES KR0_GENERATED_CPP TRUE)

  set(meta_models)
  foreach(path IN LISTS KR0_UNPARSED_ARGUMENTS)
    get_filename_component(path "${path}" ABSOLUTE)
    list(APPEND meta_models "${path}")
  endforeach()
  set(namespace)
  if(KR0_NAMESPACE)
    set(namespace --namespace "${KR0_NAMESPACE}")
  endif()
  set(folder "${CMAKE_CURRENT_BINARY_DIR}/kr0_generated/${target}")
  # The headers are not known before the meta models are read; this file is written behind them.
  set(registration "${folder}/meta_models.kr0.cpp")
  add_custom_command(OUTPUT "${registration}"
    COMMAND kr0::kr0 generate cpp ${meta_models} -o "${folder}" ${namespace}
    DEPENDS ${meta_models} kr0::kr0
    COMMENT "Generating C++ classes for ${target}"
    VERBATIM)
  # Its hidden names are those of every such file.
  set_source_files_properties("${registration}" PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  target_sources(${target} PRIVATE "${registration}")
  target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${folder}>")
  target_link_libraries(${target} PUBLIC kr0::framework)
endfunction()
