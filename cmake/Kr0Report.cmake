# The page of `kr0 report`: web/report, made one file by esbuild, which Node.js runs and npm installs.

# kr0_add_report_page(<target>): builds the page into the tool, where that can be done.
#
# Without Node.js and npm, and where npm cannot get what the page is made of, the tool is built all the same, and its verb
# says what is missing.
function(kr0_add_report_page target)
  if(NOT KR0_BUILD_REPORT)
    return()
  endif()
  find_program(KR0_NODE NAMES node nodejs DOC "Node.js, 18 or newer, which builds the page of kr0 report")
  find_program(KR0_NPM npm DOC "npm, which brings what the page of kr0 report is made of")
  set(version 0)
  if(KR0_NODE)
    execute_process(COMMAND ${KR0_NODE} --version OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    string(REGEX REPLACE "^v" "" version "${version}")
  endif()
  if(NOT KR0_NPM OR version VERSION_LESS 18)
    message(STATUS "The page of kr0 report is left out: it takes Node.js (18 or newer) and npm")
    return()
  endif()
  set(sources ${PROJECT_SOURCE_DIR}/web/report)
  set(folder ${PROJECT_BINARY_DIR}/report)
  set(page ${folder}/report.html.gz)
  file(GLOB_RECURSE files CONFIGURE_DEPENDS ${sources}/src/*)
  file(GLOB top CONFIGURE_DEPENDS ${sources}/*.json ${sources}/*.mjs ${sources}/*.html ${sources}/.npmrc)
  add_custom_command(OUTPUT ${page}
    COMMAND ${CMAKE_COMMAND} -DSOURCES=${sources} -DFOLDER=${folder} -DPAGE=${page} -DNODE=${KR0_NODE} -DNPM=${KR0_NPM}
      -P ${PROJECT_SOURCE_DIR}/cmake/build_report_page.cmake
    DEPENDS ${files} ${top} ${PROJECT_SOURCE_DIR}/cmake/build_report_page.cmake
    COMMENT "Building the page of kr0 report"
    VERBATIM)
  target_sources(${target} PRIVATE ${page})
  set_source_files_properties(ReportPage.cpp PROPERTIES
    OBJECT_DEPENDS ${page}
    COMPILE_DEFINITIONS "KR0_REPORT_PAGE=\"${page}\""
    SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()
