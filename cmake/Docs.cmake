# Builds the API reference: run by the `docs` target as
#   cmake -DSOURCE_DIR=... -DOUTPUT_DIR=... -DVERSION=... -P cmake/Docs.cmake
# Doxygen is looked for now, when the target runs, so that installing it needs no new configure
# step. Any Doxygen warning (an undocumented public member, a broken reference) fails the build.
find_program(VARN_DOXYGEN doxygen)
if(NOT VARN_DOXYGEN)
  message(FATAL_ERROR "Doxygen is not installed; scripts/install-deps.sh --docs installs it")
endif()
file(MAKE_DIRECTORY "${OUTPUT_DIR}")
set(ENV{VARN_DOCS_OUTPUT} "${OUTPUT_DIR}")
set(ENV{VARN_VERSION} "${VERSION}")
execute_process(COMMAND "${VARN_DOXYGEN}" docs/Doxyfile WORKING_DIRECTORY "${SOURCE_DIR}"
  RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "Doxygen failed (${status})")
endif()
file(READ "${OUTPUT_DIR}/warnings.log" warnings)
if(NOT warnings STREQUAL "")
  message(FATAL_ERROR "Doxygen warnings (the reference must have none):\n${warnings}")
endif()
message(STATUS "API reference: ${OUTPUT_DIR}/html/index.html (no warnings)")
