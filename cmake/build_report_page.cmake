# Builds the page of `kr0 report` in a folder of its own, so that the sources stay clean.
#
#   cmake -DSOURCES=web/report -DFOLDER=... -DPAGE=.../report.html.gz -DNODE=node -DNPM=npm -P build_report_page.cmake
#
# Where npm gets nothing (there is no network), the page is an empty file, by which the tool knows that it has none.
set(work ${FOLDER}/work)
file(MAKE_DIRECTORY ${work})

# Files that are gone from the sources must not stay in the copy; what npm installed may.
file(REMOVE_RECURSE ${work}/src)
file(COPY ${SOURCES}/ DESTINATION ${work} PATTERN node_modules EXCLUDE PATTERN dist EXCLUDE)

# npm is run again where the list of packages is another than last time.
file(SHA256 ${work}/package-lock.json lock)
set(stamp ${FOLDER}/installed)
set(installed "")
if(EXISTS ${stamp})
  file(READ ${stamp} installed)
endif()
if(NOT installed STREQUAL lock)
  file(REMOVE ${stamp})
  execute_process(
    COMMAND ${NPM} ci --ignore-scripts --no-audit --no-fund --fetch-retries=1 --fetch-timeout=60000
    WORKING_DIRECTORY ${work} RESULT_VARIABLE failed OUTPUT_FILE ${FOLDER}/npm.log ERROR_FILE ${FOLDER}/npm.log)
  if(failed)
    message("The page of kr0 report is left out: npm ci failed (${FOLDER}/npm.log). Remove ${PAGE} to try again")
    file(WRITE ${PAGE} "")
    return()
  endif()
  file(WRITE ${stamp} ${lock})
endif()

execute_process(COMMAND ${NODE} build.mjs --outfile=${FOLDER}/report.html
  WORKING_DIRECTORY ${work} RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "the page of kr0 report cannot be built, the lines above say why")
endif()
execute_process(COMMAND ${NODE} -e
  "const fs = require('fs'); fs.writeFileSync(process.argv[2], require('zlib').gzipSync(fs.readFileSync(process.argv[1]), {level: 9}))"
  ${FOLDER}/report.html ${PAGE} COMMAND_ERROR_IS_FATAL ANY)
